#!/usr/bin/env bash
# install_test.sh BUILD SOURCE COMPILER: installs BUILD, moves what was installed, has a user's programs built against it,
# and looks at what else has to hold of it.
set -euo pipefail
build=$1 source=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chain=$source/examples/chain
fail() { echo "FAILED: $*" >&2; exit 1; }

cmake --install "$build" --prefix "$work/first" >"$work/log" || { cat "$work/log" >&2; exit 1; }
mv "$work/first" "$work/moved"
prefix=$work/moved
libdir=$(dirname "$(find "$prefix" -name libkxcert.so)")

"$source/tests/install/consumer/build.sh" "$prefix" "$source" "$compiler"

export PKG_CONFIG_PATH=$libdir/pkgconfig LD_LIBRARY_PATH=$libdir
# A program may have a sanitizer that the library was built without.
# shellcheck disable=SC2046
"$compiler" -fsanitize=address "$source/examples/validate.cc" -o "$work/sanitized" $(pkg-config --cflags --libs kxcert)
"$work/sanitized" "$chain/root.pem" "$chain/leaf.pem" "$chain/intermediate.pem" || fail 'a sanitized program'
# shellcheck disable=SC2046
{ (cd "$prefix/include" && find . -name '*.h' | sort | sed 's/.*/#include "&"/'); cat "$source/tests/install/inline.cc"; } |
  "$compiler" -O0 -fkeep-inline-functions -I"$prefix/include" -x c++ - -x none -o "$work/inline" \
  $(pkg-config --cflags --libs kxcert-fetch) || fail 'inline functions call what is not exported'
"$work/inline" || fail 'copies and moves'
unset LD_LIBRARY_PATH

# What the shared library needs at run time, and nothing else.
needed=$(objdump -p "$libdir/libkxcert.so" | awk '$1 == "NEEDED" {print $2}' | sort | tr '\n' ' ')
for library in $needed; do
  case $library in
    libcrypto.so.3 | libstdc++.so.6 | libgcc_s.so.1 | libm.so.6 | libc.so.6 | ld-linux*) ;;
    libevent_core-2.1.so.7 | libevent_pthreads-2.1.so.7) ;;
    *) fail "libkxcert.so needs $library" ;;
  esac
done

readelf -d "$libdir/libkxcert-fetch.so" | grep 'NEEDED.*libcurl' >/dev/null || fail 'libkxcert-fetch.so fetches without libcurl'
! readelf -d "$libdir/libkxcert.so" | grep -E 'NEEDED.*lib(curl|ldap|lber)' || fail 'libkxcert.so links what fetches'

# A process has little static thread storage left for libraries that it opens at run time.
! readelf -d "$libdir/libkxcert.so" | grep STATIC_TLS || fail 'libkxcert.so needs static thread storage'

(cd "$prefix/include" && grep -rhoE 'docs/[A-Za-z/]+\.md' .) | sort -u >"$work/named"
[ -s "$work/named" ] || fail 'the headers refer to no document'
while read -r document; do
  [ -f "$prefix/share/doc/kxcert/${document#docs/}" ] || fail "$document, which the headers refer to, is not installed"
done <"$work/named"

if [ -x "$prefix/bin/kxcert" ]; then
  "$prefix/bin/kxcert" --version >/dev/null || fail 'the installed command does not start'
  [ -f "$prefix/share/man/man1/kxcert.1" ] || fail 'no man page'
  [ -f "$prefix/share/kxcert/kxcert.schema.json" ] || fail 'no schema of documents'
  KXCERT_CONF_DIR=$prefix/etc/kxcert "$prefix/bin/kxcert" key gen dh 14 >/dev/null || fail 'no groups are installed'
  unit=$prefix/lib/systemd/system/kxcert-offloadd.service
  ! grep -q @CMAKE "$unit" || fail 'the unit has places that are not filled in'
  # shellcheck disable=SC1091
  source "$prefix/share/bash-completion/completions/kxcert"
  COMP_WORDS=("$prefix/bin/kxcert" chain ver) COMP_CWORD=2 COMPREPLY=()
  _kxcert
  [ "${COMPREPLY[*]}" = verify ] || fail "completion gives ${COMPREPLY[*]}"
fi
