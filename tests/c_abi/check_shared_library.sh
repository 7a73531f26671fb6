#!/usr/bin/env bash
# check_shared_library.sh LIBRARY WHAT: what the shared library shows and what it needs.
#   symbols    exactly those of exported_symbols.txt are exported
#   libraries  none beside those of needed_libraries.txt is linked
#   soname     it is known by its interface's version
#   interface  what was released is as it was, to every field; functions may be added. A field that is
#              added at the end of the options changes a type, so it is recorded anew, knowingly:
#              scripts/record_interface.sh
set -euo pipefail

library=$1
lists=$(dirname "$0")

case $2 in
  symbols)
    # The version node is exported too, as an absolute symbol.
    nm --dynamic --defined-only --format=posix "$library" | awk '$2 != "A" { print $1 }' |
      sed 's/@.*//' | LC_ALL=C sort | diff -u "$lists/exported_symbols.txt" -
    ;;
  libraries)
    # The loader has another name on every kind of processor.
    readelf --dynamic --wide "$library" | sed -n 's/.*(NEEDED).*\[\(.*\)\]/\1/p' |
      sed 's/^ld-linux.*/ld-linux-x86-64.so.2/' | LC_ALL=C sort >"${TMPDIR:-/tmp}/needed.$$"
    trap 'rm -f "${TMPDIR:-/tmp}/needed.$$"' EXIT
    grep -q sqlite3 "${TMPDIR:-/tmp}/needed.$$"
    extra=$(LC_ALL=C comm -13 "$lists/needed_libraries.txt" "${TMPDIR:-/tmp}/needed.$$")
    [ -z "$extra" ] || { echo "linked without need: $extra" >&2; exit 1; }
    ;;
  soname)
    readelf --dynamic --wide "$library" | grep -F '(SONAME)' | grep -F '[libquorvin.so.1]'
    ;;
  interface)
    # A library without descriptions of its types would differ in none of them.
    readelf --sections --wide "$library" | grep -qF .debug_info
    abidiff --no-added-syms --no-architecture "$lists/released_interface.abi" "$library"
    ;;
  *)
    echo "unknown check: $2" >&2
    exit 2
    ;;
esac
