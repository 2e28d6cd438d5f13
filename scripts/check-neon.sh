#!/usr/bin/env bash
# Builds the conversion routines and their test for 64-bit ARM and runs the test under QEMU's user
# emulation, with and without SVE. Needs, on Debian:
#   dpkg --add-architecture arm64 && apt-get update
#   apt-get install g++-aarch64-linux-gnu libhwy-dev:arm64 libgtest-dev:arm64 qemu-user-static
set -euo pipefail
cd "$(dirname "$0")/.."
folder=build/neon
mkdir -p $folder

# The compiler's own headers come first; the libraries are Debian's for ARM.
aarch64-linux-gnu-g++ -std=c++17 -O2 -ffp-contract=off -DHWY_SHARED_DEFINE -I. -Iinclude \
    -idirafter /usr/include \
    tests/semi_planar_test.cpp engine/SemiPlanar.cpp engine/SemiPlanarRect.cpp \
    engine/SemiPlanarRows.cpp engine/PackedRows.cpp \
    -L/usr/lib/aarch64-linux-gnu -lgtest -lgtest_main -lhwy -lpthread -o $folder/semi_planar_test

export LD_LIBRARY_PATH=/usr/lib/aarch64-linux-gnu
for cpu in cortex-a72 max; do
    echo "== $cpu"
    qemu-aarch64-static -L / -cpu $cpu $folder/semi_planar_test --gtest_brief=1
done
