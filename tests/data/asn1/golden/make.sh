#!/usr/bin/env bash
# Makes the messages of this folder anew with openssl: NAME.TYPE.der, or NAME.TYPE.ber where openssl streams
# and so writes indefinite lengths. Keys, times and nonces differ every time; the keys are thrown away. The
# trees beside some must then be made again, too: the test that compares them says how.
#
# make.sh [FOLDER]   where to, instead of here
set -euo pipefail
cd "$(dirname "$0")"
out=$(cd "${1:-.}" && pwd)
work=$(mktemp -d)
cp conf/* "$work"
cd "$work"
exec 3>&2 >talk 2>&1   # shown when a program fails
trap 'rc=$?; [ $rc -eq 0 ] || cat talk >&3; rm -rf "$work"' EXIT
printf 'Whoever reads this has decoded it.\n' >text
der=(-outform DER -out)

# Certificates: ca signs signer (EC), second (EC) and rsa.
ec() { openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$1.key"; }
rsa() { openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out "$1.key"; }
issue() { # name serial
  openssl req -new -config openssl.cnf -key "$1.key" -subj "/C=DE/O=Example/CN=$1" -out "$1.csr"
  openssl x509 -req -in "$1.csr" -CA ca.pem -CAkey ca.key -set_serial "$2" -days 3650 -extfile openssl.cnf \
    -extensions leaf -out "$1.pem"
}
ec ca; ec signer; ec second; rsa rsa; rsa extended
openssl req -x509 -config openssl.cnf -key ca.key -subj '/C=DE/O=Example/CN=ca' -days 3650 -set_serial 1 \
  -extensions issuer -out ca.pem
issue signer 0x1001; issue second 0x1002; issue rsa 0x7fffffffffffffff
openssl x509 -in signer.pem "${der[@]}" "$out/certificate.Certificate.der"
openssl req -x509 -config extended.cnf -key signer.key -subj /CN=short -extensions none -days 40000 "${der[@]}" "$out/short.Certificate.der"
openssl req -x509 -config extended.cnf -key extended.key -extensions every -days 3650 -out extended.pem \
  -subj '/C=DE/O=Example/OU=One+CN=Example Root/emailAddress=a@example.org'
openssl x509 -in extended.pem "${der[@]}" "$out/extended.Certificate.der"
openssl rsa -in rsa.key -RSAPublicKey_out "${der[@]}" "$out/rsa.RsaPublicKey.der"
openssl req -new -config openssl.cnf -key signer.key "${der[@]}" "$out/req-attributes.CertificationRequest.der"
openssl req -new -subj /CN=plain -key rsa.key "${der[@]}" "$out/req-plain.CertificationRequest.der"

# Certificate lists: with reasons, an invalidity date and a hold; the change to it; with every extension.
echo 01 >number
list() { # name, issuer, configuration, extensions
  openssl ca -config "$3.cnf" -name list -gencrl -crlexts "$4" -keyfile "$2.key" -cert "$2.pem" -crldays 30 -out "$1.pem"
  openssl crl -in "$1.pem" "${der[@]}" "$out/$1.CertificateList.der"
}
sed 's/index.txt/changes.txt/' openssl.cnf >changes.cnf
list crl ca openssl crl; list crl-delta ca changes delta; list extended extended extended crl
openssl crl2pkcs7 -in crl.pem -certfile ca.pem -certfile signer.pem "${der[@]}" "$out/cms-certificates.ContentInfo.der"

# One function for each word that begins a line of messages.txt
cms() { openssl cms -in text -binary "${der[@]}" "$out/cms-$1" "${@:2}"; }
genconf() { openssl asn1parse -genconf "$2" -noout -out "$out/$1"; }
p12() { # where the legacy algorithms are not installed their container is left out
  openssl pkcs12 -export -inkey signer.key -name 'the key' -caname 'the issuer' -passout pass:secret \
    -out "$out/p12-$1.PFX.der" "${@:2}" || { rm -f "$out/p12-$1.PFX.der"; [ "$1" = legacy ]; }
}
pkcs8() { openssl pkcs8 -topk8 "${der[@]}" "$out/pkcs8-$1.der" "${@:2}"; }
inside() { # file, which OCTET STRING, output
  local file=$1 output=$out/$3 parts
  [ "$file" = safes ] || file=$out/$1
  [ "$3" != safes ] || output=safes
  parts=$(openssl asn1parse -inform DER -in "$file" | sed -n 's/^ *\([0-9]*\):.*OCTET STRING.*/\1/p')
  openssl asn1parse -inform DER -in "$file" -strparse "$(sed -n "$2p" <<<"$parts")" -noout -out "$output"
}
ask() { openssl ocsp -issuer ca.pem -CAfile ca.pem -reqout "$out/ocsp-$1.OCSPRequest.der" "${@:2}"; }
respond() { # name, request, options
  openssl ocsp -index index.txt -CA ca.pem -rsigner signer.pem -rkey signer.key -ndays 7 \
    -reqin "$out/ocsp-$2.OCSPRequest.der" -respout "$out/ocsp-$1.OCSPResponse.der" "${@:3}"
}
exchange() { # name, number of messages each way, options; some end with an error that is to be kept
  local requests=() answers=() i
  for ((i = 1; i <= $2; ++i)); do
    requests+=("$out/cmp-$1-$i.request.PKIMessage.der")
    answers+=("$out/cmp-$1-$i.answer.PKIMessage.der")
  done
  openssl cmp -config '' -use_mock_srv -reqout "${requests[*]}" -rspout "${answers[*]}" -rsp_cert signer.pem \
    -recipient /CN=ca "${@:3}" || [ -s "${answers[-1]}" ]
}
cmp() {
  exchange "$@" -srv_cert ca.pem -srv_key ca.key -srv_trusted ca.pem -trusted ca.pem -out_trusted ca.pem \
    -cert signer.pem -key signer.key
}
cmpmac() { exchange "$@" -srv_ref client -srv_secret pass:secret -ref client -secret pass:secret; }
while read -r function options; do
  case $function in '' | '#'*) continue ;; esac
  read -ra words <<<"$options"
  "$function" "${words[@]}" </dev/null
