#!/bin/bash
# Makes the samples of this folder anew: ./make.sh (OpenSSL 3.0). What each is judged to be stands in requests.steps.
set -euo pipefail
cd "$(dirname "$0")"
keys=../keys
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
openssl req -x509 -key $keys/rsa3072.pem -subj /CN=server -days 9000 -out "$work/server.pem"
openssl req -x509 -key $keys/rsa2048.pem -subj /O=Example/CN=old -set_serial 0x80010203040506 -days 9000 \
  -addext 'subjectAltName=DNS:old.example' -out old.pem
openssl dsaparam -genkey -noout -out "$work/dsa.pem" 1024
openssl req -new -key $keys/rsa2048.pem -subj /O=Example/CN=request -addext 'subjectAltName=DNS:a.example,IP:192.0.2.1' \
  -addext 'keyUsage=critical,digitalSignature' -outform DER -out request.der

# ask NAME OPTION...: the request that the command sends, as it asks a server inside itself. What the server answers
# does not matter here: it has one certificate for all.
ask() {
  local name=$1
  shift
  rm -f "$name.der"
  openssl cmp "$@" -recipient /CN=server -ref 1 -secret pass:secret -use_mock_srv -srv_ref 1 -srv_secret pass:secret \
    -rsp_cert "$work/server.pem" -certout "$work/got.pem" -reqout "$name.der" -accept_raverified -disable_confirm || true
  [ -s "$name.der" ]
}
rsa=(-newkey $keys/rsa2048.pem -popo 1)
ask ir -cmd ir "${rsa[@]}" -subject /O=Example/CN=asker -sans 'asker.example,192.0.2.7' -days 90
ask cr -cmd cr "${rsa[@]}" -subject /O=Example/CN=asker -digest sha1
ask kur -cmd kur "${rsa[@]}" -oldcert old.pem
ask raVerified -cmd ir -newkey $keys/rsa2048.pem -subject /CN=asker -popo 0
ask keyEncipherment -cmd ir -newkey $keys/rsa2048.pem -subject /CN=asker -popo 2
ask noPop -cmd ir -newkey $keys/rsa2048.pem -subject /CN=asker -popo -1
ask ec -cmd ir -newkey $keys/prime256v1.pem -subject /CN=asker -popo 1
ask dsa -cmd ir -newkey "$work/dsa.pem" -subject /CN=asker -popo 1
