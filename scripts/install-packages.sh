#!/usr/bin/env bash
# Installs the Debian packages that are missing: those to build and run the command, with the
# argument "demo" also those for its sheet of pictures, with "test" those of the suite, with
# "packages" those that make Debian packages. Quick when all are there.
set -euo pipefail

packages=(
    g++ cmake ninja-build pkg-config
    libegl-dev libgles-dev libegl1 libegl-mesa0 libgl1-mesa-dri libgles2
    libhwy-dev libjpeg62-turbo-dev libyuv-dev libexif-dev libcli11-dev nlohmann-json3-dev
    libpng-dev libwebp-dev libtiff-dev
    libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev scdoc
)
if [[ "${1:-}" == demo ]]; then
    packages+=(imagemagick fonts-dejavu-core)
fi
if [[ "${1:-}" == test ]]; then
    packages+=(libgtest-dev libgmock-dev libbenchmark-dev binutils clang libclang-rt-dev
        clang-format clang-tidy ffmpeg locales gstreamer1.0-plugins-base
        gstreamer1.0-plugins-good gstreamer1.0-plugins-bad gstreamer1.0-plugins-ugly gstreamer1.0-libav
        gstreamer1.0-tools gstreamer1.0-x xvfb chromium)
fi
if [[ "${1:-}" == packages ]]; then
    packages+=(dpkg-dev fakeroot file)
fi

missing=()
for package in "${packages[@]}"; do
    state=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [[ "$state" == installed* ]] || missing+=("$package")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

as_root=()
if [[ $EUID -ne 0 ]]; then
    command -v sudo >/dev/null || { echo "Missing packages: ${missing[*]}; run as root" >&2; exit 1; }
    as_root=(sudo)
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
"${as_root[@]}" apt-get update -q
"${as_root[@]}" apt-get install -y -q --no-install-recommends "${missing[@]}"
