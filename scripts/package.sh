#!/usr/bin/env bash
# Makes the Debian source and binary packages of the tree as it is, below build/packages, and has lintian and
# tests/install/packages_test.sh look at them.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD
./scripts/setup.sh packages
out=$root/build/packages
version=$(dpkg-parsechangelog -l packaging/debian/changelog -S Version)
upstream=${version%-*}
for part in MAJOR MINOR PATCH; do
  here+=.$(sed -n "s/#define KXCERT_VERSION_$part //p" include/kxcert/platform/version.h)
done
[ "${here#.}" = "$upstream" ] || { echo "version.h says ${here#.}, packaging/debian/changelog $version" >&2; exit 1; }

# Times are the changelog's, not the clock's.
SOURCE_DATE_EPOCH=$(dpkg-parsechangelog -l packaging/debian/changelog -S Timestamp)
export SOURCE_DATE_EPOCH
rm -rf "$out"
mkdir -p "$out"
git ls-files -z --cached --others --exclude-standard | LC_ALL=C sort -z |
  tar --null --no-recursion --files-from=- --transform="s,^,kxcert-$upstream/,S" --mtime="@$SOURCE_DATE_EPOCH" \
    --owner=0 --group=0 --numeric-owner --mode=go=rX,u+rw -cf - | gzip -9n >"$out/kxcert_$upstream.orig.tar.gz"
tar -C "$out" -xf "$out/kxcert_$upstream.orig.tar.gz"
cd "$out/kxcert-$upstream"
cp -r packaging/debian debian
export DEB_BUILD_OPTIONS="parallel=$(nproc)"
[ ! -d /usr/lib/ccache ] || PATH=/usr/lib/ccache:$PATH
dpkg-buildpackage --unsigned-source --unsigned-changes >"$out/build.log" 2>&1 || { cat "$out/build.log" >&2; exit 1; }
cd "$out"
# No archive was asked to take these packages, so no bug asks for them.
lintian --allow-root --fail-on error,warning --suppress-tags initial-upload-closes-no-bugs ./*.dsc ./*.deb
"$root/tests/install/packages_test.sh" "$out" "$root" "${CXX:-c++}"
ls -1 "$out"/*.deb
