#!/usr/bin/env bash
# Compares the names that a shared library exports with packaging/exported-names.txt, those of libkxcert-fetch with
# exported-names-fetch.txt.
# Usage: check-exports.sh [--update] LIBRARY
set -euo pipefail
update=
[ "${1:-}" = --update ] && { update=1; shift; }
library=${1:-$(dirname "$0")/../build/release/src/libkxcert.so}
list=$(dirname "$0")/../packaging/exported-names.txt
case $library in *libkxcert-fetch.so*) list=${list%.txt}-fetch.txt ;; esac
# Templates of the standard library that the compiler emitted are not ours to promise.
names=$(nm -D --defined-only "$library" | awk '{print $3}' | sed 's/@.*//' | c++filt |
        grep -v -E '^(std::|void std::|typeinfo( name)? for std::|vtable for std::|KXCERT_(FETCH_)?1$|_init$|_fini$)' | LC_ALL=C sort -u)
if [ -n "$update" ]; then
  printf '%s\n' "$names" >"$list"
elif ! diff -u "$list" - <<<"$names"; then
  echo "exported names changed; if that is meant: scripts/check-exports.sh --update" >&2
  exit 1
fi
