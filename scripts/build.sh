#!/usr/bin/env bash
# build.sh PRESET [TARGET...]: configures and builds a preset; prints what went wrong, or one line.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=$1
shift
mkdir -p build
log=build/$preset.log
targets=()
if [ "$#" -gt 0 ]; then targets=(--target "$@"); fi

echo "Building $preset"
if ! { cmake --preset "$preset" && cmake --build "build/$preset" "${targets[@]}"; } >"$log" 2>&1; then
  grep -E -A 12 'error|FAILED|Error' "$log" | head -n 80 || tail -n 40 "$log"
  echo "The build failed; all of it is in $log" >&2
  exit 1
fi
