#!/usr/bin/env bash
# Writes messages made by openssl into the folder named: NAME.TYPE.der, or NAME.TYPE.ber where openssl
# streams and so writes indefinite lengths. Keys, times and nonces differ every time.
set -euo pipefail
out=$(cd "$1" && pwd)
work=$(mktemp -d)
cd "$work"
exec 3>&2 >talk 2>&1   # shown when a program fails
trap 'rc=$?; [ $rc -eq 0 ] || cat talk >&3; rm -rf "$work"' EXIT

cat >cnf <<'CNF'
[req]
distinguished_name = dn
attributes = attributes
req_extensions = asked
string_mask = utf8only
prompt = no
[dn]
C = DE
CN = applicant
[attributes]
challengePassword = password
unstructuredName = a name
[asked]
subjectAltName = DNS:gateway.example.com
keyUsage = digitalSignature
[ca]
default_ca = list
[list]
database = index.txt
crlnumber = number
default_md = sha256
[crl]
authorityKeyIdentifier = keyid
[delta]
authorityKeyIdentifier = keyid
2.5.29.27 = critical, DER:020101
issuingDistributionPoint = critical, @point
[point]
fullname = URI:http://pki.example.com/ca.crl
onlyuser = TRUE
[issuer]
basicConstraints = critical, CA:TRUE
subjectKeyIdentifier = hash
keyUsage = keyCertSign, cRLSign, digitalSignature
[leaf]
subjectKeyIdentifier = hash
authorityKeyIdentifier = keyid
keyUsage = digitalSignature, keyEncipherment, keyAgreement
extendedKeyUsage = OCSPSigning, emailProtection
CNF
printf 'Whoever reads this has decoded it.\n' >text

