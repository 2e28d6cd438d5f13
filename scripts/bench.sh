#!/usr/bin/env bash
# Builds the benchmarks and runs them; arguments go to the benchmark program.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset test >/dev/null
cmake --build --preset test --target posteffect_bench
build/test/bin/posteffect_bench "$@"
