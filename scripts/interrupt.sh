#!/usr/bin/env bash
# Ends the command by signals at random moments and looks at what it leaves: no temporary file, no
# half-written output, and an exit status that tells. interrupt.sh [runs of each kind: 50]. Minutes.
set -euo pipefail
cd "$(dirname "$0")/.."
runs=${1:-50}
command=$PWD/build/test/bin/posteffect
sample=$PWD/assets/sample/coffee.jpg
export MESA_SHADER_CACHE_DIR=$PWD/build/test/shader-cache POSTEFFECT_LOG=none
export GST_REGISTRY=$PWD/build/test/gst-registry-command GST_REGISTRY_FORK=no
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
ffmpeg -v error -i "$sample" -vf scale=1800:1200 in.jpg
ffmpeg -v error -f lavfi -i testsrc2=size=320x240:rate=25 -f lavfi -i sine=frequency=440 -t 4 \
    -pix_fmt yuv420p -c:v libx264 -g 10 -c:a aac in.mp4
ffmpeg -v error -i in.mp4 -f yuv4mpegpipe in.y4m

# What each kind runs, in a folder of its own that holds nothing else.
photo() { "$@" "$command" photo ../in.jpg -o out.jpg --effect tilt-shift; }
replace() { "$@" "$command" photo ../in.jpg -o out.jpg --effect tilt-shift --force; }
gallery() { "$@" "$command" gallery ../in.jpg -o page --no-open; }
video() { "$@" "$command" video ../in.mp4 -o out.mkv --effect bloom; }
pipe() { "$@" "$command" pipe --effect bloom <../in.y4m >/dev/null; }

# Whether what is there is whole: nothing but the outputs, each of which can be read to its end.
whole() {
    local file
    while read -r file; do
        case ${file##*/} in
            out.jpg) cmp -s "$file" ../photo.jpg || { [ "$1" = replace ] && cmp -s "$file" ../in.jpg; } ;;
            sheet.jpg) "$command" inspect "$file" >/dev/null ;;
            index.html) tail -c 20 "$file" | grep -q '</html>' ;;
            out.mkv) ffmpeg -v error -xerror -i "$file" -f null - ;;
            *) false ;;
        esac || { echo "$1: left or broken: $file"; return 1; }
    done < <(find . -type f)
}

fresh() { rm -rf "$work/run"; mkdir "$work/run"; cd "$work/run"; }

bad=0
for kind in ${2:-photo replace gallery video pipe}; do
    # Once for the caches.
    for _ in 1 2; do
        fresh
        begin=$(date +%s%N)
        $kind env >/dev/null 2>&1
    done
    length=$((($(date +%s%N) - begin) / 1000))
    [ $kind != photo ] || cp out.jpg ../photo.jpg
    whole $kind
    for signal in INT TERM HUP; do
        declare -A ended=()
        for ((i = 0; i < runs; ++i)); do
            fresh
            [ $kind != replace ] || cp ../in.jpg out.jpg
            # Up to a little after the end, and more of the first moments, which differ most.
            moment=$((RANDOM * (length + length / 10) / 32768 * RANDOM / 32768))
            status=0
            $kind timeout --foreground --preserve-status -k 30 -s $signal \
                "$(printf '%d.%06d' $((moment / 1000000)) $((moment % 1000000)))" \
                >/dev/null 2>errors || status=$?
            rm -f errors
            ended[$status]=$((${ended[$status]:-0} + 1))
            # Whole, ended by a signal as the shell tells it, or before it took signals.
            case $status in 0 | 129 | 130 | 143) ;; *) echo "$kind: status $status"; bad=$((bad + 1)) ;; esac
            whole $kind || bad=$((bad + 1))
        done
        printf '%s, SIG%s, within %d ms:' $kind $signal $((length / 1000))
        for status in "${!ended[@]}"; do printf ' %d ended with %d' "${ended[$status]}" "$status"; done
        echo
        unset ended
    done
done

# A reader that goes away in mid-stream: an error that is told.
size=$(stat -c %s ../in.y4m)
for ((i = 0; i < runs; ++i)); do
    status=0
    { "$command" pipe --effect bloom <../in.y4m 2>errors || echo $? >status; } |
        head -c $((RANDOM * (size / 65536) + 1)) >/dev/null || true
    if [ "$(cat status)" != 5 ] || ! grep -q 'standard output' errors; then
        echo "pipe whose reader went away: status $(cat status)"
        bad=$((bad + 1))
    fi
done
echo "$runs readers went away; $bad faults in all"
[ $bad = 0 ]
