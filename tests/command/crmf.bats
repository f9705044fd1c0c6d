# kxcert crmf new and show, with the openssl command on the other side.
setup() {
  load support
  keys=$BATS_TEST_DIRNAME/../data/keys
  samples=$BATS_TEST_DIRNAME/../data/enroll
  key=$keys/rsa2048.pem
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

@test "crmf: made, judged, carried by openssl cmp" { play crmf; }
