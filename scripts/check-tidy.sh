#!/usr/bin/env bash
# Runs clang-tidy over every source file that the build in $1 compiles, on all processors.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1

status=0
report=$(sed -n 's/^ *"file": "\(.*\)",\{0,1\}$/\1/p' "$build/compile_commands.json" | sort -u |
    xargs -n 4 -P "$(nproc)" clang-tidy -p "$build" --quiet \
        --extra-arg=-Wno-unknown-warning-option --extra-arg=-Wthread-safety 2>/dev/null) || status=1
[[ -z "$report" ]] || echo "$report"
exit $status
