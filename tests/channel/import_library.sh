#!/bin/sh
# import_library.sh TOOL MEDIA LIBRARY: a fresh library of the media, with an album "Holidays".
set -eu
rm -rf "$3"
"$1" --library "$3" import "$2"
"$1" --library "$3" import --album Holidays "$2/album"
