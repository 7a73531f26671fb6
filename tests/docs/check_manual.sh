#!/usr/bin/env bash
# check_manual.sh MANUAL TOOL LIBRARY: each subcommand of the tool and each function of the library has
# a page, which formats without a warning, and whose summary can be found by name.
set -euo pipefail
manual=$1
tool=$2
library=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# check PAGE NAME: the page is there, clean, and says of itself what it is about.
check() {
  [ -f "$1" ] || { echo "there is no page of $2" >&2; return 1; }
  groff -man -Tutf8 -ww -z "$1" 2>"$work/warnings"
  [ ! -s "$work/warnings" ] || { cat "$work/warnings" >&2; return 1; }
  lexgrog "$1" >"$work/summaries"
  grep -qF "\"$2 - " "$work/summaries" || { echo "$1 does not say what $2 is" >&2; return 1; }
}

check "$manual/man1/quorvin.1" quorvin
"$tool" __complete "" | sed '1d;s/\t.*//' >"$work/subcommands"
[ -s "$work/subcommands" ]
while read -r subcommand; do
  page=$manual/man1/quorvin-$subcommand.1
  check "$page" "quorvin-$subcommand"
  # It has the options that --help has.
  "$tool" "$subcommand" --help | grep -oE '^  --[a-z-]+' | tr -d ' ' >"$work/options"
  while read -r option; do
    grep -qF "${option//-/\\-}" "$page" || { echo "$page leaves out $option" >&2; exit 1; }
  done <"$work/options"
done <"$work/subcommands"

nm --dynamic --defined-only --format=posix "$library" | awk '$2 != "A" { print $1 }' |
  sed 's/@.*//' >"$work/functions"
[ -s "$work/functions" ]
while read -r function; do
  [ "$(cat "$manual/man3/$function.3")" = ".so man3/quorvin.h.3" ]
  check "$manual/man3/quorvin.h.3" "$function"
  grep -qF "$function(" "$manual/man3/quorvin.h.3"
done <"$work/functions"