# Certificates: ca signs signer (EC), second (EC) and rsa.
ec() { openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$1.key"; }
issue() { # name serial
  openssl req -new -config cnf -key "$1.key" -subj "/C=DE/O=Example/CN=$1" -out "$1.csr"
  openssl x509 -req -in "$1.csr" -CA ca.pem -CAkey ca.key -set_serial "$2" -days 3650 -extfile cnf \
    -extensions leaf -out "$1.pem"
}
ec ca; ec signer; ec second
openssl genpkey -algorithm RSA -pkeyopt rsa_keygen_bits:1024 -out rsa.key
openssl req -x509 -config cnf -key ca.key -subj '/C=DE/O=Example/CN=ca' -days 3650 -set_serial 1 \
  -extensions issuer -out ca.pem
issue signer 0x1001; issue second 0x1002; issue rsa 0x7fffffffffffffff
openssl x509 -in signer.pem -outform DER -out "$out/certificate.Certificate.der"

# Certificate list with reasons, an invalidity date and a hold; and the change to it.
{ printf 'R\t400101000000Z\t260101000000Z,keyCompromise\t1002\tunknown\t/CN=second\n'
  printf 'R\t400101000000Z\t260102000000Z,CAkeyTime,20251231120000Z\t0B\tunknown\t/CN=x\n'
  printf 'R\t400101000000Z\t260103000000Z,holdInstruction,1.2.840.10040.2.2\t0C\tunknown\t/CN=y\n'
  printf 'V\t400101000000Z\t\t1001\tunknown\t/CN=signer\n'; } >index.txt
echo 01 >number
openssl ca -config cnf -gencrl -crlexts crl -keyfile ca.key -cert ca.pem -crldays 30 -out crl.pem
openssl crl -in crl.pem -outform DER -out "$out/crl.CertificateList.der"
printf 'R\t400101000000Z\t260103000000Z,removeFromCRL\t0C\tunknown\t/CN=y\n' >changes.txt
sed 's/index.txt/changes.txt/' cnf >cnf-changes
openssl ca -config cnf-changes -gencrl -crlexts delta -keyfile ca.key -cert ca.pem -crldays 1 -out delta.pem
openssl crl -in delta.pem -outform DER -out "$out/crl-delta.CertificateList.der"

# Cryptographic messages
cms() { local name=$1; shift; openssl cms -in text -binary -outform DER -out "$out/cms-$name" "$@"; }
by=(-signer signer.pem -inkey signer.key)
cms attached.ContentInfo.der -sign -nodetach "${by[@]}"
cms detached.ContentInfo.der -sign "${by[@]}"
cms two-signers.ContentInfo.der -sign -nodetach -keyid -signer second.pem -inkey second.key \
  -signer rsa.pem -inkey rsa.key -keyopt rsa_padding_mode:pss -certfile ca.pem
cms bare.ContentInfo.der -sign -nocerts -noattr "${by[@]}"
cms receipt.ContentInfo.der -sign -nodetach "${by[@]}" -receipt_request_to a@example.com -receipt_request_all
cms attached-streamed.ContentInfo.ber -sign -stream -nodetach "${by[@]}"
cms rsa.ContentInfo.der -encrypt -aes128 rsa.pem
cms rsa-oaep.ContentInfo.der -encrypt -aes256 -keyid -recip rsa.pem -keyopt rsa_padding_mode:oaep
cms ec.ContentInfo.der -encrypt -aes128 -recip signer.pem -recip second.pem
cms password.ContentInfo.der -encrypt -aes128 -pwri_password secret
cms kek.ContentInfo.der -encrypt -aes128 -secretkey 000102030405060708090A0B0C0D0E0F -secretkeyid C0FEE0
cms mixed.ContentInfo.der -encrypt -aes128 -pwri_password secret -recip rsa.pem -recip signer.pem
cms rsa-streamed.ContentInfo.ber -encrypt -stream -aes128 rsa.pem
cms encrypted.ContentInfo.der -EncryptedData_encrypt -aes128 -secretkey 000102030405060708090A0B0C0D0E0F
cms digested.ContentInfo.der -digest_create
cms data.ContentInfo.der -data_create
cms unregistered.ContentInfo.der -encrypt -aes-128-gcm rsa.pem
openssl crl2pkcs7 -in crl.pem -certfile ca.pem -certfile signer.pem -outform DER -out "$out/cms-certificates.ContentInfo.der"
printf '%s\n' 'asn1=SEQUENCE:c' '[c]' 'type=OID:1.2.840.113549.1.9.16.1.9' 'content=EXP:0,SEQUENCE:d' '[d]' \
  'version=INTEGER:0' 'algorithm=SEQUENCE:a' 'content=SEQUENCE:e' '[a]' 'type=OID:1.2.840.113549.1.9.16.3.8' \
  '[e]' 'type=OID:1.2.840.113549.1.7.1' 'value=EXP:0,FORMAT:HEX,OCTETSTRING:789C4B04000062006200' >compressed
openssl asn1parse -genconf compressed -noout -out "$out/cms-compressed.ContentInfo.der"

# Key files. Where the legacy algorithms are not installed their container is left out.
p12() { local name=$1; shift; openssl pkcs12 -export -in signer.pem -inkey signer.key -certfile ca.pem \
  -name 'the key' -caname 'the issuer' -passout pass:secret -out "$out/p12-$name.PFX.der" "$@"; }
p12 current
p12 current-nomac -nomac
p12 plain -keypbe NONE -certpbe NONE
p12 3des -keypbe PBE-SHA1-3DES -certpbe PBE-SHA1-3DES -macalg sha1
openssl pkcs12 -export -nocerts -inkey signer.key -name 'the key' -passout pass:secret -out "$out/p12-key.PFX.der"
p12 legacy -legacy || rm -f "$out/p12-legacy.PFX.der"
parts() { openssl asn1parse -inform DER -in "$1" | sed -n 's/^ *\([0-9]*\):.*OCTET STRING.*/\1/p'; }
inside() { # file, which OCTET STRING, output
  openssl asn1parse -inform DER -in "$1" -strparse "$(parts "$1" | sed -n "$2p")" -noout -out "$3"
}
inside "$out/p12-plain.PFX.der" 1 "$out/p12-plain.AuthenticatedSafes.der"
inside "$out/p12-plain.AuthenticatedSafes.der" 1 "$out/p12-certs.SafeContents.der"
inside "$out/p12-plain.AuthenticatedSafes.der" 2 "$out/p12-key.SafeContents.der"
inside "$out/p12-current.PFX.der" 1 "$out/p12-current.AuthenticatedSafes.der"
inside "$out/p12-key.PFX.der" 1 safes
inside safes 1 "$out/p12-shrouded.SafeContents.der"
pkcs8() { local name=$1; shift; openssl pkcs8 -topk8 -in "$1" -outform DER -out "$out/pkcs8-$name.der" "${@:2}"; }
pkcs8 ec.PrivateKeyInfo signer.key -nocrypt
pkcs8 rsa.PrivateKeyInfo rsa.key -nocrypt
pkcs8 pbes2.EncryptedPrivateKeyInfo rsa.key -passout pass:secret
pkcs8 pbe.EncryptedPrivateKeyInfo signer.key -passout pass:secret -v1 PBE-SHA1-3DES
openssl rsa -in rsa.key -RSAPublicKey_out -outform DER -out "$out/rsa.RsaPublicKey.der"

# Certification requests
openssl req -new -config cnf -key signer.key -outform DER -out "$out/req-attributes.CertificationRequest.der"
openssl req -new -subj /CN=plain -key rsa.key -outform DER -out "$out/req-plain.CertificationRequest.der"

# Certificate status
issuer=(-issuer ca.pem -CAfile ca.pem)
openssl ocsp "${issuer[@]}" -serial 0x1001 -serial 0x1002 -serial 0x77 -reqout "$out/ocsp-three.OCSPRequest.der"
openssl ocsp "${issuer[@]}" -sha256 -serial 0x1001 -no_nonce -reqout "$out/ocsp-plain.OCSPRequest.der"
openssl ocsp "${issuer[@]}" -serial 0x1001 -signer second.pem -signkey second.key \
  -reqout "$out/ocsp-signed.OCSPRequest.der"
respond() { # request, name, options
  openssl ocsp -index index.txt -CA ca.pem -rsigner signer.pem -rkey signer.key -ndays 7 \
    -reqin "$out/ocsp-$1.OCSPRequest.der" -respout "$out/ocsp-$2.OCSPResponse.der" "${@:3}"
}
respond three three -rother ca.pem
respond plain plain -resp_key_id
respond plain bare -resp_no_certs
inside "$out/ocsp-three.OCSPResponse.der" 1 "$out/ocsp-three.BasicOCSPResponse.der"
inside "$out/ocsp-bare.OCSPResponse.der" 1 "$out/ocsp-bare.BasicOCSPResponse.der"
printf '0\003\012\001\001' >"$out/ocsp-malformed.OCSPResponse.der"

# Certificate management: each exchange with openssl's own server, messages numbered from 1.
cmp() { # name, number of messages each way, options
  local requests=() answers=() i
  for ((i = 1; i <= $2; ++i)); do
    requests+=("$out/cmp-$1-$i.request.PKIMessage.der")
    answers+=("$out/cmp-$1-$i.answer.PKIMessage.der")
  done
  openssl cmp -config '' -use_mock_srv -reqout "${requests[*]}" -rspout "${answers[*]}" "${server[@]}" "${@:3}"
}
server=(-srv_cert ca.pem -srv_key ca.key -srv_trusted ca.pem -trusted ca.pem -rsp_cert signer.pem
        -recipient '/CN=ca' -out_trusted ca.pem)
own=(-cert signer.pem -key signer.key)
new=(-newkey second.key -subject '/CN=wanted' -certout got.pem)
cmp ir 2 -cmd ir "${own[@]}" "${new[@]}" -sans gateway.example.com -policy_oids 1.2.3.4 -days 100 -newkey signer.key
cmp cr 1 -cmd cr "${own[@]}" "${new[@]}" -newkey signer.key -implicit_confirm -grant_implicitconf \
  -rsp_extracerts second.pem -rsp_capubs ca.pem
cmp kur 2 -cmd kur "${own[@]}" -newkey signer.key -oldcert signer.pem -certout got.pem
cmp p10cr 2 -cmd p10cr "${own[@]}" -csr signer.csr -certout got.pem
cmp rr 1 -cmd rr "${own[@]}" -oldcert signer.pem -revreason 1
cmp genm 1 -cmd genm "${own[@]}" -infotype signKeyPairTypes
cmp refused 1 -cmd cr "${own[@]}" "${new[@]}" -send_error || true
cmp rejected 1 -cmd cr "${own[@]}" "${new[@]}" -pkistatus 2 -failure 9 -statusstring 'not today' || true
cmp poll 2 -cmd cr "${own[@]}" "${new[@]}" -newkey signer.key -poll_count 1 -check_after 1 -implicit_confirm -grant_implicitconf
server=(-srv_ref client -srv_secret pass:secret -rsp_cert signer.pem -recipient '/CN=ca')
cmp mac 1 -cmd cr -ref client -secret pass:secret -newkey signer.key -subject '/CN=wanted' -certout got.pem \
  -implicit_confirm -grant_implicitconf -unprotected_errors
# The requests by themselves: the SEQUENCE OF inside the body's tag.
request=$out/cmp-ir-1.request.PKIMessage.der
body=$(openssl asn1parse -inform DER -in "$request" |
  sed -n '/:d=1 .*cont \[ 0 \]/ { n; s/^ *\([0-9]*\):.*/\1/p; q }')
openssl asn1parse -inform DER -in "$request" -strparse "$body" -noout -out "$out/cmp-ir.CertReqMessages.der"

# What openssl has no command for is put together here: a message in a message, and requests and an
# answer in the form that is carried by cryptographic messages.
wrap() { # identifier, files: one element around their octets
  local tag=$1 len
  shift
  len=$(cat "$@" | wc -c)
  if ((len < 128)); then printf "\\x$tag\\x$(printf %02x $len)"
  elif ((len < 256)); then printf "\\x$tag\\x81\\x$(printf %02x $len)"
  else printf "\\x$tag\\x82\\x$(printf %02x $((len >> 8)))\\x$(printf %02x $((len & 255)))"; fi
  cat "$@"
}
conf() { printf '%s\n' "$@" >conf; openssl asn1parse -genconf conf -noout -out /dev/stdout; }
openssl asn1parse -inform DER -in "$request" -strparse 4 -noout -out header
wrap 30 "$request" "$out/cmp-rr-1.request.PKIMessage.der" >messages
wrap b4 messages >nested
wrap 30 header nested >"$out/cmp-nested.PKIMessage.der"

printf '\x02\x01\x07' >id
wrap a0 id "$out/req-plain.CertificationRequest.der" >tcr
{ printf '\xa1'; tail -c +6 "$out/cmp-ir.CertReqMessages.der"; } >crm
wrap 30 tcr crm >requests
wrap 30 id "$out/cms-attached.ContentInfo.der" >content
wrap 30 content >contents
conf 'asn1=SEQUENCE:all' '[all]' 'a=SEQUENCE:a' 'b=SEQUENCE:b' 'c=SEQUENCE:c' \
  '[a]' 'id=INTEGER:1' 'type=OID:1.3.6.1.5.5.7.7.2' 'values=SET:av' '[av]' 'v=UTF8:who asks' \
  '[b]' 'id=INTEGER:2' 'type=OID:1.3.6.1.5.5.7.7.3' 'values=SET:bv' '[bv]' 'v=FORMAT:HEX,OCT:0102030405060708' \
  '[c]' 'id=INTEGER:3' 'type=OID:1.3.6.1.5.5.7.7.5' 'values=SET:cv' '[cv]' 'v=INTEGER:123456789012345' >controls
conf 'asn1=SEQUENCE:all' '[all]' 'm=SEQUENCE:m' '[m]' 'id=INTEGER:4294967295' 'type=OID:1.2.3.4' 'value=UTF8:x' >others
wrap 30 controls requests contents others >"$out/cmc.PKIData.der"
conf 'asn1=SEQUENCE:all' '[all]' 's=SEQUENCE:s' '[s]' 'id=INTEGER:1' 'type=OID:1.3.6.1.5.5.7.7.1' 'values=SET:v' \
  '[v]' 'f=SEQUENCE:f' 'p=SEQUENCE:p' '[f]' 'status=INTEGER:2' 'list=SEQUENCE:ids' 'text=UTF8:no' 'info=INTEGER:2' \
  '[p]' 'status=INTEGER:3' 'list=SEQUENCE:ids' 'info=SEQUENCE:pend' '[ids]' 'a=INTEGER:7' 'b=INTEGER:8' \
  '[pend]' 'token=FORMAT:HEX,OCT:0A0B' 'time=GENTIME:20300101000000Z' >controls
printf '\x30\x00' >none
wrap 30 controls contents none >"$out/cmc.ResponseBody.der"
