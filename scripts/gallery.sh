#!/usr/bin/env bash
# Serves the gallery of the library that the demo made, or of LIBRARY, and opens the browser where
# there is one, until it is ended.
set -euo pipefail
cd "$(dirname "$0")/.."
library=${LIBRARY:-$PWD/demo-output/library}
if [ ! -d "$library" ]; then
  echo "There is no library $library; make demo makes one, and LIBRARY=DIR names yours" >&2
  exit 1
fi
scripts/install_dependencies.sh
scripts/build.sh release quorvin_tool quorvin-media
exec build/release/bin/quorvin --library "$library" serve --open
