#!/usr/bin/env bash
# use_packages.sh PACKAGES MEDIA: run as root of a fresh Debian, which it changes. Installs the
# packages of the folder PACKAGES over an earlier version of them, uses all that they bring on a
# library of MEDIA, and removes them. EMULATED=1 tells that the processor is.
set -euo pipefail
packages=$(realpath "$1")
media=$(realpath "$2")
here=$(cd "$(dirname "$0")" && pwd)
names=(libquorvin1 libquorvin-dev quorvin-media quorvin)
work=$(mktemp -d)
home=/home/me
library=$home/.local/share/quorvin/library
server=
trap '[ -z "$server" ] || kill "$server"; rm -rf "$work"' EXIT

trap 'echo "use_packages.sh: line $LINENO failed" >&2' ERR

say() { printf '\n-- %s\n' "$*"; }
fail() { echo "use_packages.sh: $*" >&2; exit 1; }
get() {
  DEBIAN_FRONTEND=noninteractive apt-get --yes --no-install-recommends "$@" >"$work/log" 2>&1 ||
    { cat "$work/log" >&2; exit 1; }
}
as_me=(setpriv --reuid=me --regid=me --init-groups
  env -i HOME="$home" PATH=/usr/bin:/bin LANG=C.UTF-8 sh -c 'cd && exec "$@"' -)
version_of() { dpkg-query --show --showformat='${Version}' "$1"; }
# Every file and folder with its kind, rights and time of change, and the contents.
state_of() {
  (cd "$1" && find . -printf '%P %y %m %U %s %T@\n' | LC_ALL=C sort &&
    find . -type f -print0 | LC_ALL=C sort -z | xargs -0 sha256sum)
}

get update
useradd --create-home me
cp -r "$media" $home/media
chown -R me:me $home/media

# No version was published before this one: the same packages with a lower number stand for it.
say "The version before"
mkdir "$work/unpacked"
for name in "${names[@]}"; do
  unpacked=$work/unpacked/$name
  dpkg-deb --raw-extract "$packages/$name"_*.deb "$unpacked"
  version=$(sed -n 's/^Version: //p' "$unpacked/DEBIAN/control")
  sed -i "/^Version\|^Depends/s/${version//./\\.}/0.1.0~before1/" "$unpacked/DEBIAN/control"
  dpkg-deb --build -Znone "$unpacked" "$work" >/dev/null
