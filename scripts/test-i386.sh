#!/usr/bin/env bash
# Builds and tests the tree for 32-bit x86, in a Debian folder of its own (KXCERT_I386_ROOT, by default
# below /var/tmp). Needs root: debootstrap and chroot. The folder is kept; a second run only builds.
set -euo pipefail
cd "$(dirname "$0")/.."
root=${KXCERT_I386_ROOT:-/var/tmp/kxcert-i386}
tree=$PWD
command -v debootstrap >/dev/null || { apt-get update -qq && apt-get install -y -qq debootstrap >/dev/null; }
# The machine's own mirror, whatever it is.
mirror=$(sed -n -E 's/^URIs:[[:space:]]*([^[:space:]]*\/debian)\/?$/\1/p; s/^deb[[:space:]]+(\[[^]]*\] )?([^[:space:]]*\/debian)\/? .*/\2/p' \
  /etc/apt/sources.list.d/*.sources /etc/apt/sources.list 2>/dev/null | head -n 1 || true)
if [ ! -e "$root/.ready" ]; then
  debootstrap --arch=i386 --variant=minbase bookworm "$root" ${mirror:+"$mirror"} >&2
  # Package fetches inside go the way they go outside.
  cp -a /etc/apt/apt.conf.d/. "$root/etc/apt/apt.conf.d/" 2>/dev/null || true
  touch "$root/.ready"
fi
mkdir -p "$root/work/kxcert"
mountpoint -q "$root/work/kxcert" || mount --bind "$tree" "$root/work/kxcert"
mountpoint -q "$root/proc" || mount -t proc proc "$root/proc"
# Terminals, for what is tested on one.
mountpoint -q "$root/dev/pts" || { mkdir -p "$root/dev/pts" && mount -t devpts -o ptmxmode=666 devpts "$root/dev/pts"; }
ln -sf pts/ptmx "$root/dev/ptmx"
trap 'umount "$root/work/kxcert" "$root/proc" "$root/dev/pts" || true' EXIT
cp -L /etc/resolv.conf "$root/etc/resolv.conf" 2>/dev/null || true
chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin HOME=/root TERM=dumb \
  bash -c 'cd /work/kxcert && ./scripts/setup.sh && cmake -S . -B build/i386 -G Ninja -DCMAKE_BUILD_TYPE=Release -DKXCERT_WERROR=ON >/dev/null && cmake --build build/i386 && ctest --test-dir build/i386 --output-on-failure -j "$(nproc)"'
