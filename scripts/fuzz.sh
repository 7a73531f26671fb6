#!/usr/bin/env bash
# fuzz.sh [TARGET...]: fuzzes the targets, or all that fuzz/seeds has inputs for, FUZZ_SECONDS each.
# What is found worth keeping grows in build/fuzz/corpus.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-600}
targets=("$@")
[ "$#" -gt 0 ] || mapfile -t targets < <(ls fuzz/seeds)

# Libraries that are made for it need no disk.
if [ -d /dev/shm ] && [ -w /dev/shm ]; then export TMPDIR=/dev/shm; fi

scripts/build.sh fuzz "${targets[@]/#/fuzz_}"
for target in "${targets[@]}"; do
  echo "Fuzzing $target for $seconds s"
  corpus=build/fuzz/corpus/$target
  mkdir -p "$corpus"
  log=build/fuzz/$target.log
  build/fuzz/bin/fuzz_"$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix=build/fuzz/ "$corpus" "fuzz/seeds/$target" >"$log" 2>&1 || { tail -n 60 "$log"; exit 1; }
  # Executions, and what of the code was covered.
  grep -oE '(cov|ft): [0-9]+' "$log" | tail -n 2 | paste -sd ' '
  tail -n 1 "$log"
done
