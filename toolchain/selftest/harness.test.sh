#!/usr/bin/env bash
# harness.test.sh RUN: checks what ../wine/run promises about output, exit codes and time limits.
set -u
run=$1
failures=0
check() {  # what, expected, actual
    [ "$2" = "$3" ] && return
    printf '%s: expected "%s", was "%s"\n' "$1" "$2" "$3"
    failures=$((failures + 1))
}

output=$("$run" cmd /c "echo out& echo err>&2& exit 7" 2>/dev/null)
check "exit code" 7 $?
check "standard output" out "${output%%[[:space:]]*}"
output=$("$run" cmd /c "echo err>&2" 2>&1 >/dev/null)
check "error stream" err "${output%%[[:space:]]*}"

start=$SECONDS
output=$(ZEB_WINE_TIMEOUT=2 "$run" ping -n 60 127.0.0.1 2>&1 >/dev/null)
check "a program that takes too long" 124 $?
check "and is told about" "run: ended after 2 s: ping -n 60 127.0.0.1" "${output%%$'\n'*}"
check "with what its threads do" yes "$(grep -Eq '^  [0-9]+ start.exe [A-Z] .*: ' <<<"$output" && echo yes || echo no)"
check "none of one that has ended" "[] []" "$(cd "$(dirname "$run")" && python3 -B -c '
import pathlib, stacks
gone = pathlib.Path("/proc/0")
print(stacks.stack(gone, []), stacks.threads(gone))' 2>&1)"
check "without waiting for it" yes "$([ $((SECONDS - start)) -lt 30 ] && echo yes || echo no)"

check "a program that is not there fails" yes "$("$run" no-such-program.exe >/dev/null 2>&1 && echo no || echo yes)"
exit $((failures > 0))
