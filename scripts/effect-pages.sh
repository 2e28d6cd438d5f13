#!/usr/bin/env bash
# Writes docs/effects/NICK.md and docs/images/effects/NICK.jpg for every effect, from the catalog, the
# sample photo and docs/effects/texts.txt. Run it when an effect changes.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release >/dev/null
cmake --build --preset release --target posteffect_command posteffect_effect_texts >/dev/null
bin=build/release/bin
texts=docs/effects/texts.txt
images=docs/images/effects
mkdir -p $images
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
/usr/bin/convert assets/sample/coffee.jpg -resize 480x -strip -quality 95 "$scratch/sample.jpg"

# The options of the effect's picture, and the lines of its text.
options() { sed -n "s/^= $1\( \|$\)//p" $texts; }
words() { awk -v nick="$1" '/^= /{ inside = $2 == nick; next } inside && NF' $texts; }

"$bin/posteffect" list | sed -n 's/^\([a-z][a-z-]*\)  *\(.*\)$/\1\t\2/p' |
    while IFS=$'\t' read -r nick summary; do
        [[ -n $(words "$nick") ]] || { echo "$texts says nothing of $nick" >&2; exit 1; }
        given=$(options "$nick")
        # Fine lines take more bytes: the best quality that keeps the picture small.
        for quality in 78 68 58 48 38 28; do
            # An option's words are split on purpose.
            # shellcheck disable=SC2086
            "$bin/posteffect" photo "$scratch/sample.jpg" $images/"$nick".jpg --force \
                --quality $quality --effect "$nick" $given </dev/null
            (($(stat -c %s $images/"$nick".jpg) > 40000)) || break
        done
        {
            echo "# $nick: $summary"
            echo
            echo "![The sample photo through $nick](../images/effects/$nick.jpg)"
            echo
            words "$nick"
            echo
            "$bin/posteffect_effect_texts" page "$nick"
            echo
            echo "The picture above was made with"
            echo
            echo "    posteffect photo in.jpg out.jpg --effect $nick${given:+ $given}"
            echo
            echo "In a GStreamer pipeline, with the effect's defaults:"
            echo
            echo "    gst-launch-1.0 videotestsrc ! videoconvert ! posteffect effect=$nick !" \
                "videoconvert ! autovideosink"
            echo
            echo "[All effects](README.md)"
        } >docs/effects/"$nick".md
        printf '| [`%s`](%s.md) | %s |\n' "$nick" "$nick" "$summary"
    done >"$scratch/rows"
{
    echo "# The effects"
    echo
    echo "Written by scripts/effect-pages.sh; the texts are in [texts.txt](texts.txt)."
    echo
    echo "| Effect | What it does |"
    echo "|---|---|"
    cat "$scratch/rows"
} >docs/effects/README.md
