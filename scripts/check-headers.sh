#!/usr/bin/env bash
# Compiles each installed header alone, sees that each says what is missing where the standard is an older one, and that
# layers include one way.
set -euo pipefail
cd "$(dirname "$0")/.."
compiler=${1:-c++}
failed=0
for header in $(cd include && find kxcert -name '*.h'); do
  printf '#include "%s"\n' "$header" | "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -Iinclude -x c++ - || {
    echo "does not compile alone: $header" >&2
    failed=1
  }
  said=$(printf '#include "%s"\n' "$header" | "$compiler" -std=c++17 -E -Wfatal-errors -Iinclude -x c++ - 2>&1 >/dev/null || true)
  [[ $said == *'need C++20'* ]] || {
    echo "does not say first that it needs C++20: $header" >&2
    failed=1
  }
done
./scripts/include-matrix.py >/dev/null || failed=1
exit $failed
