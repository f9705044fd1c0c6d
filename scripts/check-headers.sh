#!/usr/bin/env bash
# Compiles each installed header alone, and sees that layers include one way.
set -euo pipefail
cd "$(dirname "$0")/.."
compiler=${1:-c++}
failed=0
for header in $(cd include && find kxcert -name '*.h'); do
  printf '#include "%s"\n' "$header" | "$compiler" -std=c++20 -fsyntax-only -Wall -Wextra -Werror -Iinclude -x c++ - || {
    echo "does not compile alone: $header" >&2
    failed=1
  }
done
layers=(platform foundation asn1 keys cert store trust enroll signedfile)
above=()
for ((i = ${#layers[@]} - 1; i >= 0; --i)); do
  layer=${layers[i]}
  for upper in "${above[@]}"; do
    [ "$layer/$upper" = enroll/signedfile ] && continue
    if grep -rnE "#include \"(kxcert/)?$upper/" "include/kxcert/$layer" "src/$layer" 2>/dev/null; then
      echo "$layer includes $upper, which stands above it" >&2
      failed=1
    fi
  done
  above+=("$layer")
done
exit $failed
