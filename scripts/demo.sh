#!/usr/bin/env bash
# Builds the command and filters the sample photo; the result lies in out/demo.
set -euo pipefail
cd "$(dirname "$0")/.."

cmake --preset release
cmake --build --preset release --target posteffect_command

mkdir -p out/demo
build/release/bin/posteffect photo assets/sample/coffee.jpg out/demo/coffee-vignette.jpg \
    --effect vignette --force
echo
echo "before: $PWD/assets/sample/coffee.jpg"
echo "after:  $PWD/out/demo/coffee-vignette.jpg"
