#!/usr/bin/env bash
# use_emulated.sh SUITE ARCH PACKAGES MEDIA: run as root of a Debian whose kernel runs programs for
# ARCH. Makes a fresh Debian of that architecture, and uses the packages of the folder PACKAGES there.
set -euo pipefail
cd "$(dirname "$0")/../.."
suite=$1
architecture=$2
packages=$3
media=$4
fresh=$(mktemp -d)/debian

debootstrap --arch "$architecture" --variant=minbase "$suite" "$fresh" http://deb.debian.org/debian \
  >"$fresh.log" 2>&1 || { tail -n 20 "$fresh.log" >&2; exit 1; }
for file in /etc/apt/sources.list /etc/apt/apt.conf.d/00host /etc/resolv.conf /usr/sbin/policy-rc.d; do
  cp --dereference "$file" "$fresh$file"
done
files=()
for name in libquorvin1 libquorvin-dev quorvin-media quorvin; do
  files+=("$packages/${name}_"*"_$architecture.deb")
done
mkdir "$fresh/root/quorvin"
tar --create tests/packages clients/cpp/README.md "${files[@]}" "$media" |
  tar --extract --directory="$fresh/root/quorvin"
mount -t proc proc "$fresh/proc"
mount --rbind /dev "$fresh/dev"
chroot "$fresh" env -i HOME=/root LANG=C.UTF-8 PATH=/usr/sbin:/usr/bin:/sbin:/bin EMULATED=1 \
  sh -c 'cd /root/quorvin && exec tests/packages/use_packages.sh "$@"' - "$packages" "$media" </dev/null
