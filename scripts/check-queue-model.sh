#!/usr/bin/env bash
# Checks the model of the task queue with SPIN: as the queue is, nothing may be found; with a mend
# taken out, the fault that it is for must be. Prints one line a case. Needs the packages spin and gcc.
# Arguments make the first case larger: -DCALLERS=3 -DCALLS=2 -DSTOPS=2.
set -euo pipefail
cd "$(dirname "$0")/.."
model=$PWD/tests/model/task_queue.pml
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"
failed=0

# check EXPECTED TEXT DEFINES...: EXPECTED is what pan must find, "nothing" or a part of its message.
check() {
    local expected=$1 text=$2
    shift 2
    spin -a "$@" "$model" >spin.log || { cat spin.log; exit 1; }
    gcc -O2 -w -DSAFETY -DCOLLAPSE -DMEMLIM=3000 -o pan pan.c
    ./pan -m1000000 >pan.log || true
    local found states
    found=$(sed -n 's/^pan:[0-9]*: \(.*\) (at depth.*/\1/p' pan.log)
    states=$(sed -n 's/^ *\([0-9.e+]*\) states, stored.*/\1/p' pan.log)
    if grep -q 'max search depth too small\|out of memory' pan.log; then
        found="an unfinished search"
    elif [[ -z $found ]]; then
        found=nothing
    fi
    printf '%-64s %s (%s states)\n' "$text" "$found" "$states"
    [[ $found == *"$expected"* ]] || { echo "  expected: $expected" >&2; failed=1; }
}

check nothing "as it is" "$@"
check nothing "records used again" -DCALLERS=2 -DCALLS=2
check nothing "callers' waits end early" -DEARLY_WAKE_CALLER -DCALLERS=2
check nothing "the worker's wait ends early, then stop()" -DSPURIOUS -DUNDERFLOW_STOPS -DCONTROLS=1
check "invalid end state" "the worker's wait ends early, and nobody stops" -DSPURIOUS -DCONTROLS=1 -DSTOPS=0
check "assertion" "... a caller that waits once" -DEARLY_WAKE_CALLER -DWAIT_ONCE
check "assertion" "a task put after stop's token, and none released after it" -DPUT_AFTER_TOKEN -DNO_SWEEP
check "assertion" "the worker's wait ends early, and stop() releases nobody" -DSPURIOUS -DUNDERFLOW_STOPS -DNO_SWEEP -DCONTROLS=1
check "assertion" "a start that does not wait for a stop" -DSTART_DURING_STOP
check "assertion" "completion signalled after its lock" -DSIGNAL_UNLOCKED
exit $failed
