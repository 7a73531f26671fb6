#!/usr/bin/env bash
# check_installation.sh BUILD_DIR C_COMPILER FLAGS: installs into a prefix of its own, moves that
# elsewhere, and there builds and runs a C program twice, by pkg-config and by CMake's package. Then
# a picture goes in and comes out as a thumbnail: tool and library find the media worker.
set -euo pipefail

build=$1
compiler=$2
flags=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

cmake --install "$build" --prefix "$work/first" >"$work/log" || { cat "$work/log" >&2; exit 1; }
unit=$work/first/lib/systemd/user/quorvin-watch.service
grep -qF "ExecStart=$work/first/bin/quorvin watch " "$unit"
if command -v systemd-analyze >/dev/null; then
  XDG_RUNTIME_DIR=$work systemd-analyze --user verify "$unit"
fi
mv "$work/first" "$work/prefix"
prefix=$work/prefix

library=$(find "$prefix" -name libquorvin.so.1)
[ -n "$library" ]
[ -x "$prefix/libexec/quorvin/quorvin-media" ]
[ -f "$prefix/include/quorvin/quorvin.h" ]
[ -f "$prefix/include/quorvin/client.hpp" ]
if [ -d "$build/manual" ]; then
  [ -f "$prefix/share/man/man1/quorvin-import.1" ]
  [ -f "$prefix/share/man/man3/quorvin_engine_run.3" ]
fi
for script in bash-completion/completions/quorvin fish/vendor_completions.d/quorvin.fish \
  zsh/vendor-completions/_quorvin; do
  [ -f "$prefix/share/$script" ]
done
"$prefix/bin/quorvin" --version

unset QUORVIN_MEDIA_WORKER
export PKG_CONFIG_PATH=$(dirname "$library")/pkgconfig
# The flags are words to be split.
# shellcheck disable=SC2046,SC2086
"$compiler" -std=c99 -pedantic -Wall -Wextra -Werror $flags "$here/engine_from_c.c" \
  $(pkg-config --cflags --libs quorvin) -Wl,-rpath,"$(dirname "$library")" -o "$work/by_pkg_config"
"$work/by_pkg_config" "$work/library"
[ "$(pkg-config --modversion quorvin)" = "$("$work/by_pkg_config" "$work/library")" ]

cp -r "$here/installed" "$work/source"
cp "$here/engine_from_c.c" "$work/source"
cmake -S "$work/source" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_C_COMPILER="$compiler" -DCMAKE_C_FLAGS="$flags" >"$work/log" &&
  cmake --build "$work/build" >"$work/log" || { cat "$work/log" >&2; exit 1; }
"$work/build/by_cmake" "$work/library"

unset QUORVIN_LIBRARY
quorvin() { "$prefix/bin/quorvin" --library "$work/pictures" "$@"; }
ffmpeg -v error -f lavfi -i color=red:s=640x480 -frames:v 1 "$work/red.jpg"
quorvin import "$work/red.jpg"
everything='{"withAllPhotos": true, "filterEmptyAsset": true, "withSmartAlbum": true, "mediaType": 0}'
gallery=$(quorvin call getGalleryList "$everything" | jq -r '.result[0].id')
asset=$(quorvin call getGalleryFirstAssetId \
  "{\"collectionId\": \"$gallery\", \"sort\": 0, \"mediaType\": 0}" | jq -r '.result')
quorvin call getThumbnail --out "$work/thumbnail.jpg" \
  "{\"assetId\": \"$asset\", \"width\": 64.0, \"height\": 64.0, \"contentMode\": 0,
    \"jpegFormat\": true}"
[ "$(head -c 3 "$work/thumbnail.jpg" | od -An -tx1 | tr -d ' ')" = ffd8ff ]
