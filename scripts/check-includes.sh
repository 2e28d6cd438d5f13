#!/usr/bin/env bash
# Fails on an include that points against the arrow
# apps, plugins -> service -> effects -> engine -> gl -> platform.
set -euo pipefail
cd "$(dirname "$0")/.."

declare -A may_include=(
    [platform]=""
    [gl]="platform"
    [engine]="gl platform"
    [effects]="engine gl platform"
    [service]="effects engine gl platform"
    [apps]=""
    [plugins]=""
)
status=0
for folder in "${!may_include[@]}"; do
    [[ -d $folder ]] || continue
    for other in platform gl engine effects service apps plugins; do
        [[ $other == "$folder" || " ${may_include[$folder]} " == *" $other "* ]] && continue
        # The table from effect number to constructor is the engine's one look at the effects, and
        # plug-ins are front ends that share what the command is made of.
        if found=$(grep -rn "#include \"$other/" "$folder" --include='*.h' --include='*.cpp' |
                   grep -v '^engine/EffectTable.cpp:' |
                   grep -v '^plugins/.*"apps/common/'); then
            echo "back arrow from $folder to $other:"
            echo "$found"
            status=1
        fi
    done
done
exit $status
