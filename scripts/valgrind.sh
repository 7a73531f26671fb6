#!/usr/bin/env bash
# valgrind.sh: the C interface as a program in C uses it, under valgrind: not one wrong access, and
# nothing that is never freed.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/build.sh test engine_from_c
library=$(mktemp -d)
trap 'rm -rf "$library"' EXIT
log=build/valgrind.log
echo "Running engine_from_c under valgrind"
valgrind --leak-check=full --show-leak-kinds=all --errors-for-leak-kinds=all --error-exitcode=9 \
  --log-file="$log" build/test/test-bin/engine_from_c "$library/library" >/dev/null ||
  { grep -v unhandled "$log" | tail -n 100 >&2; exit 1; }
sed -n 's/^==[0-9]*== \(.*heap usage.*\|ERROR SUMMARY.*\)/\1/p' "$log"
