#!/usr/bin/env bash
# Prints, as a table, the CPU milliseconds that the first frame and the first and second use of each
# effect (or of those named) take in a process of their own, with the driver's shader cache empty and
# with it filled.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset test >/dev/null
cmake --build --preset test --target posteffect_bench posteffect_command >/dev/null
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
effects=("$@")
if [[ $# -eq 0 ]]; then
    mapfile -t effects < <(build/test/bin/posteffect list | sed -n 's/^\([a-z][a-z-]*\) .*/\1/p' | grep -vx none)
fi

# row EFFECT: the program's row for it, without the name
row() {
    build/test/bin/posteffect_bench --benchmark_filter="^FirstUse/$1/" | sed -n "s/^| $1 |//p"
}
echo "| Effect | start to first frame | first use | second use | a frame | start, cache filled | first use, cache filled |"
echo "|---|---|---|---|---|---|---|"
for effect in "${effects[@]}"; do
    export MESA_SHADER_CACHE_DIR=$folder/$effect
    mkdir "$MESA_SHADER_CACHE_DIR"
    cold=$(row "$effect")
    warm=$(row "$effect")
    IFS='|' read -r start first _ <<<"$warm"
    echo "| $effect |$cold$start|$first|"
done
