#!/usr/bin/env bash
# measure_gallery.sh [ASSETS]: makes a library of so many assets (1,000,000), whose pictures are links
# to a few, and measures its gallery in Chromium.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install_dependencies.sh test bench
scripts/build.sh bench generate_library quorvin_tool quorvin-media quorvin
bin=$PWD/build/bench/bin
folder=${TMPDIR:-/dev/shm}/quorvin-gallery-measured
library=$folder/library
if [ ! -e "$folder/made-${1:-1000000}" ]; then
  rm -rf "$folder"
  mkdir -p "$folder/pictures"
  echo "Making a library"
  build/bench/bin/generate_library "$library" "${1:-1000000}"
  # Twelve megapixels each, as telephones take them.
  for i in $(seq 32); do
    vips gaussnoise "$folder/noise.v" 40 30 --mean 128 --sigma 60
    vips bandjoin "$folder/noise.v $folder/noise.v $folder/noise.v" "$folder/bands.v"
    vips linear "$folder/bands.v" "$folder/tinted.v" "$((RANDOM % 100 + 50))e-2 1 $((RANDOM % 100 + 50))e-2" 0
    vips resize "$folder/tinted.v" "$folder/pictures/$i.jpg[Q=80]" 100.8 --kernel cubic
  done
  rm "$folder"/*.v
  python3 - "$library" "$folder/pictures" <<'PYTHON'
import os
import sqlite3
import sys

library, pictures = sys.argv[1:]
sources = [os.path.join(pictures, name) for name in sorted(os.listdir(pictures))]
rows = sqlite3.connect(f'file:{library}/library.sqlite?mode=ro', uri=True).execute('SELECT path FROM resources')
originals = os.path.join(library, 'originals')
for number in range(256):
    os.makedirs(os.path.join(originals, f'{number:02X}'), mode=0o700, exist_ok=True)
for number, (path,) in enumerate(rows):
    os.link(sources[number % len(sources)], os.path.join(originals, path))
PYTHON
  touch "$folder/made-${1:-1000000}"
fi
cd tests/gallery
[ -d node_modules ] || npm ci --no-audit --no-fund --loglevel=error
npm run --silent build
QUORVIN_BUILD=../../build/bench node build/measure.js "$library"
