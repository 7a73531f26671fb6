#!/usr/bin/env bash
# plot_growth.sh ROWS SVG: draws what bench.sh found in libraries of 1,000 to 1,000,000 assets.
set -euo pipefail
rows=$1
picture=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# A file for each question: assets, milliseconds. The library of 1,000 is the rival of all others.
awk -F '\t' -v work="$work" '
  $2 == "library of 1,000" && match($1, /, [0-9,]+$/) && $5 == "s" {
    question = substr($1, 1, RSTART - 1)
    assets = substr($1, RSTART + 2)
    gsub(",", "", assets)
    if (!(question in file)) {
      file[question] = work "/" ++count ".dat"
      print question > (work "/names")
    }
    if (assets == 10000) print 1000, $4 * 1000 > file[question]
    print assets, $3 * 1000 > file[question]
  }
' "$rows"

plots=()
number=0
while read -r question; do
  number=$((number + 1))
  plots+=("'$work/$number.dat' using 1:2 with linespoints linewidth 2 title \"$question\"")
done <"$work/names"
gnuplot <<GNUPLOT
set terminal svg size 800,480 background "white" font "sans-serif,13"
set output "$picture"
set logscale xy
set format x "%'.0f"
set xlabel "assets in the library"
set ylabel "milliseconds, median"
set xrange [800:1300000]
set yrange [0.03:100]
set grid
set key outside right
plot $(IFS=, && echo "${plots[*]}")
GNUPLOT
