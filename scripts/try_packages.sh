#!/usr/bin/env bash
# try_packages.sh [SUITE...]: builds the packages for each suite (bookworm and trixie), and uses them
# in a fresh Debian that holds nothing but them and what they depend on. Needs root and debootstrap.
# BUILT=1 takes those in build/packages. ARCH=arm64 builds and uses those for that architecture, under
# an emulator.
set -euo pipefail
cd "$(dirname "$0")/.."
suites=("$@")
[ "$#" -gt 0 ] || suites=(bookworm trixie)
here=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
architecture=$(dpkg --print-architecture)
emulated=${ARCH:-}
if [ "$emulated" = "$architecture" ]; then emulated=; fi
names=(libquorvin1 libquorvin-dev quorvin-media quorvin)

testing/media/make_media.sh build/media
if [ -n "$emulated" ]; then
  scripts/build_gallery.sh
  for suite in "${suites[@]}"; do
    tar --create build/media/good build/web/gallery build/web/stamp |
      scripts/in_debian.sh --arch "$emulated" "$suite" sh -c 'tar --extract &&
        make package </dev/null &&
        exec tests/packages/use_emulated.sh "$@" build/media/good' \
        - "$suite" "$emulated" "build/packages/$suite"
  done
  exit
fi
for suite in "${suites[@]}"; do
  if [ "${BUILT:-0}" = 1 ]; then
    echo "Trying what is in build/packages/$suite"
  elif [ "$suite" = "$here" ]; then
    scripts/package.sh
  else
    # With the page, for which no network is needed there.
    scripts/build_gallery.sh
    rm -rf "build/packages/$suite"
    tar --create build/web/gallery build/web/stamp |
      scripts/in_debian.sh "$suite" sh -c 'tar --extract && make package </dev/null >&2 &&
        tar --create build/packages' | tar --extract
  fi
  echo "Using the packages in a fresh Debian $suite"
  files=()
  for name in "${names[@]}"; do files+=("build/packages/$suite/${name}_"*"_$architecture.deb"); done
  tar --create build/media/good "${files[@]}" |
    scripts/in_debian.sh "$suite" sh -c 'tar --extract &&
      exec tests/packages/use_packages.sh "$1" build/media/good </dev/null' - "build/packages/$suite"
done
