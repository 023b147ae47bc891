#!/bin/bash
# with-tsan.sh PROGRAM [ARGUMENT...]: runs a test that was built with -fsanitize=thread. It fails when any of the
# test's processes reports a race, also one whose output and exit code the test does not read.
set -uo pipefail
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
reports=$(mktemp -d)
trap 'rm -rf "$reports"' EXIT
# The programs end at once instead of waiting a second for further races.
export TSAN_OPTIONS="suppressions=$here/tsan.supp log_path=$reports/race atexit_sleep_ms=0 second_deadlock_stack=1 ${TSAN_OPTIONS:-}"
fixed=()
if setarch -R true 2>/dev/null; then # gcc's runtime refuses the addresses of some kernels; some containers forbid this
    fixed=(setarch -R)
fi
"${fixed[@]}" "$@"
result=$?
if compgen -G "$reports/*" >/dev/null; then
    cat "$reports"/* >&2
    exit 66
fi
exit $result
