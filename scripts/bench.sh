#!/usr/bin/env bash
# bench.sh [OPTION...]: builds and runs the benchmarks beside their rivals and prints one table.
# Options are those of the benchmark programs, for example --benchmark_repetitions=3.
# QUORVIN_TEST_MEDIA names a folder of photographs; a phone_12mp.HEIC in it is measured too.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/build.sh bench quorvin_benchmarks quorvin-media
bin=$PWD/build/bench/bin
photographs=$PWD/build/bench/photographs
bench/make_photographs.sh "$photographs"
videos=$PWD/build/bench/videos
bench/make_videos.sh "$videos"
pictures=("$photographs"/photograph{.jpg,_preview.jpg,.heic,_preview.heic})
libraries=$PWD/build/bench/libraries
rm -rf "$libraries"
phone=${QUORVIN_TEST_MEDIA:-}/phone_12mp.HEIC
if [ -f "$phone" ]; then pictures+=("$phone"); fi

echo "Measuring; other work on this machine disturbs it"
{
  "$bin/bench_dispatch" "$@"
  "$bin/bench_codec" "$@"
  "$bin/bench_page" "$@" "$libraries"
  "$bin/bench_galleries" "$@" "$libraries"
  "$bin/bench_changes" "$@" "$photographs/photograph.jpg"
  "$bin/bench_thumbnail" "$@" "${pictures[@]}"
  "$bin/bench_wall" "$@" "${pictures[@]}"
  "$bin/bench_image_data" "$@" "${pictures[@]}"
  "$bin/bench_export_files" "$@" "$photographs/photograph.jpg"
  "$bin/bench_video" "$@" "$videos"
} | awk 'NR == 1 { header = $0 } NR == 1 || $0 != header { print; fflush() }'
