#!/usr/bin/env bash
# Makes the benchmarks' chains again: for each kind of key a root, an intermediate and a leaf with the
# extensions that certificates usually carry. The keys are thrown away.
set -euo pipefail
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cat >"$work/ext.cnf" <<'CNF'
[root]
basicConstraints = critical, CA:TRUE
keyUsage = critical, keyCertSign, cRLSign
subjectKeyIdentifier = hash
[intermediate]
basicConstraints = critical, CA:TRUE, pathlen:0
keyUsage = critical, digitalSignature, keyCertSign, cRLSign
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
crlDistributionPoints = URI:http://crl.example.com/root.crl
certificatePolicies = 2.23.140.1.2.2
[leaf]
basicConstraints = critical, CA:FALSE
keyUsage = critical, digitalSignature
extendedKeyUsage = serverAuth, clientAuth
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
subjectAltName = DNS:gateway.example.com, DNS:vpn.example.com
authorityInfoAccess = OCSP;URI:http://ocsp.example.com, caIssuers;URI:http://ca.example.com/int.crt
crlDistributionPoints = URI:http://crl.example.com/int.crl
certificatePolicies = 2.23.140.1.2.2
CNF
issue() { # kind role issuer subject days
  local key="$work/$1-$2.key"
  if [ "$1" = rsa ]; then openssl genrsa -out "$key" 2048; else openssl ecparam -name prime256v1 -genkey -noout -out "$key"; fi
  local sign=(-signkey "$key")
  [ "$2" = root ] || sign=(-CA "$1-$3.pem" -CAkey "$work/$1-$3.key")
  openssl req -new -sha256 -key "$key" -subj "$4" -out "$work/req.pem"
  openssl x509 -req -sha256 -in "$work/req.pem" "${sign[@]}" -days "$5" -set_serial "0x$(openssl rand -hex 16)" \
    -extfile "$work/ext.cnf" -extensions "$2" -out "$1-$2.pem"
}
for kind in rsa ec; do
  issue $kind root - "/C=DE/O=Example Trust Services GmbH/CN=Example Root CA $kind" 4400
  issue $kind intermediate root "/C=DE/O=Example Trust Services GmbH/OU=Gateways/CN=Example Issuing CA $kind" 4300
  issue $kind leaf intermediate "/C=DE/ST=Bavaria/L=Munich/O=Example Network AG/CN=gateway.example.com" 4200
done 2>/dev/null