done
get install "$work"/*_0.1.0~before1_*.deb
[ "$(version_of quorvin)" = 0.1.0~before1 ] || fail "the version before was not installed"
rm -r "$work/unpacked" "$work"/*.deb
"${as_me[@]}" quorvin import --album Holidays media | tail -n 3
"${as_me[@]}" quorvin info >"$work/info"
state_of $library >"$work/before"

say "Upgrade to $version"
get install "$packages"/*.deb
for name in "${names[@]}"; do
  [ "$(version_of "$name")" = "$version" ] || fail "$name is $(version_of "$name")"
done
state_of $library | cmp - "$work/before"
"${as_me[@]}" quorvin info | tee "$work/info_after"
cmp "$work/info" "$work/info_after"
echo "The library of $(find $library/originals -type f | wc -l) files is as it was"

say "quorvin check --content, quorvin doctor"
"${as_me[@]}" quorvin check --content
# An emulator has not all layers of the worker's isolation.
"${as_me[@]}" quorvin doctor || [ "${EMULATED:-0}" = 1 ]
"${as_me[@]}" sh -c 'quorvin export exported >/dev/null && find exported -type f | wc -l' >"$work/exported"
[ "$(cat "$work/exported")" -gt 20 ] || fail "only $(cat "$work/exported") files were exported"

# From here on there is more than the packages and what they depend on.
get install cmake curl desktop-file-utils g++ groff-base jq libc6-dev make man-db pkg-config systemd
everything='{"withAllPhotos": true, "filterEmptyAsset": true, "withSmartAlbum": true, "mediaType": 0}'
gallery=$("${as_me[@]}" quorvin call getGalleryList "$everything" | \
  jq -r '.result[] | select(.title == "Holidays") | .id')
asset=$("${as_me[@]}" quorvin call getGalleryFirstAssetId \
  "{\"collectionId\": \"$gallery\", \"sort\": 0, \"mediaType\": 1}" | jq -r '.result')

say "Programs in C and C++, by pkg-config and by CMake"
develop=$home/develop
mkdir $develop
cp "$here"/thumbnail/* $develop
sed -n '/^```cpp$/,/^```$/p' "$here/../../clients/cpp/README.md" | sed '1d;$d' >$develop/client.cc
chown -R me:me $develop
"${as_me[@]}" sh -euc 'cd develop
  cc -std=c99 -pedantic -Wall -Wextra -Werror thumbnail.c $(pkg-config --cflags --libs quorvin) \
    -o by_pkg_config
  examples=/usr/share/doc/libquorvin-dev/examples
  cc -Wall -Wextra -Werror $examples/poll/galleries.c $examples/*.c \
    $(pkg-config --cflags --libs quorvin) -o galleries
  g++ -std=c++17 -Wall -Wextra -Werror client.cc $(pkg-config --cflags --libs quorvin) -o client
  cmake -S . -B build >build.log && cmake --build build >>build.log || { cat build.log; exit 1; }
  ./by_pkg_config "$1" "$2" a.jpg
  build/by_cmake "$1" "$2" b.jpg
  cmp a.jpg b.jpg
  test "$(head -c 3 a.jpg | od -An -tx1)" = " ff d8 ff"
  ls -l a.jpg' - "$library" "$asset"

say "quorvin serve"
"${as_me[@]}" quorvin serve >"$work/address" &
server=$!
until grep -q token "$work/address"; do kill -0 $server; sleep 0.1; done
address=$(sed -n 's/^Serving //p' "$work/address")
at=${address%%/\?*} token=${address##*=}
ask() { curl --silent --show-error --output "$work/answer" --write-out '%{http_code}' "$@"; }
[ "$(ask "$at/")" = 401 ] || fail "the gallery lets in whoever comes"
[ "$(ask --location --cookie-jar "$work/cookies" "$address")" = 200 ] || fail "there is no page"
grep -q '<script' "$work/answer" || fail "the page is another one"
encoded=$(jq -rn --arg id "$asset" '$id | @uri')
[ "$(ask --cookie "$work/cookies" "$at/asset/$encoded/thumbnail?size=128")" = 200 ] ||
  fail "there is no thumbnail"
[ "$(head -c 3 "$work/answer" | od -An -tx1)" = " ff d8 ff" ] || fail "the thumbnail is no JPEG"
ls -l "$work/answer"
kill $server
wait $server || fail "the server ended with $?"
server=

say "What the desktop and the shell get"
desktop-file-validate /usr/share/applications/quorvin.desktop
XDG_RUNTIME_DIR=$work systemd-analyze --user verify /usr/lib/systemd/user/quorvin-watch.service
[ -s /usr/share/icons/hicolor/scalable/apps/quorvin.svg ]
for page in quorvin quorvin-import 'quorvin_engine_create(3)'; do
  # The pager is none here.
  "${as_me[@]}" man --warnings "$page" >"$work/page" 2>"$work/warnings"
  grep -q "^NAME" "$work/page" && [ ! -s "$work/warnings" ] || fail "the page $page cannot be read"
done
bash -n /usr/share/bash-completion/completions/quorvin

say "Purge"
state_of $library >"$work/before"
for name in "${names[@]}"; do dpkg-query --listfiles "$name"; done |
  grep -vFx /. | sort -u >"$work/files"
get purge "${names[@]}"
left=0
while IFS= read -r path; do
  if [ -e "$path" ] && ! dpkg-query --search "$path" >/dev/null 2>&1; then
    echo "left: $path" >&2
    left=1
  fi
done <"$work/files"
find / -xdev \( -path /home -o -path /root -o -path /proc -o -path "$work" \) -prune -o \
  -name '*quorvin*' -print >"$work/left"
cat "$work/left"
[ "$left" -eq 0 ] && [ ! -s "$work/left" ] || fail "the packages leave files behind"
state_of $library | cmp - "$work/before"
echo "Nothing is left of the packages, and the library is as it was"
