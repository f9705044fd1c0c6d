# kxcert req, cert issue and cert renew, with the openssl command on the other side.
setup_file() {
  load support
  cd "$BATS_FILE_TMPDIR"
  keys=$BATS_TEST_DIRNAME/../data/keys
  cp "$keys/p384-a.pem" root.key
  cp "$keys/p256-a.pem" ca.key
  cp "$keys/p256-b.pem" gw.key
  cp "$keys/rsa2048.pem" rsa.key
  "$KXCERT" cert issue --profile root --key root.key --subject CN=Root,O=Example --not-before 2026-01-01 \
    --not-after 2060-01-01 --out root.pem
  "$KXCERT" cert issue --profile sub-ca --public-key ca.key --subject CN=CA,O=Example --issuer-cert root.pem \
    --issuer-key root.key --not-before 2026-01-01 --not-after 2050-06-01 --crl-uri http://crl.example/root.crl --out ca.pem
  "$KXCERT" req new --key gw.key --subject CN=gw.example,O=Example --san dns:gw.example --san ip:192.0.2.1 --out gw.csr
}

setup() {
  load support
  keys=$BATS_TEST_DIRNAME/../data/keys
  by_root='--issuer-cert root.pem --issuer-key root.key'
  by_ca='--issuer-cert ca.pem --issuer-key ca.key'
}

# Of a certificate, as openssl has it.
all_but_number_and_dates() { openssl x509 -in "$1" -noout -text -certopt no_header,no_serial,no_validity,no_sigdump; }
extensions_of() { # without key identifiers
  all_but_number_and_dates "$1" | sed -n '/extensions:/,$p' | sed '/Key Identifier/,+1d' | tr -s ' \n' ' '
}

@test "req: made for openssl, read from openssl, refused" {
  for key in rsa2048 p256-a p384-a p521-a; do play req; done
}

@test "cert issue: profiles, validity, requests" { play issue; }

@test "cert renew: the same once more" { play renew; }

@test "a small CA, as the example sets it up" {
  # shellcheck disable=SC2030
  export KXCERT
  run -0 "$BATS_TEST_DIRNAME/../../examples/small-ca.sh" "$BATS_TEST_TMPDIR/ca"
  [[ $output == *'All is as it should be'* ]]
  [ "$(grep -c '^+ kxcert' <<<"$output")" -eq 13 ] # lines with loops count for each turn
  cd "$BATS_TEST_TMPDIR/ca"
  [ "$(stat -c %a root.key ca.key gateway.key password | sort -u)" = 600 ]
  verify=(openssl verify -x509_strict -crl_check_all -CAfile root.pem -CRLfile root.crl -CRLfile ca.crl -untrusted ca.pem)
  run -0 "${verify[@]}" gateway.pem
  run -2 "${verify[@]}" client.pem
  [[ $output == *'certificate revoked'* ]]
  run -1 "$BATS_TEST_DIRNAME/../../examples/small-ca.sh" "$BATS_TEST_TMPDIR/ca"
  "$KXCERT" key show root.key --password file:password   # which the second try left alone
}
