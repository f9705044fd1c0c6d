#!/usr/bin/env bash
# build.sh PREFIX SOURCE COMPILER [ROOT]: builds a user's programs against what is installed below PREFIX, by CMake and by
# pkg-config, with the shared libraries and with the archives, and runs them. Nothing here sets a standard. ROOT is the
# folder that PREFIX is meant to stand in, where pkg-config's files name places of the system.
set -euo pipefail
prefix=$1 source=$2 compiler=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() { echo "FAILED: $*" >&2; exit 1; }
chain=$source/examples/chain
libdir=$(dirname "$(find "$prefix" -name libkxcert.so)")
export LD_LIBRARY_PATH=$libdir PKG_CONFIG_PATH=$libdir/pkgconfig
check() {   # PROGRAM: accepts the sample chain and nothing less
  "$1" "$chain/root.pem" "$chain/leaf.pem" "$chain/intermediate.pem" || fail "$1: the sample chain"
  ! "$1" "$chain/root.pem" "$chain/leaf.pem" || fail "$1: a chain without its intermediate"
}
links() {   # PROGRAM LIBRARY: it is loaded, and from there
  LC_ALL=C ldd "$1" | grep "$2.* => $libdir/" >/dev/null || fail "$1 runs without $2 of $libdir"
}
links_no() { ! LC_ALL=C ldd "$1" 2>&1 | grep "$2" || fail "$1 needs $2"; }

cmake -G Ninja -S "$source/tests/install/consumer" -B "$work" -DCMAKE_PREFIX_PATH="$prefix" \
  -DCMAKE_CXX_COMPILER="$compiler" -DEXAMPLES="$source/examples" >"$work/log" 2>&1 &&
  cmake --build "$work" >>"$work/log" 2>&1 || { cat "$work/log" >&2; exit 1; }
check "$work/validate"
links "$work/validate" libkxcert.so.1
check "$work/validate-static"
links_no "$work/validate-static" libkxcert
"$work/use-fetch" || fail 'use-fetch: what must not be asked'
links "$work/use-fetch" libkxcert-fetch.so.1
"$work/use-fetch_static" || fail 'use-fetch_static: what must not be asked'
links_no "$work/use-fetch_static" libkxcert

[ -z "${4:-}" ] || export PKG_CONFIG_SYSROOT_DIR=$4
# shellcheck disable=SC2046
{
  "$compiler" "$source/examples/validate.cc" -o "$work/pc" $(pkg-config --cflags --libs kxcert)
  # Of the archives everything: a program that needs nothing of the machine that it runs on.
  "$compiler" -static "$source/examples/validate.cc" -o "$work/pc-static" \
    $(pkg-config --static --cflags --libs kxcert) 2>"$work/log" || { cat "$work/log" >&2; exit 1; }
  "$compiler" "$source/tests/install/consumer/useFetch.cc" -o "$work/pc-fetch" $(pkg-config --cflags --libs kxcert-fetch)
}
check "$work/pc"
links "$work/pc" libkxcert.so.1
check "$work/pc-static"
! readelf -lW "$work/pc-static" | grep INTERP || fail 'the static program loads libraries'
"$work/pc-fetch" || fail 'pc-fetch: what must not be asked'
links "$work/pc-fetch" libkxcert-fetch.so.1
case $(pkg-config --libs kxcert-fetch) in *curl* | *crypto*) fail 'what the libraries need is not private' ;; esac
case $(pkg-config --static --libs kxcert-fetch) in *curl*crypto*) ;; *) fail 'archives need libcurl and libcrypto' ;; esac
