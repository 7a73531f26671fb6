#!/usr/bin/env bash
# test.sh PRESET [PROGRAM...]: builds a preset and runs all of its tests, or those of some programs;
# the last line counts them.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=$1
shift
scripts/build.sh "$preset" "$@"
only=()
if [ "$#" -gt 0 ]; then only=(-R "^($(IFS='|' && echo "$*"))\."); fi
echo "Testing $preset"
log=build/$preset-tests.log
status=0
# One more than there are processors, for tests wait for disks and for processes to end.
ctest --test-dir "build/$preset" "${only[@]}" -j "$(($(nproc) + 1))" >"$log" 2>&1 || status=$?
# Its last words name what failed and what did not run at all.
if [ "$status" -ne 0 ]; then sed -n '/^[0-9]*% tests passed/,$p' "$log"; fi
scripts/report_tests.py "build/$preset/Testing/Temporary/LastTest.log"
exit "$status"
