#!/usr/bin/env bash
# Line coverage of the core by all tests. Fails below the limit, in percent.
set -euo pipefail
cd "$(dirname "$0")/.."
limit=97

scripts/build.sh coverage core_tests
tree=build/coverage
echo "Testing coverage"
rm -rf "$tree/profiles"
# %c keeps the counters of tests that end in an abort.
LLVM_PROFILE_FILE="$PWD/$tree/profiles/%p%c.profraw" "$tree/test-bin/core_tests" --gtest_brief=1 \
  >"$tree/core_tests.log" || { cat "$tree/core_tests.log"; exit 1; }
llvm-profdata merge -sparse -o "$tree/core.profdata" "$tree"/profiles/*.profraw
report() {
  llvm-cov "$1" "$tree/test-bin/core_tests" -instr-profile="$tree/core.profdata" \
    -ignore-filename-regex='_test\.cc$|/(testing|codec)/|/usr/' "${@:2}"
}
report report | sed "s|$PWD/||" | awk 'NF > 10 { print $1, $(NF-3) }' | column -t
percent=$(report export -summary-only | jq '.data[0].totals.lines.percent')
printf 'Line coverage of the core: %.2f %%\n' "$percent"
jq -en --argjson percent "$percent" --argjson limit "$limit" '$percent >= $limit' >/dev/null || {
  echo "That is below $limit %." >&2
  exit 1
}
