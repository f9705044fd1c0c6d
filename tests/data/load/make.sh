#!/bin/bash
# Makes the samples of this folder anew: ./make.sh (OpenSSL 3.0). Keys and signatures change, the cases do not.
set -euo pipefail
cd "$(dirname "$0")"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
openssl ecparam -name prime256v1 -genkey -noout -out ec.pem
openssl req -x509 -new -key ec.pem -subj /CN=loaded -days 3650 -out cert.pem
openssl x509 -in cert.pem -outform DER -out cert.der
printf '[ca]\ndefault_ca=c\n[c]\ndatabase=%s/index\ndefault_md=sha256\n' "$work" >"$work/ca.cnf"
: >"$work/index"
openssl ca -config "$work/ca.cnf" -gencrl -crldays 3650 -cert cert.pem -keyfile ec.pem -out crl.pem
openssl crl -in crl.pem -outform DER -out crl.der
openssl crl2pkcs7 -in crl.pem -certfile cert.pem -out both.p7.pem
openssl crl2pkcs7 -nocrl -certfile cert.pem -outform DER -out cert.p7.der
openssl cms -sign -stream -in make.sh -signer cert.pem -inkey ec.pem -outform DER -out streamed.p7.ber
openssl pkcs8 -topk8 -nocrypt -in ec.pem -out ec.p8.pem
openssl pkcs8 -topk8 -nocrypt -in ../keys/rsa1024.pem -outform DER -out rsa.p8.der
openssl pkcs8 -topk8 -passout pass:x -in ec.pem -out encrypted.p8.pem
openssl ec -in ec.pem -aes128 -passout pass:x -out encrypted.pem
openssl ec -in ec.pem -pubout -out public.pem
openssl pkcs12 -export -in cert.pem -inkey ec.pem -passout pass:x -out store.p12
openssl req -new -key ec.pem -subj /CN=loaded -out request.pem
openssl req -in request.pem -newhdr -out request.new.pem
openssl req -in request.pem -outform DER -out request.der
openssl genpkey -algorithm ed25519 -out ed25519.pem
