#!/usr/bin/env bash
# bench.sh [OPTION...]: builds and runs the benchmarks beside their rivals and prints one table, in
# about ten minutes; build/bench/rows.tsv has the same for programs.
# Options are those of the benchmark programs, for example --benchmark_repetitions=9.
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
phone=${QUORVIN_TEST_MEDIA:-}/phone_12mp.HEIC
if [ -f "$phone" ]; then pictures+=("$phone"); fi

# In memory where there is room, so that no disk is measured, nor what else fills the page cache.
needed=$((6 << 20)) # kB
place=$PWD/build/bench
if [ "$(df --output=avail /dev/shm 2>/dev/null | tail -n 1)" -ge "$needed" ]; then place=/dev/shm; fi
work=$(mktemp -d "$place/quorvin-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
libraries=$work/libraries
rows=$PWD/build/bench/rows.tsv
rm -f "$rows"
export QUORVIN_BENCH_ROWS=$rows

options=(--benchmark_repetitions=5 --benchmark_min_time=0.1 "$@")
run() { "$bin/$1" "${options[@]}" "${@:2}"; }
in_memory() { TMPDIR=$work run "$@"; }

echo "Measuring; other work on this machine disturbs it"
{
  run bench_dispatch
  run bench_codec
  in_memory bench_page "$libraries"
  in_memory bench_galleries "$libraries"
  in_memory bench_growth "$libraries"
  run bench_changes "$photographs/photograph.jpg"
  in_memory bench_thumbnail "${pictures[@]}"
  in_memory bench_previews "${pictures[@]}"
  in_memory bench_wall "${pictures[@]}"
  in_memory bench_image_data "${pictures[@]}"
  run bench_png "$photographs/photograph.jpg"
  in_memory bench_export_files "$photographs/photograph.jpg"
  run bench_import_files "$photographs/photograph.jpg" ${QUORVIN_TEST_MEDIA:+"$QUORVIN_TEST_MEDIA"}
  in_memory bench_video "$videos"
  "$bin/bench_worker_memory" "$photographs/large.jpg" 100
  "$bin/bench_worker_memory" "$photographs/large_progressive.jpg" 350
} | awk 'NR == 1 { header = $0 } NR == 1 || $0 != header { print; fflush() }'

awk -F '\t' '
  $7 != "" { goals++; if ($6 <= $7 + 0) met++; else missed = missed "\n  " $1 " beside " $2 }
  END { printf "%d of %d goals are met%s\n", met, goals, missed == "" ? "" : "; missed:" missed }
' "$rows"
