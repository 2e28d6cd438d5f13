#!/usr/bin/env bash
# Runs the fuzz target $2 of the build folder $1 from seeds of our own, with libFuzzer's options
# behind it (-max_total_time=60, a folder to keep a corpus in). The target "seeds" writes the seeds.
# Fails at a finding and says where the input lies that shows it.
set -euo pipefail
build=$(cd "$1" && pwd)
target=$2
here=$build/fuzz
seeds=$here/seeds
mkdir -p "$here"

export POSTEFFECT_LOG=none MESA_SHADER_CACHE_DIR=$build/shader-cache
# Rasterising in the calling thread costs least at these sizes.
export LP_NUM_THREADS=0
# Leaks are the tests' work: the renderer's own would drown ours here. Short stacks of allocations
# are faster; whoever looks into a finding runs it without these options.
export ASAN_OPTIONS=detect_leaks=0:malloc_context_size=1:quarantine_size_mb=8

if [[ $target == seeds ]]; then
    "$build/bin/fuzz_seeds" "$seeds"
    cp "$build/share/posteffect/system/media/GPU/CurveCross.bmp" "$seeds/bmp"
    exit
fi
case $target in  # bytes of the longest input: more only makes each slower
    block_plan | service) longest=128 ;;
    parameters | stream) longest=512 ;;
    program) longest=8192 ;;
    *) longest=4096 ;;
esac
begun=$SECONDS
"$build/bin/${target}_fuzz" "${@:3}" -max_len=$longest -timeout=60 -rss_limit_mb=4096 \
    -detect_leaks=0 -verbosity=0 -print_final_stats=1 -artifact_prefix="$here/finding-$target-" \
    -seed_inputs="$(find "$seeds/$target" -type f | paste -sd,)" 2>"$here/$target.log" ||
    { tail -40 "$here/$target.log"; exit 1; }
runs=$(sed -n 's/stat::number_of_executed_units: //p' "$here/$target.log")
echo "$target: $runs runs in $((SECONDS - begun)) s, no finding"
