#!/usr/bin/env bash
# example_screenshots.sh [BUILD]: shows the example with GTK on a made-up library, by the programs in
# BUILD (build/test), and puts its pictures into docs/embedding.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/install_dependencies.sh test
build=$(realpath "${1:-build/test}")
work=$(mktemp -d)
running=()
trap 'kill "${running[@]}" 2>/dev/null || true; wait; rm -rf "$work"' EXIT

(
  cd tests/gallery
  [ -d node_modules ] || npm ci --no-audit --no-fund --loglevel=error
  npm run --silent build
  mkdir "$work/pictures"
  node build/draw_landscapes.js "$work/pictures" 40
)
export HOME=$work XDG_STATE_HOME=/dev/null QUORVIN_MEDIA_WORKER=$build/bin/quorvin-media
"$build/bin/quorvin" --library "$work/library" import "$work/pictures" >/dev/null

mkfifo "$work/display"
Xvfb -displayfd 3 -screen 0 1000x700x24 -nolisten tcp 3>"$work/display" 2>/dev/null &
running+=($!)
DISPLAY=:$(head -n 1 "$work/display")
export DISPLAY GDK_BACKEND=x11 GSK_RENDERER=cairo GTK_A11Y=none
"$build/examples/photos" "$work/library" &
running+=($!)
window=$(xdotool search --sync --onlyvisible --name Photos | tail -n 1)
keys() { xdotool windowfocus --sync "$window" key "$@"; sleep 2; }
picture() {
  ffmpeg -v error -y -f x11grab -video_size 1000x700 -draw_mouse 0 -i "$DISPLAY" -frames:v 1 \
    "$work/$1.png"
  mkdir -p docs/embedding
  vipsthumbnail "$work/$1.png" --size '800x600>' --output "$PWD/docs/embedding/$1.webp[Q=80,strip]"
}
sleep 3
keys Down Home Right Right shift+Right
picture photos
keys Delete
# A window manager would have put it there.
xdotool search --sync --onlyvisible --name 'Delete 2 photos' windowmove 320 260
sleep 1
picture deletion
