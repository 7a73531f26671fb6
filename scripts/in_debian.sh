#!/usr/bin/env bash
# in_debian.sh SUITE COMMAND...: runs a command on a copy of the checkout in a fresh Debian of that
# suite, for example: scripts/in_debian.sh trixie make demo. Needs root and debootstrap.
# The bootstrapped system is kept in ~/.cache/quorvin; remove it there to have it made anew.
set -euo pipefail
cd "$(dirname "$0")/.."
if [ "$#" -lt 2 ]; then
  sed -n '2,3s/^# //p' "$0" >&2
  exit 2
fi
suite=$1
shift
mirror=http://deb.debian.org
if [ "$(id -u)" -ne 0 ] || ! command -v debootstrap >/dev/null; then
  echo "in_debian.sh: this needs root and the package debootstrap" >&2
  exit 1
fi

cache=${XDG_CACHE_HOME:-$HOME/.cache}/quorvin
base=$cache/debian-$suite.tar
work=$(mktemp -d "${TMPDIR:-/tmp}/quorvin-$suite.XXXXXX")
chmod 755 "$work"
# What is mounted stands in a namespace that ends with the command: there is nothing to unmount.
trap 'rm -rf --one-file-system "$work"' EXIT
root=$work/root

if [ ! -e "$base" ]; then
  echo "Bootstrapping $suite"
  mkdir -p "$cache"
  debootstrap --variant=minbase --include=make "$suite" "$root" "$mirror/debian" >"$work/log" 2>&1 ||
    { tail -n 20 "$work/log" >&2; exit 1; }
  rm -f "$root"/var/cache/apt/archives/*.deb
  tar -C "$root" -cf "$work/base.tar" .
  mv "$work/base.tar" "$base.$$"
  mv "$base.$$" "$base"
else
  mkdir "$root"
  tar -C "$root" -xpf "$base"
fi

cat >"$root/etc/apt/sources.list" <<EOF
deb $mirror/debian $suite main
deb $mirror/debian $suite-updates main
deb $mirror/debian-security $suite-security main
EOF
# The way to the mirror is this machine's.
apt-config dump Acquire | grep -E '^Acquire::(https?::|Check-|Retries)' \
  >"$root/etc/apt/apt.conf.d/00host" || true
cp --dereference /etc/resolv.conf "$root/etc/resolv.conf"
# No package starts a service.
printf '#!/bin/sh\nexit 101\n' >"$root/usr/sbin/policy-rc.d"
chmod 755 "$root/usr/sbin/policy-rc.d"

mkdir "$root/root/quorvin"
git ls-files -z --cached --others --exclude-standard |
  while IFS= read -r -d '' file; do if [ -e "$file" ]; then printf '%s\0' "$file"; fi; done |
  tar --null --files-from=- --create | tar -C "$root/root/quorvin" --no-same-owner --extract

environment=(HOME=/root LANG=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin "TERM=${TERM:-dumb}")
for name in http_proxy https_proxy no_proxy; do
  if [ -n "${!name:-}" ]; then environment+=("$name=${!name}"); fi
done
# It ends with this script. The first process of a namespace is deaf to signals unless it asks.
setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child bash -euc '
  trap "exit 130" INT
  trap "exit 143" TERM
  root=$1
  shift
  mount -t proc proc "$root/proc"
  mount --rbind /dev "$root/dev"
  mount --rbind /sys "$root/sys"
  chroot "$root" "$@"' - "$root" \
  env -i "${environment[@]}" sh -c 'cd /root/quorvin && exec "$@"' - "$@"
