#!/usr/bin/env bash
# check_version.sh SOURCE VERSION: what must state the version itself, as its format has no other way,
# states the one that CMakeLists.txt gives to all else.
set -euo pipefail
cd "$1"
version=$2
status=0
same() {
  if [ "$2" != "$version" ]; then
    echo "$1 says ${2:-nothing}, and CMakeLists.txt $version" >&2
    status=1
  fi
}
same CHANGELOG.md "$(sed -n 's/^## \([0-9.]*\).*/\1/p' CHANGELOG.md | head -n 1)"
same clients/python/pyproject.toml \
  "$(sed -n 's/^version = "\(.*\)"$/\1/p' clients/python/pyproject.toml)"
for package in clients/typescript gallery; do
  same "$package/package.json" "$(jq -r .version "$package/package.json")"
  same "$package/package-lock.json" "$(jq -r .version "$package/package-lock.json")"
done
if [ -e debian/changelog ]; then
  # Behind a hyphen stands how often this version was packaged.
  same debian/changelog "$(sed -n '1s/^quorvin (\([0-9.]*\).*/\1/p' debian/changelog)"
fi
exit "$status"
