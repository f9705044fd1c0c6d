#!/usr/bin/env bash
# Makes the sample chain in examples/chain anew: root, intermediate and leaf. The private keys are thrown
# away, so all three change together. Valid until the end of 2037, the last year that fits 32 bits.
set -euo pipefail
cd "$(dirname "$0")/chain"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

extensions() {   # NAME
  case $1 in
    root) echo 'basicConstraints = critical, CA:TRUE' ;;
    intermediate) echo 'basicConstraints = critical, CA:TRUE, pathlen:0' ;;
    leaf) printf '%s\n' 'basicConstraints = critical, CA:FALSE' 'extendedKeyUsage = serverAuth' \
      'subjectAltName = DNS:gateway.example.net' ;;
  esac
  case $1 in
    leaf) echo 'keyUsage = critical, digitalSignature' ;;
    *) echo 'keyUsage = critical, keyCertSign, cRLSign' ;;
  esac
  printf '%s\n' 'subjectKeyIdentifier = hash' 'authorityKeyIdentifier = keyid'
}

make() {   # NAME ISSUER SUBJECT
  openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$work/$1.key"
  openssl req -new -key "$work/$1.key" -subj "$3" -out "$work/$1.csr"
  { echo "[ca]"; echo "default_ca = c"; echo "[c]"; echo "new_certs_dir = $work"; echo "database = $work/index"
    echo "rand_serial = yes"; echo "default_md = sha256"; echo "policy = p"; echo "x509_extensions = e"
    echo "[p]"; echo "countryName = optional"; echo "organizationName = optional"; echo "commonName = supplied"
    echo "[e]"; extensions "$1"; } >"$work/$1.cnf"
  : >"$work/index"
  local signer=(-cert "$2.pem" -keyfile "$work/$2.key")
  [ "$1" != "$2" ] || signer=(-selfsign -keyfile "$work/$1.key")
  openssl ca -batch -notext -preserveDN -config "$work/$1.cnf" "${signer[@]}" -in "$work/$1.csr" \
    -startdate 20250101000000Z -enddate 20371231235959Z -out "$1.pem"
}

{
  make root root '/C=ZZ/O=Example Organization/CN=Example Root CA'
  make intermediate root '/C=ZZ/O=Example Organization/CN=Example Intermediate CA'
  make leaf intermediate '/C=ZZ/O=Example Organization/CN=gateway.example.net'
} 2>"$work/log" || { cat "$work/log" >&2; exit 1; }