done <messages.txt
printf '0\003\012\001\001' >"$out/ocsp-malformed.OCSPResponse.der"

# What openssl has no command for is put together here: the requests by themselves, a message in a message,
# and requests and an answer in the form that is carried by cryptographic messages.
wrap() { # identifier, files: one element around their octets
  local tag=$1 len
  shift
  len=$(cat "$@" | wc -c)
  if ((len < 128)); then printf "\\x$tag\\x$(printf %02x $len)"
  elif ((len < 256)); then printf "\\x$tag\\x81\\x$(printf %02x $len)"
  else printf "\\x$tag\\x82\\x$(printf %02x $((len >> 8)))\\x$(printf %02x $((len & 255)))"; fi
  cat "$@"
}
request=$out/cmp-ir-1.request.PKIMessage.der
part() { openssl asn1parse -inform DER -in "$request" -strparse "$1" -noout -out "$2"; }
part "$(openssl asn1parse -inform DER -in "$request" |
  sed -n '/:d=1 .*cont \[ 0 \]/ { n; s/^ *\([0-9]*\):.*/\1/p; q }')" "$out/cmp-ir.CertReqMessages.der"
part 4 header
wrap 30 "$request" "$out/cmp-rr-1.request.PKIMessage.der" >messages
wrap b4 messages >nested
wrap 30 header nested >"$out/cmp-nested.PKIMessage.der"
printf '\x02\x01\x07' >id
wrap a0 id "$out/req-plain.CertificationRequest.der" >tcr
{ printf '\xa1'; tail -c +6 "$out/cmp-ir.CertReqMessages.der"; } >crm
wrap 30 tcr crm >requests
wrap 30 id "$out/cms-attached.ContentInfo.der" >content
wrap 30 content >contents
conf() { openssl asn1parse -genconf "$1.conf" -noout -out "$1"; }
conf controls; conf others; conf status
wrap 30 controls requests contents others >"$out/cmc.PKIData.der"
printf '\x30\x00' >none
wrap 30 status contents none >"$out/cmc.ResponseBody.der"
