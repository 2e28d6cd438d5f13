#!/usr/bin/env bash
# The long runs: 10,000 frames of changing effects, the 2,600,000 frames of a day, 1,000 captures,
# 1,000 starts and stops, two services 500 times and four 200 times, 1,000 stops at random moments,
# 500 processes that end with a live service, 1,000,000 calls of the queue, and the element: 100
# restarts whose objects are counted, 20 pipelines that draw with GL beside it (gstreamer1.0-gl).
# Prints what the process holds on the way and at the end; fails where something is left. A quarter
# of an hour.
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset test >/dev/null
cmake --build --preset test --target soak_gl_test service_threads_gl_test \
    service_queue_test gst_element_test
export MESA_SHADER_CACHE_DIR=$PWD/build/test/shader-cache POSTEFFECT_LOG=none
POSTEFFECT_SOAK=1 build/test/bin/soak_gl_test
POSTEFFECT_CALLS=1000000 build/test/bin/service_queue_test
POSTEFFECT_EXITS=500 build/test/bin/service_threads_gl_test --gtest_filter='*AProcessMayEnd*' |
    grep -v '^Running main'

export GST_PLUGIN_PATH=$PWD/build/test/lib/gstreamer-1.0 GST_REGISTRY=$PWD/build/test/gst-registry
export GST_REGISTRY_FORK=no
trace=$(mktemp)
trap 'rm -f "$trace"' EXIT
GST_TRACERS=leaks GST_DEBUG=GST_TRACER:7 GST_DEBUG_NO_COLOR=1 GST_DEBUG_FILE=$trace POSTEFFECT_SOAK=1 \
    build/test/bin/gst_element_test --gtest_filter='*Restarts*' --gtest_brief=1
# The tracer first tells the form of its lines.
grep -q 'object-alive.class' "$trace"
alive=$(grep -v 'build_format' "$trace" | grep -c 'object-alive' || true)
echo "$alive objects alive after 100 restarts"
[ "$alive" = 0 ]
GST_GL_WINDOW=egl-device GST_GL_PLATFORM=egl GST_GL_API=gles2 build/test/bin/gst_element_test \
    --gtest_also_run_disabled_tests --gtest_filter='*BesideOthersWhoUseGL' --gtest_brief=1
