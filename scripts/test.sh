#!/usr/bin/env bash
# test.sh PRESET: builds a preset and runs all of its tests.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=$1
scripts/build.sh "$preset"
echo "Testing $preset"
log=build/$preset-tests.log
if ctest --test-dir "build/$preset" --output-on-failure -j "$(nproc)" >"$log" 2>&1; then
  tail -n 12 "$log"
else
  grep -v ' Passed ' "$log"
  exit 1
fi
