#!/usr/bin/env bash
# build_typescript.sh: makes clients/typescript/dist, the client's package. Says nothing, and does
# nothing when it is what its sources make.
set -euo pipefail
cd "$(dirname "$0")/../clients/typescript"
mkdir -p build
exec 9>build/lock
flock 9

made_of() { cat package.json package-lock.json tsconfig.json src/*.ts | sha256sum; }
installed_of() { sha256sum package-lock.json; }
is() { [ -e "$1" ] && [ "$(cat "$1")" = "$2" ]; }

log=build/build.log
if ! is build/installed "$(installed_of)" || [ ! -d node_modules ]; then
  npm ci --no-audit --no-fund --loglevel=error >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
  installed_of >build/installed
fi
if ! is build/made "$(made_of)" || [ ! -d dist ]; then
  rm -rf dist
  npm run build >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
  made_of >build/made
fi
