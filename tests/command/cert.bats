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

@test "cert print: fingerprints, and what has no name here" {
  run -0 "$KXCERT" cert print odd.pem
  [[ $output == *'Serial Number, negative: -80'*'Signature Algorithm OID: 1.2.840.113549.1.1.10'* ]]
  [[ $output == *$'Critical extension 1.2.3.4:\n\t04 01 00 \n\tExtension 2.5.29.32:\n\t30 06 30 04 '* ]]
  whole=$(openssl x509 -in odd.pem -outform DER | sha256sum)
  key=$(openssl x509 -in odd.pem -noout -pubkey | openssl pkey -pubin -outform DER | sha256sum)
  [[ $output == *"SHA-256 of the certificate: ${whole%% *}"*"SHA-256 of the SubjectPublicKeyInfo: ${key%% *}" ]]
  run -0 "$KXCERT" cert print --json odd.pem
  [ "$(json '[d["objects"][0][k] for k in ("serial", "signatureOid", "spkiSha256")]')" = \
    "['-80', '1.2.840.113549.1.1.10', '${key%% *}']" ]
  echo -80 >list
  run -1 "$KXCERT" chain verify --trust odd.pem --blacklist list odd.pem
  run -3 "$KXCERT" cert print ed.pem
  [[ $output == *'Not RSA key (1.3.101.112)'* ]]
}

@test "cert print: a CRL by level, its extensions and reasons" {
  run -0 "$KXCERT" cert print --level brief scoped.crl
  [[ ${#lines[@]} -eq 3 && ${lines[2]} == *'Revoked Certificates: 1' ]]
  run -0 "$KXCERT" cert print scoped.crl
  [[ $output == *'Unhandled critical extension 2.5.29.28'*'CRL Number: 1000'*'Key Id: '*'Only some reasons'* ]]
  [[ $output == *'reasons only: keyCompromise superseded'*'abcd Revoked: '*' Reason: superseded'*'Extension 2.5.29.46:'* ]]
  [[ $output != *'Extension 2.5.29.20'* ]]
  run -0 "$KXCERT" cert print --json scoped.crl
  [ "$(json 'd["objects"][0]["number"], d["objects"][0]["issuingDistributionPoint"]["onlySomeReasons"]')" = "('1000', True)" ]
}

@test "cert print: a file of markers is read in a time that its length justifies" {
  yes -- '-----BEGIN A-----' | head -100000 >markers
  run -3 timeout 60 "$KXCERT" cert print markers
  [ "${#lines[@]}" -eq 51 ]
  [[ $output == *'markers line 50: the PEM block has no end'*'markers: 99950 more parts passed over' ]]
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

@test "cert print: containers, encodings behind one another, files joined on a line" {
  openssl crl2pkcs7 -in evil.crl -certfile "$chain/leaf.pem" -out both.p7b
  cat leaf.der evil.crl.der >several.der
  { printf '%s' "$(cat "$chain/leaf.pem")"; cat "$chain/root.pem"; } >joined.pem
  run -0 "$KXCERT" cert print --json both.p7b several.der joined.pem
  [ "$(json '" ".join(o["kind"] for o in d["objects"])')" = 'certificate crl certificate crl certificate certificate' ]
  [ "$(json '[o["input"] for o in d["objects"]][:4:2]')" = "['both.p7b line 1 item 1', 'several.der']" ]
}

@test "cert print waits for no pipe; a file's name forges no line" {
  mkfifo pipe
  run -3 timeout 20 "$KXCERT" cert print pipe
  [[ $output == *'pipe: is a pipe or a device, not a file' ]]
  run -0 "$KXCERT" cert print <(cat leaf.der)
  cp leaf.der $'a\nb'
  run -0 "$KXCERT" cert asn1 Certificate --check $'a\nb'
  [ "${#lines[@]}" -eq 1 ]
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
