#!/usr/bin/env bash
# Makes the generated ASN.1 sources anew; --check only says whether they would change.
set -euo pipefail
cd "$(dirname "$0")/.."
python3 tools/asn1gen/asn1gen.py "$@" --types src/asn1/modules/allTypes.cc src/asn1/modules include/kxcert/asn1/modules \
  PKIX1Explicit88 PKIX1Implicit88 SXUTILS
