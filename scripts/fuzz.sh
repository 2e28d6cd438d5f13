#!/usr/bin/env bash
# Builds the fuzz targets and runs each for $1 seconds (60 by default), from seeds of our own. Fails
# at the first finding and says where the input lies that shows it.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}

cmake --preset fuzz
cmake --build --preset fuzz
seeds=build/fuzz/seeds
mkdir -p $seeds/{jpeg,bmp,stream,parameters,block_plan,program,service}
cp build/fuzz/share/posteffect/system/media/GPU/{CurveCross,dot_mask_0}.bmp $seeds/bmp
cp assets/sample/coffee.jpg $seeds/jpeg
printf 'YUV4MPEG2 W4 H2 F25:1 C420jpeg XCOLORRANGE=FULL\nFRAME\n012345670101FRAME\n' >$seeds/stream/two
printf 'GPU-effect=4;GE-param0=50,0,0,0;GE-param1=480,272,912,272' >$seeds/parameters/vignette

export POSTEFFECT_LOG=none MESA_SHADER_CACHE_DIR=$PWD/build/fuzz/shader-cache
for target in block_plan parameters stream jpeg bmp program service; do
    corpus=build/fuzz/corpus/$target
    mkdir -p $corpus
    # Leaks are the suite's work: the renderer's own would drown ours here.
    ASAN_OPTIONS=detect_leaks=0 build/fuzz/bin/${target}_fuzz -max_total_time="$seconds" \
        -max_len=4096 -timeout=20 -rss_limit_mb=4096 -verbosity=0 -print_final_stats=1 \
        -artifact_prefix=build/fuzz/finding-$target- $corpus $seeds/$target 2>build/fuzz/$target.log ||
        { tail -40 build/fuzz/$target.log; exit 1; }
    echo "$target: $(sed -n 's/stat::number_of_executed_units: //p' build/fuzz/$target.log) runs, no finding"
done
