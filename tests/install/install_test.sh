#!/usr/bin/env bash
# install_test.sh BUILD SOURCE COMPILER: installs BUILD, moves what was installed, and builds and runs
# examples/validate.cc against it: by find_package, shared and static, and by pkg-config.
set -euo pipefail
build=$1 source=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chain=$source/examples/chain
fail() { echo "FAILED: $*" >&2; exit 1; }
check() {   # PROGRAM: accepts the sample chain and nothing less
  "$1" "$chain/root.pem" "$chain/leaf.pem" "$chain/intermediate.pem" || fail "$1: the sample chain"
  ! "$1" "$chain/root.pem" "$chain/leaf.pem" || fail "$1: a chain without its intermediate"
}

cmake --install "$build" --prefix "$work/first" >"$work/log" || { cat "$work/log" >&2; exit 1; }
mv "$work/first" "$work/moved"
prefix=$work/moved
libdir=$(dirname "$(find "$prefix" -name libkxcert.so)")

cmake -G Ninja -S "$source/tests/install/consumer" -B "$work/build" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" -DEXAMPLES="$source/examples" >"$work/log" 2>&1 &&
  cmake --build "$work/build" >>"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
check "$work/build/validate"
check "$work/build/validate-static"
! ldd "$work/build/validate-static" | grep libkxcert || fail 'the static program needs the shared library'
for program in use-fetch use-fetch_static; do
  "$work/build/$program" || fail "$program: what must not be asked"
done

export PKG_CONFIG_PATH=$libdir/pkgconfig
# shellcheck disable=SC2046
"$compiler" -std=c++20 "$source/examples/validate.cc" -o "$work/by-pkg-config" $(pkg-config --cflags --libs kxcert)
export LD_LIBRARY_PATH=$libdir
check "$work/by-pkg-config"
# A program may have a sanitizer that the library was built without.
# shellcheck disable=SC2046
"$compiler" -std=c++20 -fsanitize=address "$source/examples/validate.cc" -o "$work/sanitized" \
  $(pkg-config --cflags --libs kxcert)
check "$work/sanitized"
# shellcheck disable=SC2046
"$compiler" -std=c++20 "$source/tests/install/consumer/useFetch.cc" -o "$work/fetch-by-pkg-config" \
  $(pkg-config --cflags --libs kxcert-fetch)
"$work/fetch-by-pkg-config" || fail 'what must not be asked'
case $(pkg-config --libs kxcert-fetch) in *curl*) fail 'libcurl is not a private requirement' ;; esac
case $(pkg-config --libs kxcert) in *crypto*) fail 'libcrypto is not a private requirement' ;; esac
case $(pkg-config --static --libs kxcert) in *crypto*) ;; *) fail 'a static link needs libcrypto' ;; esac
# shellcheck disable=SC2046
{ (cd "$prefix/include" && find . -name '*.h' | sort | sed 's/.*/#include "&"/'); cat "$source/tests/install/inline.cc"; } |
  "$compiler" -std=c++20 -O0 -fkeep-inline-functions -I"$prefix/include" -x c++ - -x none -o "$work/inline" \
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

readelf -d "$libdir/libkxcert-fetch.so" | grep -q 'NEEDED.*libcurl' || fail 'libkxcert-fetch.so fetches without libcurl'
! readelf -d "$libdir/libkxcert.so" | grep -E 'NEEDED.*lib(curl|ldap|lber)' || fail 'libkxcert.so links what fetches'

# A process has little static thread storage left for libraries that it opens at run time.
! readelf -d "$libdir/libkxcert.so" | grep STATIC_TLS || fail 'libkxcert.so needs static thread storage'

# Every installed header compiles on its own.
find "$prefix/include" -name '*.h' | sort | while read -r header; do
  "$compiler" -std=c++20 -Wall -Wextra -Werror -fsyntax-only -x c++ -I"$prefix/include" "$header" ||
    fail "$header does not compile on its own"
done

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
