#!/usr/bin/env bash
# Prints, as tables, what this project and other tools take for effects of the same kind: film frames
# of 1280 x 720 and a photo of 12 megapixels, in CPU time of all threads, all in one run. The pictures are
# alike, not the same. A frame's cost is that of a long run less that of a short one, so starting up does
# not count; of several rounds the median counts.
#     bench/peers.sh [FRAMES [ROUNDS]]
# Installs the other tools' packages, as root or with sudo; what cannot be had is named and left out.
set -euo pipefail
cd "$(dirname "$0")/.."
frames=${1:-64}
rounds=${2:-3}
lead=8      # frames of the short run
limit=120   # seconds for one run

as_root=()
[[ $EUID -eq 0 ]] || as_root=(sudo)
for package in ffmpeg frei0r-plugins imagemagick gmic libvips-tools gstreamer1.0-tools gstreamer1.0-gl \
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good gstreamer1.0-plugins-bad; do
    state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ "$state" == installed ]] ||
        DEBIAN_FRONTEND=noninteractive "${as_root[@]}" \
            apt-get install -y -q --no-install-recommends "$package" >/dev/null ||
        echo "peers: $package cannot be installed, its rows are left out" >&2
done
cmake --preset release >/dev/null
cmake --build --preset release --target posteffect_command gstposteffect >/dev/null

folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
ours=$PWD/build/release/bin/posteffect
photo=$PWD/assets/sample/coffee.jpg
export GST_PLUGIN_PATH=$PWD/build/release/lib/gstreamer-1.0 GST_REGISTRY=$folder/registry GST_DEBUG=0
export GST_GL_WINDOW=egl-device GST_GL_PLATFORM=egl GST_GL_API=gles2
cd "$folder"

# ---- What is measured. Class|tool|what is shown|how it is run|its arguments; the first row of a class is
# what the others are compared with.

