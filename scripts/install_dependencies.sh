#!/usr/bin/env bash
# install_dependencies.sh PURPOSE...: installs Debian's packages for building the programs and, by
# purpose: demo, test, bench, check, package. Says nothing and does nothing when all is there already.
set -euo pipefail

packages=(
  cmake g++ make ninja-build pkg-config
  # the library and the tool
  libboost-dev libcli11-dev libsqlite3-dev libxxhash-dev nlohmann-json3-dev pv
  # the media worker
  libavcodec-dev libavfilter-dev libavformat-dev libavutil-dev libdeflate-dev libexiv2-dev
  libheif-dev libjpeg-dev liblcms2-dev libpng-dev libraw-dev libseccomp-dev libswscale-dev
  libvips-dev libyuv-dev zlib1g-dev
)
# What makes media: the test's, the demo's and the benchmarks'.
makers=(ffmpeg libheif-examples libimage-exiftool-perl libvips-tools)
# Newer suites have a package of its own for each encoder of libheif.
makers_where_known=(libheif-plugin-aomenc libheif-plugin-x265)
# And one for its decoder of AVIF, which the media worker uses.
known=(libheif-plugin-dav1d)
for purpose in "$@"; do
  case $purpose in
    demo) packages+=("${makers[@]}"); known+=("${makers_where_known[@]}") ;;
    test)
      packages+=("${makers[@]}" abigail-tools bash-completion binutils chromium desktop-file-utils
        fish groff-base help2man jq libgtest-dev libgtk-4-dev libsdl2-dev libsdl2-image-dev man-db mold
        mypy python3 python3-pip python3-setuptools python3-wheel sqlite3 xdotool xvfb zsh)
      known+=("${makers_where_known[@]}")
      ;;
    bench)
      packages+=("${makers[@]}" gnuplot-nox libbenchmark-dev)
      known+=("${makers_where_known[@]}")
      ;;
    check)
      packages+=(clang clang-format clang-tidy git jq libclang-rt-dev libgtest-dev llvm python3 valgrind)
      ;;
    package)
      packages+=(build-essential debhelper debootstrap dpkg-dev help2man lintian python3)
      ;;
    *) echo "install_dependencies.sh: there is no purpose $purpose" >&2; exit 2 ;;
  esac
done

# Whoever has Node.js from elsewhere has npm with it, and Debian's would not go with that.
if ! command -v npm >/dev/null; then packages+=(nodejs npm); fi

installed() { [ "$(dpkg-query -W -f '${db:Status-Status}' "$1" 2>/dev/null)" = installed ]; }
missing=()
for package in "${packages[@]}"; do installed "$package" || missing+=("$package"); done
for package in "${known[@]}"; do
  # Where no list of packages is there yet, others are missing too.
  if ! installed "$package" && [ -n "$(apt-cache pkgnames "$package")" ]; then missing+=("$package"); fi
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

log=$(mktemp)
trap 'rm -f "$log"' EXIT
# The package lists of a fresh machine are absent or old.
"${run[@]}" apt-get update >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
for package in "${known[@]}"; do
  [ -z "$(apt-cache pkgnames "$package")" ] || missing+=("$package")
done
readarray -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)
echo "Installing: ${missing[*]}"
"${run[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1 ||
  { cat "$log" >&2; exit 1; }
