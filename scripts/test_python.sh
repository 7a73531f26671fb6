#!/usr/bin/env bash
# test_python.sh [BUILD]: installs the package for Python into a folder of its own, without a network,
# checks its types, tests it with the engine in BUILD (build/test), where all is built, and compares
# its codec with the one in C++ over 10,000 values each way.
set -euo pipefail
cd "$(dirname "$0")/.."
build=$(realpath "${1:-build/test}")
log=$build-python.log
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export PYTHONDONTWRITEBYTECODE=1

# Another one than the system's may have no setuptools.
installer=
for python in python3 /usr/bin/python3; do
  if "$python" -c 'import setuptools, wheel, pip' 2>/dev/null; then installer=$python; break; fi
done
if [ -z "$installer" ] || ! command -v mypy >/dev/null; then
  echo "test_python.sh: this needs pip, setuptools, wheel and mypy" >&2
  exit 1
fi
echo "Installing the package, and checking its types"
# What it builds lies beside the sources.
cp -r clients/python "$work/source"
"$installer" -m pip install --no-index --no-deps --no-build-isolation --target "$work/package" \
  "$work/source" >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
export PYTHONPATH=$work/package
(cd clients/python && mypy --strict --cache-dir "$work/mypy" quorvin >"$log" 2>&1) ||
  { cat "$log" >&2; exit 1; }

echo "Comparing the codecs"
python3 clients/python/tests/compare.py "$build/test-bin/codec_values"

echo "Asking an engine"
testing/media/make_media.sh "$build/media"
# What one run makes a worker fail over is nothing to the next one.
export XDG_STATE_HOME=/dev/null QUORVIN_MEDIA_WORKER=$build/bin/quorvin-media
export LIBQUORVIN=$build/bin/libquorvin.so QUORVIN_BUILD=$build
export QUORVIN_IMPORTED_LIBRARY=$work/library
tests/channel/import_library.sh "$build/bin/quorvin" "$build/media/good" "$work/library" \
  >"$log" 2>&1 || { cat "$log" >&2; exit 1; }
status=0
python3 -W error::ResourceWarning -m unittest discover -s clients/python/tests >"$log" 2>&1 ||
  status=$?
if [ "$status" -ne 0 ]; then cat "$log" >&2; fi
grep -E '^(Ran|OK|FAILED)' "$log"
exit "$status"
