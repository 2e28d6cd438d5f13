#!/usr/bin/env bash
# Looks at built or installed files $@ of ours: what a linker and a compiler can do against the use of
# a memory fault is in them. A run path may only lead from where the file itself lies.
set -euo pipefail
status=0
for file in "$@"; do
    complain() { echo "$file: $1" >&2; status=1; }
    dynamic=$(readelf -dW "$file")
    segments=$(readelf -lW "$file")
    symbols=$(readelf -sW "$file")
    grep -q 'BIND_NOW\|FLAGS_1.*NOW' <<<"$dynamic" || complain "binds lazily"
    ! grep -q 'TEXTREL' <<<"$dynamic" || complain "has text relocations"
    ! grep 'R.*PATH' <<<"$dynamic" | grep -qv '\[\$ORIGIN[^:]*\]' || complain "has a fixed run path"
    grep -q 'GNU_RELRO' <<<"$segments" || complain "relocations stay writable"
    grep -q 'GNU_STACK.* RW ' <<<"$segments" || complain "does not say that its stack is not executable"
    ! grep -q ' RWE ' <<<"$segments" || complain "has memory both writable and executable"
    readelf -hW "$file" | grep -q 'Type: *DYN' || complain "lies at a fixed address"
    grep -q '__stack_chk_fail' <<<"$symbols" || complain "has no stack protector"
    # Calls into buffers of unknown size stay as they are; a file without others shows nothing.
    if grep -qE ' v?(f|s|sn)?printf@GLIBC' <<<"$symbols"; then
        grep -qE ' __(v?(f|s|sn)?printf|f?read|mem(cpy|set|move))_chk@' <<<"$symbols" ||
            complain "has no fortified calls"
    fi
done
exit $status
