#!/usr/bin/env bash
# Makes a gallery of photo $2 with command $1 in folder $3 and opens it in a browser: wide and narrow,
# light and dark. The page tries its keys, divider and themes itself (#selftest). Screenshots stay in
# the folder.
set -euo pipefail
command=$1
photo=$2
folder=$3

browser=$(command -v chromium || command -v chromium-browser || command -v google-chrome) ||
    { echo "no browser: apt-get install chromium" >&2; exit 1; }
rm -rf "$folder"
mkdir -p "$folder/profile"
trap 'rm -rf "$folder/profile"' EXIT
"$command" gallery "$photo" -o "$folder" --no-open >"$folder/paths.txt"

open_page() {  # SIZE HASH ARGUMENT...
    local size=$1 hash=$2
    shift 2
    timeout 100 "$browser" --headless=new --no-sandbox --disable-gpu --hide-scrollbars \
        --user-data-dir="$folder/profile" --virtual-time-budget=5000 --window-size="$size" "$@" \
        "file://$folder/index.html#$hash" 2>"$folder/browser.log"
}

status=0
for size in 1400,1000 390,844; do
    for theme in light dark; do
        name="${size%,*}-$theme"
        open_page "$size" "theme=$theme&selftest" --dump-dom |
            sed -n '/<pre id="selftest">/,/selftest ended/p' | sed 's/.*<pre id="selftest">//' \
            >"$folder/selftest-$name.txt"
        if ! grep -q '^selftest ended' "$folder/selftest-$name.txt" ||
            grep -qv '^ok \|^selftest ended' "$folder/selftest-$name.txt"; then
            echo "$name:"
            cat "$folder/selftest-$name.txt" "$folder/browser.log"
            status=1
        fi
        open_page "$size" "theme=$theme" --screenshot="$folder/grid-$name.png" >/dev/null
        open_page "$size" "theme=$theme&open=1" --screenshot="$folder/view-$name.png" >/dev/null
        # An empty window packs to next to nothing.
        for picture in grid view; do
            bytes=$(stat -c %s "$folder/$picture-$name.png")
            [[ $bytes -gt 60000 ]] || { echo "$picture-$name.png is nearly empty"; status=1; }
        done
    done
done
exit $status
