#!/usr/bin/env bash
# make_pages.sh FOLDER TOOL [EMULATOR...]: writes the manual's pages of the tool and of each subcommand
# into the folder, from what --help prints and the files beside this one.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
folder=$1
tool=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# page NAME WORD...: the page of what is called with the words. The program's name is the page's.
page() {
  local name=$1
  shift
  printf '#!/bin/sh\nexec %s "$@"\n' "$(printf '%q ' "${emulator[@]}" "$tool" "$@")" >"$work/$name"
  chmod +x "$work/$name"
  local summary
  summary=$("$work/$name" --help | sed -n '1{s,[.;]$,,;p}')
  local include=(--include "$here/every.h2m")
  if [ -e "$here/$name.h2m" ]; then include=(--include "$here/$name.h2m" "${include[@]}"); fi
  help2man --no-info --section 1 --manual "User Commands" --source "quorvin $version" \
    --version-string "$version" --name "${summary,}" "${include[@]}" --output "$folder/$name.1" "$work/$name"
  # None sends to itself.
  sed -i "/^\.BR ${name//-/\\\\-} (1),$/d" "$folder/$name.1"
}

emulator=("$@")
mkdir -p "$folder"
version=$("${emulator[@]}" "$tool" --version | sed 's/^quorvin //')
page quorvin
"${emulator[@]}" "$tool" __complete "" | sed '1d;s/\t.*//' >"$work/subcommands"
while read -r subcommand; do page "quorvin-$subcommand" "$subcommand"; done <"$work/subcommands"
