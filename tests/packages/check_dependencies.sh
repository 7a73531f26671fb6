#!/usr/bin/env bash
# check_dependencies.sh SOURCE: packages are built with what scripts/install_dependencies.sh installs
# for building the programs.
set -euo pipefail
cd "$1"
# A compiler and make are taken for granted there, and pv is run, not built with.
installed=$(sed -n -E '/^(packages|libraries)=\(/,/^\)/p' scripts/install_dependencies.sh |
  sed 's/#.*//; s/^[a-z]*=(//; s/)//' | xargs -n 1 | grep -vxE 'g\+\+|make|pv')
# What makes packages, the page and the manual is installed by other lists.
needed=$(sed -n '/^Build-Depends:/,/^[^ B]/s/^ \([a-z0-9.+-]*\).*/\1/p' debian/control |
  grep -vxE 'debhelper-compat|help2man|nodejs|npm|python3')
diff <(sort <<<"$installed") <(sort <<<"$needed")
