#!/usr/bin/env bash
# record_interface.sh [BUILD]: records the functions and types of the C interface, as BUILD (build/test)
# has them, in tests/c_abi/released_interface.abi. It is done with each release, and for an added field.
set -euo pipefail
cd "$(dirname "$0")/.."
build=${1:-build/test}
abidw --headers-dir include --drop-private-types --exported-interfaces-only --no-elf-needed \
  --no-architecture --no-corpus-path --no-comp-dir-path --short-locs \
  --out-file tests/c_abi/released_interface.abi "$build/bin/libquorvin.so"
