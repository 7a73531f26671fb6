#!/usr/bin/env bash
# crash_test.sh: the long form of the tests with killed processes, failing disks, power cuts and two
# processes on one library. QUORVIN_CRASH_KILLS is the number of kills.
set -euo pipefail
cd "$(dirname "$0")/.."
export QUORVIN_CRASH_KILLS=${QUORVIN_CRASH_KILLS:-10000}
export QUORVIN_CRASH_SECONDS=${QUORVIN_CRASH_SECONDS:-60}
export QUORVIN_CRASH_THOROUGH=1
export QUORVIN_MEDIA_WORKER=$PWD/build/test/bin/quorvin-media

scripts/build.sh test crash_tests crash_changer quorvin-media
testing/media/make_media.sh "$PWD/build/test/media"
echo "Killing $QUORVIN_CRASH_KILLS processes, failing every call, and losing power at every moment"
build/test/test-bin/crash_tests --gtest_brief=1 "$@"
