# kxcert ocsp print and ask, with openssl's responder on the other side.
load support

# CA, certificates of it that are good (1), revoked (2) and not in its index (3), responders.
setup() {
  cd "$BATS_TEST_TMPDIR"
  issue ca ca /CN=ca,O=Example 'basicConstraints = critical, CA:TRUE' 'keyUsage = critical, keyCertSign, cRLSign'
  issue other other /CN=other 'basicConstraints = critical, CA:TRUE'
  for name in good revoked unlisted; do issue $name ca /CN=$name 'authorityInfoAccess = OCSP;URI:http://127.0.0.1:9/'; done
  issue delegate ca /CN=delegate 'extendedKeyUsage = OCSPSigning' 'noCheck = ignored'
  issue checked ca /CN=checked 'extendedKeyUsage = OCSPSigning'
  issue server ca /CN=server 'extendedKeyUsage = serverAuth'
  issue stranger other /CN=stranger 'extendedKeyUsage = OCSPSigning'
  index V '' good
  index R '251201000000Z,keyCompromise' revoked
}

index() {
  printf '%s\t%s\t%s\t%s\tunknown\t/CN=%s\n' "$1" 350101000000Z "$2" \
    "$(openssl x509 -in "$3.pem" -noout -serial | cut -d= -f2)" "$3" >>index
}

# Answers the request req.der: respond SIGNER [OPTION]...
respond() {
  openssl ocsp -index index -CA ca.pem -rsigner "$1.pem" -rkey "$1.key" -reqin req.der -respout resp.der "${@:2}"
}

ask() { "$KXCERT" ocsp ask --issuer ca.pem "$@"; }

@test "ocsp ask: what openssl's responder says of its request, signed by whom" {
  while read -r code name signer words; do
    ask --force --request-out req.der $name.pem
    respond $signer -ndays 1
    run -$code ask --response resp.der $name.pem
    is_visible "$output"
    [[ $output == "$name.pem line 1: $words"* ]] || { echo "$name $signer: $output"; false; }
  done <<'CASES'
0 good ca good
1 revoked ca revoked
1 unlisted ca unknown to the responder
0 good delegate good
1 revoked delegate revoked
0 good checked good, if the responder's certificate is not revoked; that was not checked
1 good server the response is signed by none who may speak for the issuer: its signer's certificate is not for OCSP signing
1 good stranger the response is signed by none who may speak for the issuer: its signer's certificate is another issuer's
CASES
  respond server
  run -0 ask --responder server.pem --response resp.der good.pem
  [[ $output == *'Signed by: the certificate that is configured'* ]]
}

@test "ocsp ask: several in one request, SHA-256, one another's answer, yesterday's answer" {
  ask --request-out req.der --sha256 good.pem revoked.pem
  [ "$(openssl ocsp -reqin req.der -req_text | grep -c 'Hash Algorithm: sha256')" -eq 2 ]
  respond delegate -ndays 1
  run -1 --separate-stderr ask --json --response resp.der good.pem revoked.pem
  [ "$(json "[(a['text'], a['signer'][:13], a['signerChecked'], a.get('reason')) for a in d['answers']]")" = \
    "[('good', 'a certificate', True, None), ('revoked', 'a certificate', True, 'keyCompromise')]" ]
  run -1 ask --response resp.der unlisted.pem
  [[ $output == *'the response is not about this certificate'* ]]
  run -1 ask --response resp.der --at 2034-12-31 good.pem
  [[ $output == *'the response is out of date'* ]]
  respond ca -resp_no_certs
  run -1 ask --response resp.der --at 2034-12-31 good.pem
  [[ $output == *'says nothing of its end and is too old'* ]]
  run -3 "$KXCERT" ocsp ask --issuer other.pem --response resp.der good.pem
  [[ $output == *'none of the certificates of --issuer signed it'* ]]
}

@test "ocsp ask: nonces go out; a network needs a fetcher" {
  ask --request-out req.der --nonce require good.pem
  [[ $(openssl ocsp -reqin req.der -req_text) == *'OCSP Nonce'* ]]
  run -3 ask --request-out req.der good.pem
  [[ $output == *'is there already'* ]]
  run -2 ask --nonce send --response resp.der good.pem
  run -2 ask --url file:///etc/passwd good.pem
  run -2 ask --out a good.pem revoked.pem
  run -1 ask server.pem
  [[ $output == *'no responder is named'* ]]
}

@test "ocsp print: every field, and nothing that was not checked" {
  ask --request-out req.der --nonce send revoked.pem
  respond delegate -ndays 1
  run -0 "$KXCERT" ocsp print resp.der
  is_visible "$output"
  [[ $output == *'Response Status: successful'*'Responder: CN=delegate'*'Extension: 1.3.6.1.5.5.7.48.1.2 (ocspNonce): 0420'* ]]
  [[ $output == *'Status: revoked'*'Revoked: 2025-12-01 00:00:00 UTC'*'Reason: keyCompromise'*'Subject: CN=delegate'* ]]
  [[ $output == *'Signature: not checked'* ]]
  run -0 --separate-stderr "$KXCERT" ocsp print --json resp.der
  serial=$(openssl x509 -in revoked.pem -noout -serial | cut -d= -f2)
  [ "$(json "d['objects'][0]['responses'][0]['serial'].upper(), d['objects'][0]['signature']")" = \
    "('$serial', 'not checked')" ]
  printf '\x30\x03\x0a\x01\x06' | {
    run -0 "$KXCERT" ocsp print -
    [[ $output == *'Response Status: unauthorized'* ]]
  }
  run -3 "$KXCERT" ocsp print req.der
  [[ $output == *'not an OCSP response'* ]]
}
