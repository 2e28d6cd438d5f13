#!/usr/bin/env bash
# Builds the benchmarks and runs them; arguments go to the benchmark program.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target posteffect_bench
build/release/bin/posteffect_bench "$@"
