# kxcert crl print, verify, find and new, with the openssl command on the other side.
load support

setup() {
  cd "$BATS_TEST_TMPDIR"
  issue ca ca '/O=Example/CN=CA' 'basicConstraints = critical,CA:true' 'keyUsage = critical,keyCertSign,cRLSign'
  issue other other '/O=Example/CN=Other' 'basicConstraints = critical,CA:true'
}

# Makes NAME.pem of the CA: crl NAME [option]...
crl() {
  local name=$1
  shift
  [[ " $* " == *' --number '* ]] || set -- --number 10 "$@"
  "$KXCERT" crl new --issuer-cert ca.pem --key ca.key --this-update '2030-01-01' --next-update '2031-01-01' \
    --out "$name.pem" "$@"
}

@test "openssl reads and verifies what crl new makes, in every form" {
  crl one --number 1a --revoke 0abc,2029-05-01,keyCompromise --revoke ff,2051-01-01 --revoke a1b2c3d4e5f60718
  run -0 openssl crl -in one.pem -CAfile ca.pem -noout -text
  [[ $output == *'verify OK'* && $output == *'Version 2'* && $output == *'Jan  1 00:00:00 2031 GMT'* ]]
  [[ $output == *$'Serial Number: 0ABC\n        Revocation Date: May  1 00:00:00 2029 GMT'*'Key Compromise'* ]]
  [[ $output == *$'Serial Number: FF\n        Revocation Date: Jan  1 00:00:00 2051 GMT'* ]]
  [[ $output == *'Serial Number: A1B2C3D4E5F60718'* && $output == *'Authority Key Identifier'* ]]
  crl two --from one.pem --number 1b --unrevoke ff --revoke 10,2029-06-01,certificateHold --digest sha512 --form der
  run -0 openssl crl -inform DER -in two.pem -CAfile ca.pem -noout -text
  [[ $output == *'verify OK'* && $output != *'Serial Number: FF'* && $output == *'Certificate Hold'* ]]
  [[ $output == *'ecdsa-with-SHA512'* ]]
  crl none
  run -0 openssl crl -in none.pem -CAfile ca.pem -noout -text
  [[ $output == *'No Revoked Certificates'* ]]
}

@test "crl new refuses what would be no CRL of that issuer" {
  crl one --number 1 --revoke 05
  local ca=(--issuer-cert ca.pem --key ca.key --next-update 2031-01-01)
  run -2 "$KXCERT" crl new "${ca[@]}" --from one.pem
  [[ $output == *'one.pem'*'has the number 01: give --number'* ]]
  run -2 "$KXCERT" crl new "${ca[@]}" --delta-base 1
  [[ $output == *'give --number: every CRL has one'* ]]
  run -3 crl again --from one.pem --number 2 --revoke 05
  [[ $output == *'is in the list already'* ]]
  run -3 crl again --unrevoke 05
  [[ $output == *'is not in the list'* ]]
  run -2 crl again --revoke 05,2030-01-01,bored
  [[ $output == *'unknown reason'* ]]
  run -3 crl again --from one.pem --number 1
  [[ $output == *'is not larger than'* ]]
  run -3 crl again --number "$(printf '7%.0s' {1..42})"
  [[ $output == *'longer than 20 octets'* ]]
  run -3 crl again --number 5 --delta-base 5
  [[ $output == *'is not below'* ]]
  run -2 crl again --revoke 05,,removeFromCRL
  [[ $output == *'give --delta-base'* ]]
  issue ca.of.others ca.of.others '/O=Example/CN=CA' 'basicConstraints = critical,CA:true'
  "$KXCERT" crl new --issuer-cert ca.of.others.pem --key ca.of.others.key --next-update 2031-01-01 \
    --number 1 --out theirs.pem
  run -0 openssl crl -in theirs.pem -noout -text
  [[ $output == *'Authority Key Identifier'* ]]
  run -3 crl again --from theirs.pem
  [[ $output == *'is not signed with'* ]]
  run -3 "$KXCERT" crl new --issuer-cert ca.pem --key other.key --next-update 2031-01-01
  [[ $output == *'is not the key of the certificate'* ]]
  issue mute mute '/O=Example/CN=CA' 'basicConstraints = critical,CA:true' 'keyUsage = critical,keyCertSign'
  run -3 "$KXCERT" crl new --issuer-cert mute.pem --key mute.key --next-update 2031-01-01 --out again.pem
  [[ $output == *'mute.pem line 1: may not sign CRLs: its key usage lacks cRLSign' ]]
  [ ! -e again.pem ]
}

