#!/usr/bin/env bash
# hostile_test.sh: the long form of the tests with files that are made to do harm.
# QUORVIN_HOSTILE_FILES is the number of damaged ones.
set -euo pipefail
cd "$(dirname "$0")/.."
export QUORVIN_HOSTILE_FILES=${QUORVIN_HOSTILE_FILES:-20000}
export QUORVIN_MEDIA_WORKER=$PWD/build/test/bin/quorvin-media

scripts/build.sh test hostile_tests quorvin-media
echo "Attacking with bombs, mazes, disguises and $QUORVIN_HOSTILE_FILES damaged files"
build/test/test-bin/hostile_tests --gtest_brief=1 "$@"
