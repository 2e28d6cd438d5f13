#!/bin/sh
# Every call that may fail, with every effect: usage: scripts/fault-sweep.sh [BUILD_FOLDER]
set -eu
build=${1:-build/test}
export MESA_SHADER_CACHE_DIR="$build/shader-cache"
for effect in $(seq 0 18); do
  echo "effect $effect"
  POSTEFFECT_FAULTS=$effect timeout -s KILL 600 "$build/bin/faults_gl_test" \
      --gtest_filter='Faults.*' | grep -E ' calls;|points in|FAILED|Failure'
done
