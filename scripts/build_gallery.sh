#!/usr/bin/env bash
# build_gallery.sh: builds the gallery's page into build/web/gallery. Quick and silent when nothing
# changed since. Needs Node 18.19 or later and npm, and for the first time a network to npm's registry.
set -euo pipefail
cd "$(dirname "$0")/.."
out=$PWD/build/web
mkdir -p "$out"
log=$out/gallery.log

# Several builds may want it at once.
exec 9>"$out/lock"
flock 9

sources=(gallery/{src,public,index.html,package.json,package-lock.json,tsconfig.json,vite.config.ts}
  clients/typescript/src scripts/build_gallery.sh)
stamp=$(find "${sources[@]}" -type f -print0 | LC_ALL=C sort -z | xargs -0 sha256sum | sha256sum)
if [ -f "$out/gallery/index.html" ] && [ "$stamp" = "$(cat "$out/stamp" 2>/dev/null)" ]; then exit 0; fi

run() { "$@" >"$log" 2>&1 9>&- || { cat "$log" >&2; exit 1; }; }
cd gallery
packages=$(sha256sum package-lock.json)
if [ "$packages" != "$(cat node_modules/.installed 2>/dev/null)" ]; then
  run npm ci --no-audit --no-fund --loglevel=error
  echo "$packages" >node_modules/.installed
fi
run npm run --silent check:page
run npm run --silent build
echo "$stamp" >"$out/stamp"
