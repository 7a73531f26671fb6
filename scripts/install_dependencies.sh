#!/usr/bin/env bash
# install_dependencies.sh PURPOSE...: installs Debian's packages for building the programs and, by
# purpose: demo, test, bench, check, package. Says nothing and does nothing when all is there already.
# ARCH=arm64 makes it those for building and testing for that architecture on this one.
set -euo pipefail
native=$(dpkg --print-architecture)
arch=${ARCH:-}
if [ "$arch" = "$native" ]; then arch=; fi

packages=(
  cmake g++ make ninja-build pkg-config pv
  # headers, of no architecture
  libcli11-dev nlohmann-json3-dev
)
# What programs are linked with, of the architecture that they are for.
libraries=(
  # the library and the tool
  libboost-dev libsqlite3-dev libxxhash-dev
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
if [ -n "$arch" ]; then packages+=("crossbuild-essential-$arch" qemu-user-static); fi
for purpose in "$@"; do
  case $purpose in
    demo) packages+=("${makers[@]}"); known+=("${makers_where_known[@]}") ;;
    test)
      packages+=("${makers[@]}" binutils jq mold python3 sqlite3)
      libraries+=(libgtest-dev libpcap0.8-dev)
      # Browsers, shells, pages and other languages are tested where nothing is emulated.
      if [ -z "$arch" ]; then
        packages+=(abigail-tools bash-completion chromium desktop-file-utils fish groff-base help2man
          libgtk-4-dev libsdl2-dev libsdl2-image-dev man-db mypy python3-pip python3-setuptools
          python3-wheel xdotool xvfb zsh)
      fi
      known+=("${makers_where_known[@]}")
      ;;
    bench)
      packages+=("${makers[@]}" gnuplot-nox)
      libraries+=(libbenchmark-dev)
      known+=("${makers_where_known[@]}")
      ;;
    check)
      packages+=(clang clang-format clang-tidy git jq libclang-rt-dev llvm python3 valgrind)
      libraries+=(libgtest-dev)
      ;;
    package)
      packages+=(build-essential debhelper debootstrap dpkg-dev help2man lintian python3)
      ;;
    *) echo "install_dependencies.sh: there is no purpose $purpose" >&2; exit 2 ;;
  esac
done

# Whoever has Node.js from elsewhere has npm with it, and Debian's would not go with that.
if ! command -v npm >/dev/null; then packages+=(nodejs npm); fi

unpacked=()
if [ -n "$arch" ]; then
  libraries=("${libraries[@]/%/:$arch}")
  # What makes media runs here, what reads it there. Of libvips only one architecture's can be
  # installed, and its tools want a Python of that one, so these are taken without what they want.
  for i in "${!packages[@]}"; do
    if [ "${packages[i]}" = libvips-tools ]; then
      unset "packages[i]"
      if [ ! -x /usr/bin/vips ]; then unpacked=("libvips-tools:$arch"); fi
    fi
  done
  known=("${known[@]/%/:$arch}" "${known[@]/%/:$native}")
fi
packages+=("${libraries[@]}")

# A package may be there for several architectures.
installed() { dpkg-query -W -f '${db:Status-Status}\n' "$1" 2>/dev/null | grep -qx installed; }
missing=()
for package in "${packages[@]}"; do installed "$package" || missing+=("$package"); done
for package in "${known[@]}"; do
  # Where no list of packages is there yet, others are missing too.
  if ! installed "$package" && [ -n "$(apt-cache pkgnames "${package%:*}")" ]; then missing+=("$package"); fi
done
[ "${#missing[@]}${#unpacked[@]}" != 00 ] || exit 0

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
if [ -n "$arch" ]; then "${run[@]}" dpkg --add-architecture "$arch"; fi
# The package lists of a fresh machine are absent or old.
"${run[@]}" apt-get update >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
for package in "${known[@]}"; do
  [ -z "$(apt-cache pkgnames "${package%:*}")" ] || missing+=("$package")
done
readarray -t missing < <(printf '%s\n' "${missing[@]}" | sort -u)
echo "Installing: ${missing[*]}"
"${run[@]}" env DEBIAN_FRONTEND=noninteractive \
  apt-get install -y --no-install-recommends "${missing[@]}" >"$log" 2>&1 ||
  { cat "$log" >&2; exit 1; }
for package in "${unpacked[@]}"; do
  folder=$(mktemp -d)
  (cd "$folder" && apt-get download "$package" && "${run[@]}" dpkg-deb --extract ./*.deb /) \
    >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
  rm -r "$folder"
done
