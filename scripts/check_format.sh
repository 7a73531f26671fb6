#!/usr/bin/env bash
# Fails when a source file is not formatted as .clang-format says.
set -euo pipefail
cd "$(dirname "$0")/.."
git ls-files -z -- '*.cc' '*.h' '*.c' | xargs -0 clang-format-14 --dry-run -Werror
