#!/usr/bin/env bash
# test_typescript.sh [BUILD]: tests the client in TypeScript, compiles other projects against its
# package, compares its codec with the one in C++ over 10,000 values each way, and has the engine in
# BUILD (build/test), where all is built, answer every method. Needs a network to npm's registry
# for the first time.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build/test}")
log=$build-typescript.log
codec_values=$build/test-bin/codec_values

scripts/build_typescript.sh
cd clients/typescript
"$codec_values" vectors | cmp - test/vectors.json || {
  echo "test/vectors.json is not what \"codec_values vectors\" writes; write it anew" >&2
  exit 1
}
npm test >"$log" 2>&1 || { grep -A 20 -E 'error TS|^ *not ok|✖' "$log"; exit 1; }
grep -E '^(#|ℹ) (pass|fail|skipped) ' "$log"
npm run --silent test:outsider

echo "Comparing the codecs"
node build/test/compare.js "$codec_values"

echo "Asking an engine"
../../testing/media/make_media.sh "$build/media"
library=$(mktemp -d)
trap 'rm -rf "$library"' EXIT
# What one run makes a worker fail over is nothing to the next one.
export XDG_STATE_HOME=/dev/null QUORVIN_MEDIA_WORKER=$build/bin/quorvin-media
../../tests/channel/import_library.sh "$build/bin/quorvin" "$build/media/good" "$library/library" \
  >"$log" 2>&1 || { cat "$log"; exit 1; }
node build/test/with_engine.js "$build/bin/libquorvin.so" "$library/library" "$build/media/good"
