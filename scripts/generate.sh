#!/usr/bin/env bash
# Makes the generated ASN.1 sources anew; --check only says whether they would change.
set -euo pipefail
cd "$(dirname "$0")/.."
modules=(PKIX1Explicit88 PKIX1Implicit88 SXUTILS CryptographicMessageSyntax PKCS12 PKIXCRMF
         EnrollmentMessageSyntax PKIXCMP OCSP)
python3 tools/asn1gen/asn1gen.py "$@" --types src/asn1/modules/allTypes.cc \
  src/asn1/modules include/kxcert/asn1/modules "${modules[@]}"
# The tests' own module.
imports=()
for module in "${modules[@]}"; do imports+=(--import "src/asn1/modules/$module.asn1"); done
python3 tools/asn1gen/asn1gen.py "$@" "${imports[@]}" --prefix asn1/modules \
  --types tests/asn1/modules/testTypes.cc tests/asn1/modules tests/asn1/modules TESTTYPES
