#!/usr/bin/env bash
# hardening_test.sh FILE...: whether what cmake/hardening.cmake asks for is in these programs and libraries.
set -euo pipefail
export LC_ALL=C
failed=0
for file in "$@"; do
  missing() { echo "FAILED: $file: $*" >&2; failed=1; }
  header=$(readelf -hW "$file") segments=$(readelf -lW "$file") dynamic=$(readelf -dW "$file")
  symbols=$(readelf --dyn-syms -W "$file")
  grep -q 'Type: *DYN' <<<"$header" || missing 'its place is fixed (PIE)'
  ! grep -q INTERP <<<"$segments" || grep -q 'Flags:.* PIE' <<<"$dynamic" || missing 'a program that is not marked PIE'
  grep -q GNU_RELRO <<<"$segments" || missing 'relocated data stays writable (-z relro)'
  grep -q 'Flags:.* NOW' <<<"$dynamic" || missing 'names are resolved at the first call (-z now)'
  ! grep -q TEXTREL <<<"$dynamic" || missing 'relocations in the code'
  grep -q 'GNU_STACK .* RW ' <<<"$segments" || missing 'the stack is executable (-z noexecstack)'
  grep -q '__stack_chk_fail' <<<"$symbols" || missing 'no stack protector'
  # Who prints, prints through those; what is copied is checked only where the compiler knows how much room there is.
  ! grep -q -E ' v?[a-z]{0,2}printf@' <<<"$symbols" || grep -q ' __[a-z]*_chk@' <<<"$symbols" ||
    missing 'no checked function of the C library (_FORTIFY_SOURCE)'

  grep -q -E 'Machine: .*(X86-64|80386)' <<<"$header" || continue
  code=$(objdump -d -j .text "$file")
  # The start-up code has a few of these without being asked.
  [ "$(grep -c 'endbr[0-9]' <<<"$code")" -ge 100 ] || missing 'no marks where jumps may go (-fcf-protection)'
  # With probes no step down the stack is longer than a page.
  ! grep -m 3 -E 'sub +\$0x(100[1-9a-f]|10[1-9a-f].|1[1-9a-f]..|[2-9a-f]...|[0-9a-f]{5,6}),%[er]sp' <<<"$code" >&2 ||
    missing 'steps over guard pages (-fstack-clash-protection)'
done
exit $failed
