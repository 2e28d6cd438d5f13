#!/usr/bin/env bash
# Runs tests of the optimised build under valgrind's memcheck; fails at the first error or lost block.
# Needs the package valgrind. Some minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
# Test and the part of it that valgrind has something to say about in reasonable time.
runs=(
    'task_queue_test *'
    'semi_planar_test *'
    'camera_parameters_test *'
    'block_plan_test *'
    'bmp_gl_test *'
    'shared_image_gl_test *'
    'service_gl_test Service.FollowsChanges*:Renderer.*'
)
cmake --preset test >/dev/null
cmake --build --preset test --target "${runs[@]%% *}"
export MESA_SHADER_CACHE_DIR=$PWD/build/test/shader-cache POSTEFFECT_LOG=none LP_NUM_THREADS=0
for run in "${runs[@]}"; do
    test=${run%% *}
    started=$SECONDS
    valgrind -q --keep-debuginfo=yes --suppressions=scripts/valgrind.supp --leak-check=full \
        --errors-for-leak-kinds=definite --show-leak-kinds=definite --error-exitcode=7 \
        "build/test/bin/$test" --gtest_brief=1 --gtest_filter="${run#* }"
    echo "$test: clean, $((SECONDS - started)) s"
done
