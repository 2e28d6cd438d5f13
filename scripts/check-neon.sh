#!/usr/bin/env bash
# Builds the conversion routines and their tests for 64-bit ARM and runs the tests under QEMU's user
# emulation, with and without SVE. Needs, on Debian:
#   dpkg --add-architecture arm64 && apt-get update
#   apt-get install g++-aarch64-linux-gnu libhwy-dev:arm64 libgtest-dev:arm64 qemu-user-static
set -euo pipefail
cd "$(dirname "$0")/.."
folder=build/neon
mkdir -p $folder

# build TEST SOURCE... [OPTION...]: the compiler's own headers come first; the libraries are Debian's
# for ARM.
build() {
    aarch64-linux-gnu-g++ -std=c++17 -O2 -ffp-contract=off -DHWY_SHARED_DEFINE -I. -Iinclude \
        -idirafter /usr/include "tests/$1.cpp" "${@:2}" \
        -L/usr/lib/aarch64-linux-gnu -lgtest -lgtest_main -lhwy -lpthread -o "$folder/$1"
}
build semi_planar_test engine/SemiPlanar.cpp engine/SemiPlanarRect.cpp engine/SemiPlanarRows.cpp \
    engine/PackedRows.cpp
build frame_color_test apps/common/FrameColor.cpp apps/common/FrameColorRows.cpp

export LD_LIBRARY_PATH=/usr/lib/aarch64-linux-gnu
for cpu in cortex-a72 max; do
    echo "== $cpu"
    for test in semi_planar_test frame_color_test; do
        qemu-aarch64-static -L / -cpu $cpu $folder/$test --gtest_brief=1
    done
done
