#!/usr/bin/env bash
# Builds the command and takes the sample photo through every effect; the results lie in out/demo.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release
cmake --build --preset release --target posteffect_command

photo=assets/sample/coffee.jpg
out=out/demo
mkdir -p $out
pictures=(-label before "$photo")

# filter NAME OPTIONS...: the photo through the effect, into NAME.jpg and onto the sheet
filter() {
    local name=$1
    shift
    build/release/bin/posteffect photo "$photo" "$out/$name.jpg" --force "$@"
    pictures+=(-label "${*#--effect }" "$out/$name.jpg")
}

for effect in $(build/release/bin/posteffect list | sed -n 's/^\([a-z][a-z-]*\) .*/\1/p'); do
    case $effect in
        none) ;;
        vintage)
            for look in cross cold warm sepia; do
                filter "vintage-$look" --effect vintage --look $look
            done ;;
        split-toning)
            for tone in 0 25 50 75 100; do
                filter "split-toning-$tone" --effect split-toning --tone $tone
            done ;;
        mirror)
            for orientation in landscape portrait; do
                filter "mirror-$orientation" --effect mirror --orientation $orientation
            done ;;
        fisheye)
            for strength in 0 60; do
                filter "fisheye-$strength" --effect fisheye --strength $strength
            done ;;
        *) filter "$effect" --effect "$effect" ;;
    esac
done

/usr/bin/montage -font DejaVu-Sans -pointsize 14 "${pictures[@]}" \
    -geometry 300x+6+6 -tile 5x -quality 88 $out/sheet.jpg
echo
echo "before:  $PWD/$photo"
echo "after:   $PWD/$out/<effect>.jpg"
echo "a sheet: $PWD/$out/sheet.jpg"
