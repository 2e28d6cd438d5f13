#!/usr/bin/env bash
# Builds the Debian packages into build/packages/packages. Built twice from one commit, they are the
# same to the byte: the time in them is the commit's.
set -euo pipefail
cd "$(dirname "$0")/.."

export SOURCE_DATE_EPOCH LC_ALL=C TZ=UTC
: "${SOURCE_DATE_EPOCH:=$(git log -1 --format=%ct)}"
umask 022
cmake --preset packages
cmake --build --preset packages
rm -rf build/packages/packages build/packages/_CPack_Packages
(cd build/packages && fakeroot cpack)
echo
ls build/packages/packages/*.deb
