#!/usr/bin/env bash
# The long runs: 10,000 frames of changing effects, 1,000 captures, 1,000 starts and stops, two
# services 500 times, 500 processes that end with a live service, 1,000,000 calls of the queue. Prints
# what the process holds half way and at the end; fails where something is left. Some minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset test >/dev/null
cmake --build --preset test --target soak_gl_test service_threads_gl_test service_queue_test
export MESA_SHADER_CACHE_DIR=$PWD/build/test/shader-cache POSTEFFECT_LOG=none
POSTEFFECT_SOAK=1 build/test/bin/soak_gl_test
POSTEFFECT_CALLS=1000000 build/test/bin/service_queue_test
POSTEFFECT_EXITS=500 build/test/bin/service_threads_gl_test --gtest_filter='*AProcessMayEnd*' |
    grep -v '^Running main'
