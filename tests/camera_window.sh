#!/usr/bin/env bash
# Shows the test picture through an effect in a window of a virtual screen and looks at the screen.
# camera_window.sh COMMAND
set -euo pipefail
command=$1
folder=$(mktemp -d)
trap 'kill "${screen:-}" 2>/dev/null || true; rm -rf "$folder"' EXIT

mkfifo "$folder/number"
Xvfb -displayfd 3 -screen 0 640x480x24 3>"$folder/number" >/dev/null 2>&1 &
screen=$!
read -r number <"$folder/number"
export DISPLAY=:$number

# brightness FILE: the mean luma of the screen, written to FILE as a picture.
brightness() {
    ffmpeg -v error -y -f x11grab -video_size 640x480 -i "$DISPLAY" -frames:v 1 "$1"
    ffprobe -v error -f lavfi "movie=$1,signalstats" -show_entries frame_tags=lavfi.signalstats.YAVG \
        -of csv=p=0 | cut -d. -f1
}

dark=$(brightness "$folder/before.png")
"$command" camera --test-source --size 640x480 --frames 150 -e bloom 2>"$folder/log" &
camera=$!
shown=$dark
for _ in $(seq 40); do
    shown=$(brightness "$folder/shown.png")
    ((shown > dark + 60)) && break
    sleep 0.1
done
wait $camera || { cat "$folder/log" >&2; exit 1; }
echo "screen: $dark before, $shown with the window"
((shown > dark + 60))
