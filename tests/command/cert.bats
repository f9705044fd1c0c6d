setup_file() {
  load support
  cd "$BATS_FILE_TMPDIR"
  {
    issue evil evil $'/O=Example/CN=a\x1b[31mred' 'subjectAltName = DNS:xESCx.example.net' \
      'basicConstraints = critical, CA:TRUE' 'keyUsage = critical, cRLSign, keyCertSign'
    # Lengths stay as they are: an escape sequence and a line of its own in the alternative name.
    der_of evil.pem | LC_ALL=C sed 's/xESCx/\x1b[2J\x0a/' >evil.der
    der_of "$chain/leaf.pem" >leaf.der
    # A negative serial, a signature and extensions without a name here; a CRL with a scope.
    openssl req -x509 -newkey rsa:2048 -nodes -keyout odd.key -out odd.pem -subj /CN=odd -set_serial -0x80 \
      -sigopt rsa_padding_mode:pss -addext 1.2.3.4=critical,DER:040100 -addext certificatePolicies=1.2.3
    openssl req -x509 -newkey ed25519 -nodes -keyout ed.key -out ed.pem -subj /CN=ed
    cat >>evil.cnf <<'CNF'
[scoped]
authorityKeyIdentifier = keyid:always
issuingDistributionPoint = critical, @scope
freshestCRL = URI:http://delta.example/
issuerAltName = DNS:other.example
1.2.3.4 = DER:0500
[scope]
onlysomereasons = keyCompromise, superseded
CNF
    printf '{ASN}%s\n' "$(python3 -c 'import sys; print(open("leaf.der","rb").read()[::-1].hex())')" >leaf.asn
    printf 'R\t350101000000Z\t260101000000Z\tABCD\tunknown\t/CN=x\n' >evil.index
    openssl ca -config evil.cnf -gencrl -crldays 30 -cert evil.pem -keyfile evil.key -out evil.crl
    openssl crl -in evil.crl -outform DER -out evil.crl.der
    printf 'R\t350101000000Z\t260101000000Z,superseded\tABCD\tunknown\t/CN=x\n' >evil.index
    echo 1000 >number
    sed -i 's/^\[c\]/&\ncrlnumber = number/' evil.cnf
    openssl ca -config evil.cnf -gencrl -crlexts scoped -crldays 30 -cert evil.pem -keyfile evil.key -out scoped.crl
    { echo 'Some text'; cat "$chain/leaf.pem"; echo 'between'; cat evil.crl "$chain/root.pem"; echo 'the end'; } >mixed.pem
    { cat "$chain/leaf.pem" evil.key; printf '%s\n' '-----BEGIN CERTIFICATE-----' 'AAAA*' '-----END CERTIFICATE-----'
      sed 's/$/\r/' "$chain/root.pem"; sed '$d' "$chain/root.pem"; } >broken.pem
    printf '\x30\x82\x01' >short.der
    sed 's/CERTIFICATE/X509 CRL/' "$chain/leaf.pem" >no.crl
    : >empty
    # Changes of the same length: terminal sequences in a URI, a negative number of certificates.
    cp "$BATS_TEST_DIRNAME/../data/cert/issued-extensions.der" issued.der
    LC_ALL=C sed 's|cps.example/other|cps.ex\x1b[31m\x0aother|; s|\x80\x01\x00\x81|\x80\x01\xff\x81|' issued.der >issued-evil.der
  } >log 2>&1
}

setup() { load support; }

@test "cert print and asn1: every form, level and fault" { play cert; }
