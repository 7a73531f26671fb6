#!/usr/bin/env bash
# package.sh: builds Debian packages for the suite that it runs on into build/packages/SUITE, has
# lintian look at them, and lists them. A network is needed for the gallery's page alone, and not when
# build/web has that of these sources. ARCH=arm64 makes packages for that architecture.
set -euo pipefail
cd "$(dirname "$0")/.."

version=$(sed -nE 's/^project\(quorvin VERSION ([0-9.]+).*/\1/p' CMakeLists.txt)
packaged=$(dpkg-parsechangelog --show-field Version)
if [ "$version" != "$packaged" ]; then
  echo "package.sh: CMakeLists.txt says version $version and debian/changelog $packaged;" \
    "make them agree" >&2
  exit 1
fi
# Each suite has libraries of its own, and a newer one's packages count as newer.
suite=$(. /etc/os-release && echo "${VERSION_CODENAME:-unstable}")
number=$(. /etc/os-release && echo "${VERSION_ID:-}")
full=$version${number:+~deb${number}u1}
architecture=${ARCH:-$(dpkg --print-architecture)}

out=$PWD/build/packages/$suite
source=$out/quorvin-$version
log=$out/build.log
mkdir -p "$out"
rm -rf "$source" "$out"/*"_$architecture."*
trap 'rm -rf "$source"' EXIT

echo "Building packages of quorvin $full for $architecture"
scripts/build_gallery.sh
mkdir -p "$source/build/web"
tar --create --exclude-vcs --exclude=node_modules --exclude=./build --exclude=./demo-output . |
  tar --extract --directory="$source"
cp -r build/web/gallery build/web/stamp "$source/build/web"
sed -i "1s/.*/quorvin ($full) $suite; urgency=medium/" "$source/debian/changelog"
build=(dpkg-buildpackage --host-arch "$architecture" --build=binary --no-sign --jobs="$(nproc)")
if ! (cd "$source" && "${build[@]}") >"$log" 2>&1; then
  grep -E -A 12 'error|FAILED' "$log" | head -n 60 || tail -n 40 "$log"
  echo "The packages were not built; all of it is in $log" >&2
  exit 1
fi

lintian --allow-root --tag-display-limit 0 --fail-on error "$out/quorvin_${full}_$architecture.changes"
echo "In build/packages/$suite:"
(cd "$out" && ls -1sh *"_$architecture.deb")
