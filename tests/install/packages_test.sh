#!/usr/bin/env bash
# packages_test.sh PACKAGES SOURCE COMPILER: unpacks the Debian packages of the folder PACKAGES, has a user's programs built
# against what they hold, and looks at what lintian cannot know.
set -euo pipefail
packages=$1 source=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }
root=$work/root
for name in libkxcert1 libkxcert-fetch1 libkxcert-dev kxcert; do
  deb=$(echo "$packages/${name}"_*.deb)
  dpkg-deb -x "$deb" "$root"
  dpkg-deb -e "$deb" "$work/$name"
  (cd "$root" && md5sum --quiet -c "$work/$name/md5sums") || fail "$name: sums"
  grep -q 'No licence is granted yet' "$root/usr/share/doc/$name/copyright" || fail "$name: what its licence is"
done
libdir=$root/usr/lib/$(dpkg-architecture -q DEB_HOST_MULTIARCH)

# Libraries: where several architectures have room, found by who depends on them, and without scripts.
for library in libkxcert libkxcert-fetch; do
  [ -f "$libdir/$library.so.1" ] || fail "$library is elsewhere"
  grep -q "^$library 1 ${library}1 " "$work/${library}1/shlibs" || fail "${library}1: who links it cannot depend on it"
  grep -q '^activate-noawait ldconfig$' "$work/${library}1/triggers" || fail "${library}1: no trigger"
  ! ls "$work/${library}1"/{pre,post}{inst,rm} 2>/dev/null || fail "${library}1 has scripts"
done

# Configuration is in /etc for all who look for it.
grep -qxF /etc/kxcert/dh_groups "$work/kxcert/conffiles" || fail 'the groups are no configuration file'
for file in "$libdir/libkxcert.so.1" "$root/usr/sbin/kxcert-offloadd"; do
  ! grep -a -q /usr/etc "$file" && grep -a -q '/etc/kxcert' "$file" || fail "$file looks for its configuration elsewhere"
done
LD_LIBRARY_PATH=$libdir KXCERT_CONF_DIR=$root/etc/kxcert "$root/usr/bin/kxcert" key gen dh 14 >/dev/null || fail 'the command'
"$source/tests/install/hardening_test.sh" "$libdir"/libkxcert{,-fetch}.so.1 "$root/usr/bin/kxcert" "$root/usr/sbin/kxcert-offloadd"

# The unit, with the service where it is now. The limit is what it has; who adds to it without need sees it here.
unit=$work/kxcert-offloadd.service
sed "s,^ExecStart=,&$root," "$root/lib/systemd/system/kxcert-offloadd.service" >"$unit"
if command -v systemd-analyze >/dev/null; then
  systemd-analyze verify --man=no "$unit" || fail 'the unit'
  systemd-analyze security --offline=yes --threshold=10 --no-pager "$unit" >"$work/log" || { cat "$work/log" >&2; fail 'the unit may too much'; }
else
  echo 'not checked without systemd-analyze: the unit' >&2
fi

"$source/tests/install/consumer/build.sh" "$root/usr" "$source" "$compiler" "$root"

# What -dev needs is what it depends on: the other packages' files that pkg-config and the compiler read.
export PKG_CONFIG_PATH=$libdir/pkgconfig
depends=" $(dpkg-deb -f "$packages"/libkxcert-dev_*.deb Depends | sed 's/ ([^)]*)//g; s/,//g') "
check_owners() {   # files by lines: each belongs to a package that is named, or to the compiler
  xargs realpath | xargs dpkg-query -S | sed 's/:.*//' | sort -u >"$work/owners" || fail 'files of no package'
  while read -r owner; do
    case $owner in libc6-dev | linux-libc-dev | libstdc++-*-dev | libgcc-*-dev | libclang-common-*-dev) continue ;; esac
    case $depends in *" $owner "*) ;; *) fail "libkxcert-dev does not depend on $owner, which it needs" ;; esac
  done <"$work/owners"
}
pkg-config --print-requires --print-requires-private kxcert kxcert-fetch | awk '$1 != "kxcert" {print $1}' >"$work/modules"
[ "$(wc -l <"$work/modules")" -ge 4 ] || fail 'the pkg-config files name no modules'
while read -r module; do echo "$(pkg-config --variable=pcfiledir "$module")/$module.pc"; done <"$work/modules" | check_owners
read -ra flags <<<"$(PKG_CONFIG_SYSROOT_DIR=$root pkg-config --cflags kxcert-fetch)"
case " ${flags[*]} " in *" -I$root/usr/include "*) ;; *) fail "pkg-config gives ${flags[*]}" ;; esac
mkdir "$work/read"
find "$root/usr/include" -name '*.h' -printf '%P\0' | xargs -0 -P "$(nproc)" -I '{}' bash -c '
  name=$1 folder=$2 compiler=$3; shift 3
  printf "#include <%s>\n" "$name" |
    "$compiler" "$@" -Wall -Wextra -Werror -fsyntax-only -MD -MF "$folder/${name//\//-}" -x c++ -' _ \
  '{}' "$work/read" "$compiler" "${flags[@]}" || fail 'headers that do not compile alone'
cat "$work/read"/* | tr -d '\\' | tr ' ' '\n' | grep '^/' | grep -v "^$root/" | sort -u >"$work/others"
grep -q /c++/ "$work/others" || fail 'the headers read nothing'
check_owners <"$work/others"
echo "packages: $(wc -l <"$work/modules") modules and $(wc -l <"$work/others") headers of others, all of what -dev depends on"
