#!/usr/bin/env bash
# Builds and runs the whole suite: with ThreadSanitizer what has threads, with AddressSanitizer and
# UndefinedBehaviorSanitizer everything, and the optimised build everything with the checks of the
# sources and of the built library.
set -euo pipefail
cd "$(dirname "$0")/.."

for preset in tsan asan test; do
    echo "== $preset"
    cmake --preset "$preset" >"/dev/null"
    cmake --build --preset "$preset"
    ctest --test-dir "build/$preset" --output-on-failure --no-tests=error -j2
done
