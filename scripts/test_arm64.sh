#!/usr/bin/env bash
# test_arm64.sh: builds for arm64 and runs the tests of what is compiled, and of what is called from C,
# under qemu-user; the last line counts them. For scripts/in_debian.sh --arch arm64.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install_dependencies.sh test
scripts/build.sh arm64
echo "Testing arm64"
programs='core_tests|codec_tests|platform_linux_tests|library_tests|media_worker_tests|event_tests'
log=build/arm64-tests.log
status=0
# What fills disks, tries every page of a catalogue or has a limit of processor time takes minutes each
# there, and is nothing that another processor does in another way.
GTEST_FILTER='-FullDisk.*:Rescue.BringsBackEvery*:Snapshots.*:LibraryOpen.NoticesADamaged*'
GTEST_FILTER+=':MediaWorkerIsolation.RefusesNothingThatMediaNeed'
export GTEST_FILTER
ctest --test-dir build/arm64 -R "^($programs|end_to_end_tests|CInterface)\." -j "$(nproc)" \
  >"$log" 2>&1 || status=$?
if [ "$status" -ne 0 ]; then sed -n '/^[0-9]*% tests passed/,$p' "$log"; fi
scripts/report_tests.py build/arm64/Testing/Temporary/LastTest.log
exit "$status"
