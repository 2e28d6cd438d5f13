#!/usr/bin/env bash
# Builds the fuzz targets and runs each, or those named behind the limit, from seeds of our own: for
# $1 seconds (60 by default), or as far as an option of libFuzzer's says (-runs=1000000). Fails at
# the first finding and says where the input lies that shows it.
set -euo pipefail
cd "$(dirname "$0")/.."
limit=${1:-60}
[[ $limit == -* ]] || limit=-max_total_time=$limit
targets=("${@:2}")
[[ ${#targets[@]} -gt 0 ]] ||
    targets=(block_plan parameters stream jpeg picture bmp program service)

cmake --preset fuzz
cmake --build --preset fuzz
export POSTEFFECT_LOG=none MESA_SHADER_CACHE_DIR=$PWD/build/fuzz/shader-cache
# Rasterising in the calling thread costs least at these sizes.
export LP_NUM_THREADS=0
# Leaks are the suite's work: the renderer's own would drown ours here. Short stacks of allocations
# are faster; whoever looks into a finding runs it without these options.
export ASAN_OPTIONS=detect_leaks=0:malloc_context_size=1:quarantine_size_mb=8
seeds=build/fuzz/seeds
build/fuzz/bin/fuzz_seeds $seeds
cp build/fuzz/share/posteffect/system/media/GPU/CurveCross.bmp $seeds/bmp

for target in "${targets[@]}"; do
    corpus=build/fuzz/corpus/$target
    mkdir -p "$corpus"
    case $target in  # bytes of the longest input: more only makes each slower
        block_plan | service) longest=128 ;;
        parameters | stream) longest=512 ;;
        program) longest=8192 ;;
        *) longest=4096 ;;
    esac
    begun=$SECONDS
    "build/fuzz/bin/${target}_fuzz" "$limit" -max_len=$longest -timeout=20 -rss_limit_mb=4096 \
        -verbosity=0 -print_final_stats=1 -artifact_prefix="build/fuzz/finding-$target-" \
        "$corpus" "$seeds/$target" 2>"build/fuzz/$target.log" ||
        { tail -40 "build/fuzz/$target.log"; exit 1; }
    runs=$(sed -n 's/stat::number_of_executed_units: //p' "build/fuzz/$target.log")
    echo "$target: $runs runs in $((SECONDS - begun)) s, no finding"
done
