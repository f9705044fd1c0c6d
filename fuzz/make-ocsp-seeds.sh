#!/usr/bin/env bash
# Makes the seeds of fuzz_ocsp with the openssl command: issuer, certificate, response.
set -euo pipefail
cd "$(dirname "$0")"
out=$PWD/corpus/fuzz_ocsp
mkdir -p "$out"
work=$(mktemp -d)
trap 'rm -r "$work"' EXIT
cd "$work"

serial=0
issue() {   # NAME ISSUER EXTENSION...
  openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$1.key"
  printf '%s\n' "${@:3}" >"$1.ext"
  local by=(-CA "$2.pem" -CAkey "$2.key")
  [ "$1" != "$2" ] || by=(-signkey "$1.key")
  openssl req -new -key "$1.key" -subj "/CN=$1" |
    openssl x509 -req -days 3650 -set_serial $((serial += 1)) "${by[@]}" -extfile "$1.ext" -out "$1.pem" 2>/dev/null
}
blob() { python3 -c 'import sys; d = sys.stdin.buffer.read(); sys.stdout.buffer.write(len(d).to_bytes(2, "big") + d)'; }
seed() {   # NAME CERTIFICATE SIGNER OPTION...
  openssl ocsp -issuer ca.pem -cert "$2.pem" -reqout req.der ${NONCE:--no_nonce}
  openssl ocsp -index index -CA ca.pem -rsigner "$3.pem" -rkey "$3.key" -reqin req.der -respout resp.der "${@:4}" >/dev/null
  { openssl x509 -in ca.pem -outform DER | blob; openssl x509 -in "$2.pem" -outform DER | blob; cat resp.der; } >"$out/$1"
}

issue ca ca basicConstraints=CA:TRUE
issue good ca
issue revoked ca
issue delegate ca extendedKeyUsage=OCSPSigning noCheck=ignored
printf '%s\t350101000000Z\t%s\t%s\tunknown\t/CN=x\n' V '' 02 R 251201000000Z,keyCompromise 03 >index
seed good good ca -ndays 1 -resp_no_certs
seed revoked revoked ca -resp_no_certs
seed delegate good delegate -ndays 1 -resp_key_id
seed unknown delegate ca
NONCE=-nonce seed nonce good delegate
for status in 1 3 6; do printf '\0\0\0\0\x30\3\x0a\1'"\\x0$status" >"$out/status$status"; done
