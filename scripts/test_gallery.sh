#!/usr/bin/env bash
# test_gallery.sh BUILD [FILE...]: looks at the gallery that is served by the programs in BUILD as a
# person does, in Chromium; BUILD/library must hold the library that tests import. Screenshots go to
# BUILD/gallery. Needs a network to npm's registry for the first time.
set -euo pipefail
QUORVIN_BUILD=$(realpath "$1")
export QUORVIN_BUILD
cd "$(dirname "$0")/../tests/gallery"
shift
log=$QUORVIN_BUILD-gallery.log
installed() { [ -e node_modules/.package-lock.json ] && [ node_modules/.package-lock.json -nt package-lock.json ]; }
installed || npm ci --no-audit --no-fund --loglevel=error >"$log" 2>&1 || { cat "$log"; exit 1; }
rm -rf build
npm run --silent build
files=("${@/%/.js}")
if [ "$#" -eq 0 ]; then files=(*_test.ts); files=("${files[@]/%.ts/.js}"); fi
cd build
status=0
node --test "${files[@]}" >"$log" 2>&1 || status=$?
if [ "$status" -ne 0 ]; then grep -vE '^(▶|✔|ℹ|$)' "$log" | head -n 150; fi
grep -E '^(#|ℹ) (pass|fail|skipped) ' "$log"
exit "$status"
