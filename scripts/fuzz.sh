#!/usr/bin/env bash
# Fuzzes the message decoder, the dispatcher, both sides of the media worker's socket and what
# stands beside originals, FUZZ_SECONDS each.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${FUZZ_SECONDS:-600}

scripts/build.sh fuzz fuzz_message fuzz_dispatch fuzz_worker fuzz_originals
for target in message dispatch worker originals; do
  echo "Fuzzing $target for $seconds s"
  corpus=build/fuzz/corpus/$target
  mkdir -p "$corpus"
  log=build/fuzz/$target.log
  build/fuzz/bin/fuzz_$target -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -artifact_prefix=build/fuzz/ "$corpus" "fuzz/seeds/$target" >"$log" 2>&1 || { tail -n 60 "$log"; exit 1; }
  tail -n 1 "$log"
done
