#!/usr/bin/env bash
# Fails when a source file is not as clang-format would write it.
set -euo pipefail
cd "$(dirname "$0")/.."

find apps bench effects engine gl include platform plugins service tests \
    \( -name '*.cpp' -o -name '*.h' \) -print0 2>/dev/null |
    xargs -0 clang-format --dry-run --Werror
