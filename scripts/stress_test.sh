#!/usr/bin/env bash
# stress_test.sh: the long form of the tests with many callers and many engines.
# QUORVIN_STRESS_CALLS is the number of calls, QUORVIN_STRESS_ENGINES that of engines.
set -euo pipefail
cd "$(dirname "$0")/.."
export QUORVIN_STRESS_CALLS=${QUORVIN_STRESS_CALLS:-10000}
export QUORVIN_STRESS_ENGINES=${QUORVIN_STRESS_ENGINES:-1000}

scripts/build.sh test stress_tests quorvin_tool quorvin-media
export QUORVIN_MEDIA_WORKER=$PWD/build/test/bin/quorvin-media
testing/media/make_media.sh "$PWD/build/test/media"
tests/channel/import_library.sh build/test/bin/quorvin build/test/media/good build/test/library
echo "Calling $QUORVIN_STRESS_CALLS times, and ending $QUORVIN_STRESS_ENGINES engines"
build/test/test-bin/stress_tests --gtest_brief=1 "$@"