films='
nothing|posteffect|effect=none|element|effect=none
nothing|posteffect|pipe -e none|pipe|none
nothing|GStreamer|identity|gst|identity
nothing|GStreamer GL|gleffects_identity|gl|gleffects_identity
nothing|FFmpeg|null|ffmpeg|null
vignette|posteffect|vignette|element|effect=vignette
vignette|posteffect|pipe -e vignette|pipe|vignette
vignette|FFmpeg|vignette|ffmpeg|vignette
vignette|frei0r|vignette|ffmpeg|frei0r=vignette
tones|posteffect|vintage, sepia|element|effect=vintage look=sepia
tones|posteffect|maple|element|effect=maple
tones|GStreamer GL|gleffects_sepia|gl|gleffects_sepia
tones|GStreamer GL|gleffects_xpro|gl|gleffects_xpro
tones|GStreamer|coloreffects, sepia|gst|coloreffects preset=sepia
tones|GStreamer|coloreffects, xpro|gst|coloreffects preset=xpro
tones|FFmpeg|colorchannelmixer, sepia|ffmpeg|colorchannelmixer=.393:.769:.189:0:.349:.686:.168:0:.272:.534:.131
tones|FFmpeg|curves, vintage|ffmpeg|curves=preset=vintage
tones|frei0r|tint0r|ffmpeg|frei0r=tint0r
mirror|posteffect|mirror|element|effect=mirror
mirror|GStreamer GL|gleffects_mirror|gl|gleffects_mirror
mirror|GStreamer|mirror|gst|mirror
mirror|FFmpeg|crop, hflip, hstack|ffmpeg|crop=iw/2:ih:0:0,split[a][b];[b]hflip[c];[a][c]hstack
lens|posteffect|fisheye|element|effect=fisheye
lens|GStreamer GL|gleffects_fisheye|gl|gleffects_fisheye
lens|GStreamer GL|gleffects_bulge|gl|gleffects_bulge
lens|GStreamer|fisheye|gst|fisheye
lens|GStreamer|bulge|gst|bulge
lens|FFmpeg|lenscorrection|ffmpeg|lenscorrection=k1=-0.3:k2=-0.1
lens|frei0r|lenscorrection|ffmpeg|frei0r=lenscorrection
blur|posteffect|tilt-shift|element|effect=tilt-shift
blur|posteffect|dof|element|effect=dof
blur|GStreamer GL|gleffects_blur|gl|gleffects_blur
blur|GStreamer|gaussianblur|gst|gaussianblur sigma=4
blur|FFmpeg|gblur|ffmpeg|gblur=sigma=4
blur|frei0r|squareblur|ffmpeg|frei0r=squareblur:0.1
glow|posteffect|bloom|element|effect=bloom
glow|GStreamer GL|gleffects_glow|gl|gleffects_glow
glow|frei0r|glow|ffmpeg|frei0r=glow:0.5
sketch|posteffect|sketch|element|effect=sketch
sketch|posteffect|color-sketch|element|effect=color-sketch
sketch|GStreamer GL|gleffects_sobel|gl|gleffects_sobel
sketch|GStreamer GL|gleffects_laplacian|gl|gleffects_laplacian
sketch|FFmpeg|sobel|ffmpeg|sobel
sketch|FFmpeg|edgedetect|ffmpeg|edgedetect
sketch|frei0r|sobel|ffmpeg|frei0r=sobel
sketch|frei0r|cartoon|ffmpeg|frei0r=cartoon
dots|posteffect|dots|element|effect=dots
dots|frei0r|colorhalftone|ffmpeg|frei0r=colorhalftone
'
stills='
nothing|posteffect|none|photo|-e none
nothing|ImageMagick|decode, encode|convert|
nothing|FFmpeg|decode, encode|ffmpeg_photo|null
nothing|vips|copy|vips|copy
nothing|G'\''MIC|decode, encode|gmic|
vignette|posteffect|vignette|photo|-e vignette
vignette|ImageMagick|-vignette|convert|-vignette 0x20
vignette|FFmpeg|vignette|ffmpeg_photo|vignette
vignette|G'\''MIC|fx_vignette|gmic|fx_vignette 70,70,95,0,0,0,255
tones|posteffect|vintage, sepia|photo|-e vintage --look sepia
tones|ImageMagick|-sepia-tone|convert|-sepia-tone 80%
tones|FFmpeg|colorchannelmixer, sepia|ffmpeg_photo|colorchannelmixer=.393:.769:.189:0:.349:.686:.168:0:.272:.534:.131
tones|vips|recomb, sepia|vips|recomb sepia.mat
tones|G'\''MIC|sepia|gmic|sepia
lens|posteffect|fisheye|photo|-e fisheye
lens|ImageMagick|-distort Barrel|convert|-distort Barrel 0.0,0.0,-0.2,1.2
lens|FFmpeg|lenscorrection|ffmpeg_photo|lenscorrection=k1=-0.3:k2=-0.1
lens|G'\''MIC|fisheye|gmic|fisheye 50,50,70
blur|posteffect|tilt-shift|photo|-e tilt-shift
blur|posteffect|dof|photo|-e dof
blur|ImageMagick|-blur|convert|-blur 0x12
blur|FFmpeg|gblur|ffmpeg_photo|gblur=sigma=12
blur|vips|gaussblur|vips|gaussblur 12
blur|G'\''MIC|blur|gmic|blur 12
sketch|posteffect|sketch|photo|-e sketch
sketch|ImageMagick|-charcoal|convert|-charcoal 2
sketch|ImageMagick|-sketch|convert|-sketch 0x4+120
sketch|FFmpeg|sobel|ffmpeg_photo|sobel
sketch|vips|sobel|vips|sobel
sketch|G'\''MIC|pencilbw|gmic|pencilbw 0.3
'

# ---- How each is run. Arguments are a row's, and for films the number of frames. Films are planar 4:2:0
# on both sides.

as_film='video/x-raw,format=I420'
ways_element() { gstreamer "$2" "posteffect $1"; }
ways_gl() { gstreamer "$2" "glupload ! glcolorconvert ! $1 ! glcolorconvert ! gldownload ! $as_film"; }
ways_gst() { gstreamer "$2" "videoconvert ! $1 ! videoconvert ! $as_film"; }
gstreamer() {
    # shellcheck disable=SC2086  # a pipeline is many words
    run gst-launch-1.0 -q multifilesrc location=frame%02d stop-index=23 loop=true num-buffers="$1" ! \
        rawvideoparse format=i420 width=1280 height=720 ! $2 ! fakesink
}
ways_pipe() { run "$ours" pipe -e "$1" <"$2.y4m"; }
ways_ffmpeg() {
    run ffmpeg -nostdin -v error -stream_loop -1 -f rawvideo -pix_fmt yuv420p -s 1280x720 -i frames \
        -frames:v "$2" -vf "$1,format=yuv420p" -f null -
}
# shellcheck disable=SC2086  # a row's arguments are many words
ways_photo() { run "$ours" photo in.jpg out.jpg --force $1; }
# shellcheck disable=SC2086
ways_convert() { run /usr/bin/convert in.jpg $1 -quality 92 out.jpg; }
# shellcheck disable=SC2086
ways_gmic() { run gmic -v 0 in.jpg $1 -o out.jpg,92; }
ways_ffmpeg_photo() { run ffmpeg -nostdin -v error -y -i in.jpg -vf "$1" -q:v 3 out.jpg; }
ways_vips() {
    local operation arguments
    read -r operation arguments <<<"$1"
    # shellcheck disable=SC2086
    run vips "$operation" in.jpg 'out.jpg[Q=92]' $arguments
}
run() { timeout -s KILL "$limit" "$@" >/dev/null 2>>log; }

