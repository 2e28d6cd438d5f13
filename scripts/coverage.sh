#!/usr/bin/env bash
# Lines and branches of the library that its own tests run (package gcovr), file by file with the
# lines that are not reached. The command and the element are left out. Half an hour.
set -euo pipefail
cd "$(dirname "$0")/.."
folder=build/coverage
cmake -S . -B $folder -G Ninja -DCMAKE_BUILD_TYPE=Debug -DPOSTEFFECT_BUILD_TESTS=ON \
    -DPOSTEFFECT_BUILD_BENCHMARKS=OFF -DPOSTEFFECT_BUILD_COMMAND=OFF \
    -DPOSTEFFECT_BUILD_GSTREAMER=OFF \
    -DCMAKE_CXX_FLAGS_DEBUG="-O0 -g1 --coverage -fprofile-update=atomic"
cmake --build $folder
find $folder -name '*.gcda' -delete
# Not by ctest: its limits are for optimised tests, and one that is ended tells nothing.
export MESA_SHADER_CACHE_DIR=$PWD/$folder/shader-cache POSTEFFECT_LOG=none
for test in "$folder"/bin/*_test; do
    "$test" --gtest_brief=1 || echo "$test failed; what it reached counts"
done
gcovr --root . --object-directory $folder -f platform/ -f gl/ -f engine/ -f effects/ -f service/ \
    --exclude-throw-branches --gcov-ignore-parse-errors --print-summary $folder
