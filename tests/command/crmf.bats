# kxcert crmf new and show, with the openssl command on the other side.
load support

setup() {
  data=$BATS_TEST_DIRNAME/../data
  samples=$data/enroll
  key=$data/keys/rsa2048.pem
  cd "$BATS_TEST_TMPDIR"
}

# Puts a request into a CMP message: an ir without protection.
in_cmp() {
  python3 - "$1" <<'P'
import sys
def tlv(tag, *parts):
    body = b''.join(parts)
    length = bytes([len(body)]) if len(body) < 128 else b'\x82' + len(body).to_bytes(2, 'big')
    return bytes([tag]) + length + body
def name(text):
    return tlv(0xA4, tlv(0x30, tlv(0x31, tlv(0x30, b'\6\3\x55\4\3', tlv(0x0C, text)))))
header = tlv(0x30, b'\2\1\2', name(b'asker'), name(b'server'), tlv(0xA4, tlv(4, bytes(16))), tlv(0xA5, tlv(4, bytes(16))))
with open(sys.argv[1], 'rb') as request:
    sys.stdout.buffer.write(tlv(0x30, header, tlv(0xA0, tlv(0x30, request.read()))))
P
}

# Hands it to the command's own server, which checks the proof of possession, and wants a certificate for it.
serve() {
  [ -f issued.pem ] || openssl req -x509 -key "$key" -subj /CN=issued -out issued.pem
  openssl cmp -cmd ir -newkey "$key" -subject /CN=asker -recipient /CN=server -ref 1 -secret pass:secret \
    -unprotected_requests -unprotected_errors -reqin "$1" -reqin_new_tid -use_mock_srv -srv_ref 1 -srv_secret pass:secret \
    -accept_unprotected -rsp_cert issued.pem -disable_confirm -certout got.pem
}

@test "crmf show: requests of openssl cmp are accepted, and told" {
  run -0 "$KXCERT" crmf show "$samples/ir.der" "$samples/cr.der" "$samples/kur.der"
  is_visible "$output"
  [[ $output == *'Subject: CN=asker,O=Example'*'DNS: asker.example'*'ir.der ir: accepted'* ]]
  [[ $output == *'cr.der cr: accepted'*'Old Certificate: serial number 0080010203040506'*'kur.der kur: accepted'* ]]
}

@test "crmf show: what is refused comes with its text, and the exit code says no" {
  run -1 "$KXCERT" crmf show "$samples/ir.der" "$samples/noPop.der"
  [[ $output == *'ir.der ir: accepted'*'noPop.der ir: refused: Illegal certificate application. Application'*'(Error no. -110).' ]]
  run -1 --separate-stderr "$KXCERT" crmf show --json "$samples/dsa.der"
  [ "$(json "[(m['accepted'], m['status'], m['carrier'], m['refusal']) for m in d['messages']]")" = \
    "[(False, -1, 'ir', 'Internal CA does not support DSA signature algorithm. \\nFailed to create certificate.')]" ]
  run -3 "$KXCERT" crmf show "$samples/old.pem"
  [[ $output == *'no certificate request message' ]]
}

@test "crmf new: openssl cmp's server takes the request, and none with an octet changed" {
  "$KXCERT" crmf new --key "$key" --subject CN=ours,O=Example --san DNS:ours.example --san IP:2001:db8::1 --form der >ours.der
  in_cmp ours.der >ours.cmp
  serve ours.cmp
  cmp got.pem issued.pem
  rm got.pem
  python3 -c 'd = bytearray(open("ours.der", "rb").read()); d[-1] ^= 1; open("changed.der", "wb").write(d)'
  in_cmp changed.der >changed.cmp
  run serve changed.cmp
  [ ! -e got.pem ]
  [[ $output == *badPOP* ]]
  run -0 "$KXCERT" crmf show ours.cmp
  run -1 "$KXCERT" crmf show changed.cmp
}

@test "crmf new: from certificates and requests, as PEM and DER, with the old certificate" {
  "$KXCERT" crmf new --key "$key" --from "$samples/request.der" --old "$samples/old.pem" --key-usage keyAgreement >a.pem
  run -0 "$KXCERT" crmf show a.pem
  [[ $output == *'Subject: CN=request,O=Example'*'DNS: a.example'*'Key Usage: keyAgreement'*'DN: CN=old,O=Example'*accepted ]]
  [[ $output != *digitalSignature* ]]
  "$KXCERT" crmf new --key "$key" --from "$samples/old.pem" --id 5 --form der | {
    run -0 --separate-stderr "$KXCERT" crmf show --json -
    [ "$(json "[(m['requestId'], m['template']['subject'], m['template']['serial'], m['template']['issuer']) for m in d['messages']]")" = \
      "[('05', 'CN=old,O=Example', None, None)]" ]
  }
  run -0 "$KXCERT" crmf new --key "$data/keys/rsa3072.pem" --from "$samples/request.der"
  [[ $output == *'has another key; the request is for the one that signs it'* ]]
  run -3 "$KXCERT" crmf new --key "$key" --from "$key"
  [[ $output == *'neither a certificate nor a certification request'* ]]
}

@test "crmf new: without a subject the password vouches, and is read from where nobody sees it" {
  SECRET=right "$KXCERT" crmf new --key "$key" --password env:SECRET >a.pem
  run -0 "$KXCERT" crmf show --password fd:7 a.pem 7<<<right
  [[ $output == *'signature over the key and a MAC over it, and nothing else'*accepted ]]
  run -1 "$KXCERT" crmf show --password fd:7 a.pem 7<<<wrong
  [[ $output == *'refused: the MAC was made with another password' ]]
  run -1 "$KXCERT" crmf show --password fd:7 "$samples/ir.der" 7<<<right
  [[ $output == *'there is no MAC that a password could have made' ]]
  run -2 "$KXCERT" crmf new --key "$key" --password right
  [[ $output != *right* ]]
  run -2 "$KXCERT" crmf new --key "$key"
  run -3 "$KXCERT" crmf new --key "$data/keys/prime256v1.pem" --subject CN=a --digest md5
  [[ $output == *"couldn't find the oid of md type: 1"* ]]
}
