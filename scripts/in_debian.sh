#!/usr/bin/env bash
# in_debian.sh [--arch ARCH] SUITE COMMAND...: runs a command on a copy of the checkout in a fresh
# Debian of that suite, for example: scripts/in_debian.sh trixie make demo. Needs root and debootstrap.
# With --arch arm64 it is a Debian of this machine's architecture in which programs are built for that
# one and tested under qemu-user; ARCH says so to the command, and the kernel is told of qemu-user
# until the end. The bootstrapped system, with --arch also what is installed for that, is kept in
# ~/.cache/quorvin; remove it there to have it made anew.
set -euo pipefail
cd "$(dirname "$0")/.."
arch=
if [ "${1:-}" = --arch ]; then
  arch=${2:-}
  shift "$(($# < 2 ? $# : 2))"
fi
if [ "$#" -lt 2 ]; then
  sed -n '2,3s/^# //p' "$0" >&2
  exit 2
fi
if [ "$arch" = "$(dpkg --print-architecture)" ]; then arch=; fi
case $arch in
  '') ;;
  arm64) emulator=qemu-aarch64-static ;;
  *) echo "in_debian.sh: there is no emulation of $arch here; arm64 is known" >&2; exit 2 ;;
esac
suite=$1
shift
mirror=http://deb.debian.org
if [ "$(id -u)" -ne 0 ] || ! command -v debootstrap >/dev/null; then
  echo "in_debian.sh: this needs root and the package debootstrap" >&2
  exit 1
fi

cache=${XDG_CACHE_HOME:-$HOME/.cache}/quorvin
plain=$cache/debian-$suite.tar
base=$cache/debian-$suite${arch:+-$arch}.tar
work=$(mktemp -d "${TMPDIR:-/tmp}/quorvin-$suite.XXXXXX")
chmod 755 "$work"
# What is mounted stands in a namespace that ends with the command: there is nothing to unmount.
trap 'rm -rf --one-file-system "$work"' EXIT
root=$work/root

# keep FILE: the system as it is now is where the next ones begin.
keep() {
  rm -f "$root"/var/cache/apt/archives/*.deb
  tar -C "$root" --exclude=./root/quorvin -cf "$work/base.tar" .
  mv "$work/base.tar" "$1.$$"
  mv "$1.$$" "$1"
}

mkdir -p "$cache"
if [ -e "$base" ]; then
  mkdir "$root"
  tar -C "$root" -xpf "$base"
elif [ -e "$plain" ]; then
  mkdir "$root"
  tar -C "$root" -xpf "$plain"
else
  echo "Bootstrapping $suite"
  debootstrap --variant=minbase --include=make "$suite" "$root" "$mirror/debian" >"$work/log" 2>&1 ||
    { tail -n 20 "$work/log" >&2; exit 1; }
  keep "$plain"
fi

cat >"$root/etc/apt/sources.list" <<EOF
deb $mirror/debian $suite main
deb $mirror/debian $suite-updates main
deb $mirror/debian-security $suite-security main
EOF
# The ways to the mirror and to npm's registry are this machine's.
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
if [ -n "${NODE_EXTRA_CA_CERTS:-}" ]; then
  cp "$NODE_EXTRA_CA_CERTS" "$root/root/authorities.pem"
  environment+=(NODE_EXTRA_CA_CERTS=/root/authorities.pem)
fi
if [ -n "$arch" ]; then environment+=("ARCH=$arch"); fi

# Programs for arm64 begin with this.
magic='\x7fELF\x02\x01\x01\x00\x00\x00\x00\x00\x00\x00\x00\x00\x02\x00\xb7\x00'
mask='\xff\xff\xff\xff\xff\xff\xff\x00\xff\xff\xff\xff\xff\xff\xff\xff\xfe\xff\xff\xff'
# run COMMAND...: in that system. It ends with this script. The first process of a namespace is deaf
# to signals unless it asks. Whatever else the kernel knows of emulators stays as it is.
run() {
  local format=
  if [ -n "$arch" ] && [ -x "$root/usr/bin/$emulator" ]; then
    format=:quorvin-$$:M::$magic:$mask:$root/usr/bin/$emulator:PF
  fi
  setpriv --pdeathsig KILL unshare --mount --pid --fork --kill-child bash -euc '
    trap "exit 130" INT
    trap "exit 143" TERM
    root=$1
    format=$2
    shift 2
    mount -t proc proc "$root/proc"
    mount --rbind /dev "$root/dev"
    mount --rbind /sys "$root/sys"
    if [ -n "$format" ]; then
      formats=$root/proc/sys/fs/binfmt_misc
      mount -t binfmt_misc none "$formats"
      name=${format#:}
      printf "%s" "$format" >"$formats/register"
      trap "echo -1 >\"$formats/${name%%:*}\"" EXIT
    fi
    chroot "$root" "$@"' - "$root" "$format" \
    env -i "${environment[@]}" sh -c 'cd /root/quorvin && exec "$@"' - "$@"
}

if [ "$arch" ] && [ ! -e "$base" ]; then
  run scripts/install_dependencies.sh test
  keep "$base"
fi
run "$@"