# seconds COMMAND...: the CPU time of it; fails when it fails
seconds() {
    local TIMEFORMAT='%3U %3S' spent
    spent=$({ time "$@"; } 2>&1) || return 1
    awk '{ print $1 + $2 }' <<<"$spent"
}
film_cost() {
    local short long
    short=$(seconds "ways_$1" "$2" "$lead") && long=$(seconds "ways_$1" "$2" "$((lead + frames))") &&
        awk -v s="$short" -v l="$long" -v n="$frames" 'BEGIN { print 1000 * (l - s) / n }'
}
photo_cost() { seconds "ways_$1" "$2"; }

# table ROWS COST HEAD SLOW: measures every row once a round, so that all see the same machine, those
# that cost more than SLOW only once
table() {
    local round class tool shown way arguments cost slow=$4 known=
    rm -f costs
    for ((round = 0; round < rounds; ++round)); do
        while IFS='|' read -r class tool shown way arguments; do
            [[ -n "$class" && $known != *" $class|$tool|$shown "* ]] || continue
            if cost=$("$2" "$way" "$arguments" </dev/null); then
                echo "$class|$tool|$shown|$cost" >>costs
                # What takes this long is known well enough.
                awk -v c="$cost" -v s="$slow" 'BEGIN { exit !(c > s) }' &&
                    known+=" $class|$tool|$shown "
            elif [[ $round -eq 0 ]]; then
                echo "peers: $tool, $shown: does not work here, or not within $limit s; left out" >&2
            fi
        done <<<"$1"
    done
    echo "| Kind | Tool | Effect | $3 | of ours |"
    echo "|---|---|---|---|---|"
    awk -F'|' '
        {
            row = $1 "|" $2 "|" $3
            if (!(row in costs)) order[++rows] = row
            costs[row] = costs[row] " " $4
        }
        END {
            for (i = 1; i <= rows; ++i) {
                n = split(costs[order[i]], c, " ")
                for (a = 2; a <= n; ++a)
                    for (b = a; b > 1 && c[b] + 0 < c[b - 1] + 0; --b) {
                        t = c[b]; c[b] = c[b - 1]; c[b - 1] = t
                    }
                median = c[int((n + 1) / 2)]
                split(order[i], f, "|")
                if (f[1] != class) { class = f[1]; first = f[2] == "posteffect" ? median : 0 }
                ratio = first > 0 ? sprintf("%.2f", median / first) : "-"
                printf "| %s | %s | %s | %.2f | %s |\n", f[1], f[2], f[3], median, ratio
            }
        }' costs
}

# What the first use of an installation makes is no part of any row.
gst-inspect-1.0 posteffect >/dev/null 2>>log || true

# ---- A pan over the sample photo, and the photo itself at 12 megapixels.
ffmpeg -nostdin -v error -loop 1 -i "$photo" -frames:v 24 -f rawvideo \
    -vf "scale=1400:800,crop=1280:720:x='n*4':y='n*2',format=yuv420p" frames
split -b $((1280 * 720 * 3 / 2)) -d -a 2 frames frame
for count in "$lead" "$((lead + frames))"; do
    ffmpeg -nostdin -v error -stream_loop -1 -f rawvideo -pix_fmt yuv420p -s 1280x720 -i frames \
        -frames:v "$count" -f yuv4mpegpipe "$count.y4m"
done
ffmpeg -nostdin -v error -i "$photo" -vf scale=4000:3000,format=yuvj420p -q:v 2 in.jpg
printf '3 3\n.393 .769 .189\n.349 .686 .168\n.272 .534 .131\n' >sepia.mat

dpkg-query -W -f='${Package} ${Version}\n' ffmpeg frei0r-plugins imagemagick gmic libvips-tools \
    gstreamer1.0-gl libgl1-mesa-dri 2>/dev/null || true
printf '\n### Films\n\n'
table "$films" film_cost "CPU ms a frame" 1000
printf '\n### Stills\n\n'
table "$stills" photo_cost "CPU seconds" 10
