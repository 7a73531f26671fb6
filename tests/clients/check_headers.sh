#!/usr/bin/env bash
# check_headers.sh BUILD_DIR CXX_COMPILER: compiles each header of the client in C++ alone, and all
# of them with the readme's example as C++17 and C++20, also with the other compilers that are here,
# without a warning. Then runs the example on a copy of the imported library.
set -euo pipefail
build=$1
compiler=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
started=
trap '[ -z "$started" ] || kill "$started"; rm -rf "$work"' EXIT

example=$work/example.cc
sed -n '/^```cpp$/,/^```$/p' "$root/clients/cpp/README.md" | sed '1d;$d' >"$example"
grep -q 'int main' "$example"
flags=(-Wall -Wextra -Wconversion -Wshadow -pedantic -Werror
  -I "$root/include" -I "$root/clients/cpp")
for header in "$root"/clients/cpp/quorvin/client/*.hpp; do
  # Twice, and behind no other.
  printf '#include <quorvin/client/%s>\n' "$(basename "$header")"{,} >"$work/alone.cc"
  "$compiler" -std=c++17 "${flags[@]}" -fsyntax-only "$work/alone.cc"
done
for other in g++ clang++; do
  command -v "$other" >/dev/null || continue
  for standard in c++17 c++20; do
    "$other" -std="$standard" "${flags[@]}" -fsyntax-only "$example"
  done
done

"$compiler" -std=c++17 "${flags[@]}" "$example" -o "$work/example" -pthread \
  -L "$build/bin" -lquorvin -Wl,-rpath,"$build/bin"
cp -r "$build/library" "$work/library"
export QUORVIN_MEDIA_WORKER=$build/bin/quorvin-media XDG_STATE_HOME=/dev/null
mkfifo "$work/output"
"$work/example" "$work/library" >"$work/output" &
started=$!
# It runs until it is ended.
galleries=0
while IFS= read -r line; do
  if [ "$line" = "Holidays: 2" ]; then galleries=1; fi
  if [[ $line == "a thumbnail of "[1-9]* ]]; then break; fi
done <"$work/output"
[ "$galleries" -eq 1 ]
[[ $line == "a thumbnail of "* ]]
