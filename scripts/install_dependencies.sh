#!/usr/bin/env bash
# Installs what building, testing and the demo need from Debian's packages.
# Says nothing and does nothing when all of it is there already.
set -euo pipefail

packages=(
  # build
  clang-14 clang-format-14 clang-tidy-14 cmake g++ lld-14 llvm-14 make ninja-build pkg-config
  libclang-rt-14-dev libbenchmark-dev libgmock-dev libgtest-dev
  # the library and the tool
  libcli11-dev libsqlite3-dev libxxhash-dev nlohmann-json3-dev pv sqlite3
  # the media worker
  libavcodec-dev libavfilter-dev libavformat-dev libavutil-dev libexiv2-dev libheif-dev
  libjpeg-dev liblcms2-dev libswscale-dev libvips-dev libyuv-dev zlib1g-dev
  # media generated for tests and the demo, and the programs that verify replies
  binutils ffmpeg jq libheif-examples libimage-exiftool-perl libvips-tools strace
)

missing=()
for package in "${packages[@]}"; do
  status=$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null || true)
  [ "$status" = installed ] || missing+=("$package")
done
[ "${#missing[@]}" -gt 0 ] || exit 0

run=()
if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || {
    echo "quorvin: these packages are missing and neither root nor sudo is at hand: ${missing[*]}" >&2
    exit 1
  }
  run=(sudo)
fi

echo "Installing: ${missing[*]}"
log=$(mktemp)
trap 'rm -f "$log"' EXIT
install() {
  "${run[@]}" env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1
}
# The package lists of a fresh machine are absent or old.
"${run[@]}" apt-get update >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
install || { cat "$log" >&2; exit 1; }
