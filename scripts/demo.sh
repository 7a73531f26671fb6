#!/usr/bin/env bash
# Builds, imports media into a fresh library and shows the channel's methods on it.
# PHOTOS names a folder of photos and videos; without it the media are generated.
set -euo pipefail
cd "$(dirname "$0")/.."

scripts/install_dependencies.sh demo
scripts/build.sh release quorvin_demo quorvin_tool quorvin-media
bin=$PWD/build/release/bin
output=$PWD/demo-output

photos=${PHOTOS:-}
if [ -z "$photos" ]; then
  echo "Generating media"
  testing/media/make_media.sh build/media
  photos=$PWD/build/media/good
fi

if [ ! -e "$photos" ]; then
  echo "There is no folder $photos" >&2
  exit 1
fi

rm -rf "$output"
mkdir "$output"
echo "Importing $photos"
status=0
"$bin/quorvin" --library "$output/library" import --album Demo "$photos" || status=$?
# With somebody's own folder, a refused file is news and no failure of the demo.
if [ "$status" -gt 1 ] || { [ "$status" -eq 1 ] && [ -z "${PHOTOS:-}" ]; }; then exit "$status"; fi
if [ -z "$(find "$output/library/originals" -type f -print -quit)" ]; then
  echo "There are no photos or videos in $photos" >&2
  exit 1
fi

echo
"$bin/quorvin" --library "$output/library" info
"$bin/quorvin-demo" "$output/library" "$output"

# Whether each is upright and right in its colours shows at a glance.
if ls "$output"/thumbnails/*.jpg >/dev/null 2>&1; then
  (cd "$output/thumbnails" && vips arrayjoin "$(ls -v ./*.jpg | tr '\n' ' ')" ../contact.jpg \
    --across 6 --hspacing 256 --vspacing 256 --shim 8 --halign centre --valign centre \
    --background '255 255 255')
  echo "All JPEG thumbnails side by side are in $output/contact.jpg"
fi

# A line of the tool's, and what it says.
tool() {
  printf '\n$ quorvin %s\n' "$*"
  "$bin/quorvin" --library "$output/library" "$@"
}
printf '\n—— A backup, and a catalogue that is lost and brought back\n'
tool backup "$output/backup"
printf '\n$ : > %s\n' "$output/library/library.sqlite"
: >"$output/library/library.sqlite"
if tool info 2>&1; then exit 1; fi
tool check --repair
tool check --content
echo
echo "The library stays in $output/library. To look at it in the browser: make gallery"
