#!/usr/bin/env bash
# Prints, as a table, the memory and the CPU time that the command takes for a photo of 12 megapixels
# (or of the size $1) through each effect. Needs the packages time and imagemagick.
set -euo pipefail
cd "$(dirname "$0")/.."
size=${1:-4000x3000}

cmake --preset release >/dev/null
cmake --build --preset release --target posteffect_command >/dev/null
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
/usr/bin/convert assets/sample/coffee.jpg -resize "$size!" -quality 92 "$folder/in.jpg"

# resources EFFECT: peak resident KiB, CPU seconds (user, system)
resources() {
    /usr/bin/time -f '%M %U %S' -o "$folder/resources" \
        build/release/bin/posteffect photo "$folder/in.jpg" "$folder/out.jpg" --force --effect "$1"
    cat "$folder/resources"
}

read -r none _ < <(resources none)
echo "| Effect | peak MiB | above none | CPU seconds |"
echo "|---|---|---|---|"
for effect in $(build/release/bin/posteffect list | sed -n 's/^\([a-z][a-z-]*\) .*/\1/p'); do
    read -r peak user system < <(resources "$effect")
    awk -v e="$effect" -v p="$peak" -v n="$none" -v u="$user" -v k="$system" \
        'BEGIN { printf "| %s | %.0f | %.0f | %.2f |\n", e, p / 1024, (p > n ? p - n : 0) / 1024, u + k }'
done
