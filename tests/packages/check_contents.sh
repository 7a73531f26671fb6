#!/usr/bin/env bash
# check_contents.sh SOURCE BUILD_DIR: whatever is installed belongs to a package, and what a package
# names is installed.
set -euo pipefail
source=$1
build=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cmake --install "$build" --prefix "$work/usr" >"$work/log" || { cat "$work/log" >&2; exit 1; }
# Debian keeps libraries apart by architecture.
mkdir "$work/any"
mv "$work"/usr/lib*/{cmake,pkgconfig,libquorvin.*} "$work/any"
mkdir -p "$work/usr/lib"
mv "$work/any" "$work/usr/lib/any"

cd "$work"
status=0
while read -r pattern; do
  # The pattern is one of several names.
  # shellcheck disable=SC2206
  found=($pattern)
  if [ ! -e "${found[0]}" ] && [ ! -L "${found[0]}" ]; then
    echo "A package names $pattern, which is not installed" >&2
    status=1
  fi
  rm -rf "${found[@]}"
done < <(cat "$source"/debian/*.install)
left=$(find usr ! -type d)
if [ -n "$left" ]; then
  printf 'In no package of debian/*.install: %s\n' "$left" >&2
  status=1
fi

# Examples include one another's files, so all of them leave together.
cd "$source"
packaged=$(xargs -I '{}' sh -c 'find {} -type f' <debian/libquorvin-dev.examples)
for file in $(find examples -name '*.[ch]'); do
  if ! grep -qxF "$file" <<<"$packaged"; then
    echo "debian/libquorvin-dev.examples leaves out $file" >&2
    status=1
  fi
done
exit "$status"
