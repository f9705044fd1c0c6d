setup_file() {
  load support
  cd "$BATS_FILE_TMPDIR"
  {
    issue evil evil $'/O=Example/CN=a\x1b[31mred' 'subjectAltName = DNS:xESCx.example.net' \
      'basicConstraints = critical, CA:TRUE' 'keyUsage = critical, cRLSign, keyCertSign'
    # Lengths stay as they are: an escape sequence and a line of its own in the alternative name.
    der_of evil.pem | LC_ALL=C sed 's/xESCx/\x1b[2J\x0a/' >evil.der
    der_of "$chain/leaf.pem" >leaf.der
    printf '{ASN}%s\n' "$(python3 -c 'import sys; print(open("leaf.der","rb").read()[::-1].hex())')" >leaf.asn
    printf 'R\t350101000000Z\t260101000000Z\tABCD\tunknown\t/CN=x\n' >evil.index
    openssl ca -config evil.cnf -gencrl -crldays 30 -cert evil.pem -keyfile evil.key -out evil.crl
    openssl crl -in evil.crl -outform DER -out evil.crl.der
    { echo 'Some text'; cat "$chain/leaf.pem"; echo 'between'; cat evil.crl "$chain/root.pem"; echo 'the end'; } >mixed.pem
    { cat "$chain/leaf.pem" evil.key; printf '%s\n' '-----BEGIN CERTIFICATE-----' 'AAAA*' '-----END CERTIFICATE-----'
      sed 's/$/\r/' "$chain/root.pem"; sed '$d' "$chain/root.pem"; } >broken.pem
    printf '\x30\x82\x01' >short.der
    sed 's/CERTIFICATE/X509 CRL/' "$chain/leaf.pem" >no.crl
    : >empty
  } >log 2>&1
}

setup() {
  load support
  cd "$BATS_FILE_TMPDIR"
}

@test "cert print: DER, PEM, {ASN} and standard input give the same" {
  run -0 "$KXCERT" cert print leaf.der
  expected=("${lines[@]:1}")
  [[ ${expected[*]} == *'Subject: CN=gateway.example.net,O=Example Organization,C=ZZ'* ]]
  [[ ${expected[*]} == *'DNS: gateway.example.net'* ]]
  for file in "$chain/leaf.pem" leaf.asn; do
    run -0 "$KXCERT" cert print "$file"
    [ "${lines[*]:1}" = "${expected[*]}" ]
  done
  run -0 "$KXCERT" cert print - <leaf.der
  [ "${lines[*]:1}" = "${expected[*]}" ]
}

@test "cert print: levels" {
  run -0 "$KXCERT" cert print --level brief leaf.der
  [ "${#lines[@]}" -eq 2 ]
  run -0 "$KXCERT" cert print --level key leaf.der
  point=$(openssl x509 -in "$chain/leaf.pem" -noout -pubkey | openssl pkey -pubin -outform DER |
    python3 -c 'import sys; print(sys.stdin.buffer.read()[-65:].hex(" "))')
  [[ $(tr -d '\t\n' <<<"$output") == *"$point"* ]]
}

@test "cert print: every block of a PEM file, text around them" {
  run -0 "$KXCERT" cert print --json mixed.pem
  [ "$(json '[o["kind"] for o in d["objects"]]')" = "['certificate', 'crl', 'certificate']" ]
  [ "$(json '[o["input"] for o in d["objects"]][0]')" = 'mixed.pem line 2' ]
  run -0 "$KXCERT" cert print evil.crl.der
  [[ $output == *'Issuer: CN=#611b5b33316d726564,O=Example'*'Serial Number: 00abcd'* ]]
  run -0 "$KXCERT" cert print --json evil.crl
  [ "$(json 'd["objects"][0]["revoked"]')" = 1 ]
}

@test "cert print: what is good prints, what is broken is told with its line" {
  run -3 --separate-stderr "$KXCERT" cert print --level brief broken.pem missing.pem empty short.der no.crl leaf.der
  [ "$(grep -c Subject: <<<"$output")" -eq 3 ]
  key=$(grep -n 'BEGIN PRIVATE' broken.pem | cut -d: -f1)
  [[ $stderr == *"broken.pem line $key: a PEM block \"PRIVATE KEY\"; passed over"* ]]
  [[ $stderr == *"not Base64"*"has no end"*"missing.pem: cannot be opened"*"empty: is empty"*"short.der: not a usable"*'no.crl line 1: not a CRL'* ]]
  run -3 "$KXCERT" cert print evil.key
  [[ $output == *'neither certificate nor CRL in it'* ]]
}

@test "cert print: no control character and no forged line reaches the terminal" {
  run -0 "$KXCERT" cert print --level key evil.der
  is_visible "$output"
  [[ $output == *'Subject: CN=#611b5b33316d726564,O=Example'* ]]
  run ! grep -q '^.example.net' <<<"$output"
  run -0 "$KXCERT" cert print --json evil.der
  is_visible "$output"
}

@test "cert print: every certificate of the system's roots" {
  run -0 --separate-stderr "$KXCERT" cert print --json "$roots"/*.crt
  set -- "$roots"/*.crt
  [ "$(json 'len(d["objects"])')" -eq $# ]
  run -0 "$KXCERT" cert print --level brief /etc/ssl/certs/ca-certificates.crt
  [ "$(grep -c Subject: <<<"$output")" -eq "$(grep -c BEGIN /etc/ssl/certs/ca-certificates.crt)" ]
}

@test "cert asn1 --check: every certificate of the system's roots encodes as it was" {
  run -0 "$KXCERT" cert asn1 Certificate --check "$roots"/*.crt
  set -- "$roots"/*.crt
  [ "$(grep -c 'identical octets' <<<"$output")" -eq $# ]
}

@test "cert asn1 prints the tree under either name" {
  run -0 "$KXCERT" cert asn1 Certificate leaf.der
  tree=$output
  [[ $tree == *'tbsCertificate'*'serialNumber'*'subjectPublicKeyInfo'* ]]
  run -0 "$KXCERT" cert asn1 sxASN_Certificate "$chain/leaf.pem"
  [ "$output" = "$tree" ]
  run -0 "$KXCERT" cert asn1 CertificateList --check evil.crl
}

@test "cert asn1 --check says where the octets differ first" {
  printf '\x30\x80\x17\x0d250101000000Z\x17\x0d350101000000Z\x00\x00' >validity.ber
  run -1 "$KXCERT" cert asn1 Validity --check validity.ber
  [[ $output == *'differ first at offset 1: 80 was read, 1e is encoded (34 and 32 octets)'* ]]
  run -1 "$KXCERT" cert asn1 Validity --check --json validity.ber
  [ "$(json 'd["values"][0]["identical"], d["values"][0]["firstDifference"]')" = '(False, 1)' ]
}

@test "cert asn1: not that type, no such type" {
  run -3 --separate-stderr "$KXCERT" cert asn1 CertificateList leaf.der
  [[ $stderr == *'leaf.der: not a sxASN_CertificateList: '* ]]
  { cat leaf.der; printf '\x00'; } >longer.der
  run -3 "$KXCERT" cert asn1 Certificate longer.der
  run -2 "$KXCERT" cert asn1 NoSuchType leaf.der
  [[ $output == *'known are '*' TBSCertificate '* ]]
}
