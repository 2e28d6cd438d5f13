#!/usr/bin/env bash
# Builds the fuzz targets and runs each, or those named behind the limit, from seeds of our own: for
# $1 seconds (60 by default), or as far as an option of libFuzzer's says (-runs=1000000). As many at
# once as there are processors. Fails where one has a finding.
set -euo pipefail
cd "$(dirname "$0")/.."
limit=${1:-60}
[[ $limit == -* ]] || limit=-max_total_time=$limit
targets=("${@:2}")

cmake --preset asan
cmake --build --preset asan --target fuzz_targets
[[ ${#targets[@]} -gt 0 ]] ||
    mapfile -t targets < <(basename -a -s _fuzz build/asan/bin/*_fuzz)
fuzz/run.sh build/asan seeds
# What earlier runs came upon, these go on from.
corpora=build/asan/fuzz/corpus
for target in "${targets[@]}"; do mkdir -p "$corpora/$target"; done
printf '%s\n' "${targets[@]}" |
    xargs -P "$(nproc)" -I TARGET fuzz/run.sh build/asan TARGET "$limit" "$corpora/TARGET"
