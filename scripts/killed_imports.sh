#!/usr/bin/env bash
# killed_imports.sh: the long form of the test with imports that are killed and begun anew.
# QUORVIN_KILLED_IMPORTS_FILES is the number of files, QUORVIN_KILLED_IMPORTS_KILLS that of kills.
# Everything is made below TMPDIR, which should be on a disk.
set -euo pipefail
cd "$(dirname "$0")/.."
export QUORVIN_KILLED_IMPORTS_FILES=${QUORVIN_KILLED_IMPORTS_FILES:-100000}
export QUORVIN_KILLED_IMPORTS_KILLS=${QUORVIN_KILLED_IMPORTS_KILLS:-50}
export TMPDIR=${TMPDIR:-$PWD/build}

scripts/build.sh test stress_tests quorvin_tool quorvin-media
export QUORVIN_MEDIA_WORKER=$PWD/build/test/bin/quorvin-media
echo "Importing $QUORVIN_KILLED_IMPORTS_FILES files, killed $QUORVIN_KILLED_IMPORTS_KILLS times"
time build/test/test-bin/stress_tests --gtest_brief=1 --gtest_filter='KilledImports.*' "$@"
