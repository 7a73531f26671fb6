#!/usr/bin/env bash
# check.sh: the checks that take long: all tests under AddressSanitizer and
# UndefinedBehaviorSanitizer, those where threads meet under ThreadSanitizer, a minute of many calls
# at once, the C interface under valgrind, and static analysis.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/test.sh asan
scripts/test.sh tsan
echo "Calling from many threads for a minute"
QUORVIN_STRESS_SECONDS=60 QUORVIN_MEDIA_WORKER=$PWD/build/tsan/bin/quorvin-media \
  build/tsan/test-bin/stress_tests --gtest_brief=1
scripts/valgrind.sh
echo "Analysing"
cmake --preset tidy >build/tidy.log 2>&1 || { cat build/tidy.log; exit 1; }
scripts/check_tidy.sh build/tidy quick
