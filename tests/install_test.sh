#!/usr/bin/env bash
# Installs the build $1 into a prefix, moves the prefix, and uses what lies there as others do: two
# programs outside the tree, the command, its manual and completion. $2 is the libraries' folder
# below the prefix.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$1
libraries=$2

fail() {
    echo "$1" >&2
    exit 1
}

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/first" >/dev/null
prefix=$scratch/second/place
mkdir "$scratch/second"
mv "$scratch/first" "$prefix"
lib=$prefix/$libraries
unset POSTEFFECT_SYSROOT

readelf -dW "$lib/libposteffect.so" | grep -qF 'soname: [libposteffect.so.0]' ||
    fail "the soname is not libposteffect.so.0"
nm -D --defined-only "$lib/libposteffect.so.0" | grep -q ' T createPostEffect$' ||
    fail "the installed library does not show createPostEffect"
root=$PWD
! grep -rqF "$scratch/first" "$prefix" || fail "a file names the prefix it was installed to"
! grep -qF "$root" "$lib/libposteffect.so.0" || fail "the library names the source folder"

files=()
while read -r file; do
    ! readelf -h "$file" >/dev/null 2>&1 || files+=("$file")
done < <(find "$lib" "$prefix/bin" -type f)
[[ ${#files[@]} -ge 2 ]] || fail "found ${#files[@]} installed programs and libraries"
scripts/check-hardening.sh "${files[@]}" || fail "an installed file is not hardened"

cmake -S tests/consumers/cmake -B "$scratch/cmake" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/cmake" >/dev/null
"$scratch/cmake/consumer"

mkdir "$scratch/pkg-config"
PKG_CONFIG_PATH=$lib/pkgconfig make -s -C tests/consumers/pkg-config OUT="$scratch/pkg-config"
LD_LIBRARY_PATH=$lib "$scratch/pkg-config/consumer"

# Effects that read look-up files; the build's own are elsewhere from here.
command=$prefix/bin/posteffect
photo=assets/sample/coffee.jpg
for effect in vintage two-tone-v; do
    "$command" photo "$photo" - --effect "$effect" >"$scratch/$effect.jpg" ||
        fail "the installed command cannot apply $effect"
    ! cmp -s "$photo" "$scratch/$effect.jpg" || fail "$effect changed nothing"
done

man1=$prefix/share/man/man1/posteffect.1
for name in $("$command" --help | sed -n '/^Subcommands:/,$ s/^  \([a-z][a-z-]*\) .*/\1/p'); do
    grep -qi "^\.SH $name\$" "$man1" || fail "posteffect(1) does not tell of $name"
done
man7=$prefix/share/man/man7/posteffect-effects.7
effects=$("$command" list | sed -n 's/^\([a-z][a-z-]*\) .*/\1/p')
for effect in $effects; do
    grep -q "^\.SH $effect\$" "$man7" || fail "posteffect-effects(7) does not tell of $effect"
    [[ -f docs/effects/$effect.md ]] || fail "docs/effects has no page for $effect"
done

completed() {
    bash -c 'source "$1"; shift; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1))
             _posteffect; echo "${COMPREPLY[*]}"' \
        - "$prefix/share/bash-completion/completions/posteffect" "$command" "$@" 2>/dev/null
}
[[ $(completed photo --effect vig) == vignette ]] || fail "effects are not completed"
[[ $(completed ph) == photo ]] || fail "commands are not completed"
[[ $(completed photo --qual) == --quality ]] || fail "options are not completed"
