#!/usr/bin/env bash
# Static analysis of everything but the tests. Takes the build tree that holds compile_commands.json.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -z -- '*.cc' ':!*test*' ':!fuzz' |
  xargs -0 -n 4 -P "$(nproc)" clang-tidy-14 -p "$1" --quiet
