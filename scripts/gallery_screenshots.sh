#!/usr/bin/env bash
# gallery_screenshots.sh [BUILD]: shows the gallery of a made-up library, by the programs in BUILD
# (build/test), and puts the pictures for docs/gallery.md into docs/gallery.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install_dependencies.sh test
QUORVIN_BUILD=$(realpath "${1:-build/test}")
export QUORVIN_BUILD
shown=$QUORVIN_BUILD/gallery/shown
cd tests/gallery
[ -d node_modules ] || npm ci --no-audit --no-fund --loglevel=error
npm run --silent build
node build/screenshots.js "$shown"
mkdir -p ../../docs/gallery
for picture in "$shown"/*.png; do
  vipsthumbnail "$picture" --size '800x600>' --output "$PWD/../../docs/gallery/%s.webp[Q=80,strip]"
done