@test "crl new keeps the scope of the CRL that it begins with" {
  printf '%s\n' '[ca]' 'default_ca = c' '[c]' 'database = index' 'default_md = sha256' 'crl_extensions = e' '[e]' \
    'issuingDistributionPoint = critical,@p' 'freshestCRL = URI:http://d/' '[p]' 'fullname = URI:http://one/' 'onlysomereasons = keyCompromise' \
    'onlyuser = TRUE' >gencrl.cnf
  : >index
  openssl ca -gencrl -config gencrl.cnf -cert ca.pem -keyfile ca.key -crldays 30 -out one.pem
  run -0 crl ours --from one.pem --idp-uri http://two/
  [[ $output == *'replaces its distribution point URI: http://one/'* ]]
  run -0 openssl crl -in ours.pem -noout -text
  [[ $output == *'http://two/'*'Only User'*'Key Compromise'* && $output != *'http://one/'* ]]
  run -0 crl cas --from one.pem --only ca
  [[ $output == *'--only replaces the kind'* ]]
  run -0 openssl crl -in cas.pem -noout -text
  [[ $output == *'http://one/'*'Only CA'*'Key Compromise'* && $output != *'Only User'* && $output == *'Freshest CRL'* ]]
  crl delta --from one.pem --delta-base 9
  run -0 openssl crl -in delta.pem -noout -text
  [[ $output == *'Delta CRL Indicator'* && $output == *'Key Compromise'* && $output != *'Freshest CRL'* ]]
}

@test "crl verify tells which statement fails" {
  crl one --number 1
  run -0 "$KXCERT" crl verify --issuer ca.pem --at '2030-06-01' one.pem
  [[ $output == *'valid CRL'* && $output != *FAILED* ]]
  run -1 "$KXCERT" crl verify --issuer ca.pem --at '2031-01-01' one.pem
  [[ $output == *'FAILED  next update 2031-01-01'* ]]
  run -1 "$KXCERT" crl verify --issuer ca.pem --at '2029-12-31' one.pem
  [[ $output == *'FAILED  this update 2030-01-01'* ]]
  run -1 "$KXCERT" crl verify --issuer ca.pem --at '2036-01-01' one.pem
  [[ $output == *'FAILED  certificate in date, 2025-01-01'* ]]
  run -1 "$KXCERT" crl verify --issuer other.pem --at '2030-06-01' one.pem
  [[ $output == *'FAILED  issued by'* && $output == *'FAILED  signed with'* ]]
}

@test "crl find says what not to be in the list means" {
  issue leaf ca '/CN=leaf' 'basicConstraints = CA:false'
  issue foreign other '/CN=foreign' 'basicConstraints = CA:false'
  serial=$(openssl x509 -in leaf.pem -noout -serial | cut -d= -f2)
  crl one --number 1 --revoke "$serial,2029-05-01,superseded"
  run -0 "$KXCERT" crl find one.pem "$serial" --cert leaf.pem
  [[ $output == *'2029-05-01 00:00:00 UTC  superseded'* && $output != *note:* ]]
  run -1 "$KXCERT" crl find one.pem 05
  [[ $output == *'05: not in the list'* ]]
  run -3 "$KXCERT" crl find one.pem --cert foreign.pem
  [[ $output == *'is of another issuer'* ]]
  crl delta --number 3 --delta-base 1 --only ca --revoke 05
  run -1 "$KXCERT" crl find delta.pem 06
  [[ $output == *'is a delta CRL'* && $output == *'CA certificates only'* && $output == *'does not mean'* ]]
  crl again --from delta.pem --number 4 --unrevoke 05 --revoke 05,,removeFromCRL
  run -0 "$KXCERT" crl find again.pem 05
  [[ $output == *'removed from the list by this delta CRL'* ]]
  base=$BATS_TEST_DIRNAME/../data/chain/crls/reason-8.pem
  serial=$("$KXCERT" crl print --json "$base" | pick 'd["crls"][0]["entries"][0]["serial"]')
  run -0 "$KXCERT" crl find "$base" "$serial"
  [[ $output == *'belongs into delta CRLs only'* && $output != *'not revoked any more'* ]]
}

@test "crl print bounds what it lists" {
  revoke=()
  for i in $(seq 1000 1101); do revoke+=(--revoke "$i,2029-05-01"); done
  crl many "${revoke[@]}"
  run -0 "$KXCERT" crl print many.pem
  [[ $output == *'2 more; --all lists them'* ]]
  run -0 "$KXCERT" crl print --all --json many.pem
  [ "$(json 'len(d["crls"][0]["entries"]), d["crls"][0]["revoked"]')" = '(102, 102)' ]
}
