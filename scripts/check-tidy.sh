#!/usr/bin/env bash
# Runs clang-tidy over the sources that the build in $1 compiles, on all processors: the product's
# without the analysis of whole functions, which takes half of the time; with "all" everything, the
# tests' sources too.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
skipped='/tests/\|/bench/'
checks='-clang-analyzer-*'
if [[ ${2:-} == all ]]; then
    skipped='^$'
    checks=
fi

status=0
report=$(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$build/compile_commands.json" | sort -u |
    grep -v "$skipped" |
    xargs -n 4 -P "$(nproc)" clang-tidy -p "$build" --quiet --checks="$checks" \
        --extra-arg=-Wno-unknown-warning-option --extra-arg=-Wthread-safety 2>/dev/null) || status=1
[[ -z "$report" ]] || echo "$report"
exit $status
