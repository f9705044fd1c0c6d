setup_file() {
  load support
  cd "$BATS_FILE_TMPDIR"
  ca=('basicConstraints = critical, CA:TRUE' 'keyUsage = critical, keyCertSign, cRLSign')
  {
    issue root root '/O=Test/CN=Root' "${ca[@]}"
    issue ca root '/O=Test/CN=CA' "${ca[@]}"
    issue leaf ca '/O=Test/CN=leaf' 'basicConstraints = critical, CA:FALSE'
    issue odd root $'/O=Test/CN=o\xc3\xa4d' "${ca[@]}"
    END=20260101000000Z issue past root '/O=Test/CN=past' "${ca[@]}"
    for n in 1 2 3; do issue many$n root "/O=Test/CN=many$n" "${ca[@]}"; done
    cat many?.pem >many.pem
    printf '[ca]\ndefault_ca = c\n[c]\ndatabase = crl.index\ncrlnumber = crl.number\ndefault_md = sha256\n' >crl.cnf
    : >crl.index
    echo 01 >crl.number
    openssl ca -config crl.cnf -gencrl -keyfile root.key -cert root.pem -crldays 3650 -out root.crl
  } >log 2>&1
}

setup() {
  load support
  cd "$BATS_FILE_TMPDIR"
  mkdir "$BATS_TEST_TMPDIR/d"
  d=$BATS_TEST_TMPDIR/d
}

key_of() { printf '%s\0' "$1" | md5sum | cut -d' ' -f1; }
db() { "$KXCERT" db "$@"; }

@test "db: certificates go in, are listed, shown and removed" {
  run -3 db list "$d"
  [[ $output == *'no database there' && -z $(ls "$d") ]]   # looking makes nothing
  run -0 db add "$d/CertCache_1" ca.pem odd.pem
  key=$(key_of 'CN=CA,O=Test')
  [ "${lines[0]}" = "$key  until 2035-01-01 00:00:00 UTC  CN=CA,O=Test" ]
  cmp <(tail -c +5 "$d/CertCache_1/rec_$key") <(der_of ca.pem)
  [ "$(od -An -t d4 -N 4 "$d/CertCache_1/rec_$key" | tr -d ' ')" -eq 2051222400 ]
  run -0 db list "$d"
  [[ ${#lines[@]} -eq 3 && $output == *"$key  until 2035-01-01 00:00:00 UTC  CN=CA,O=Test"*'2 records' ]]
  is_visible "$output"
  run -0 db show "$d" "$key" --json
  [ "$(json 'd["records"][0]["certificate"]["subject"], d["records"][0]["state"]')" = "('CN=CA,O=Test', 'good')" ]
  run -0 db rm "$d" "$key"
  run -1 db rm "$d" "$key"
  run -1 db show "$d" "$key"
  run -1 db add "$d" past.pem --type cert
  [[ $output == *'past.pem line 1: expired on 2026-01-01 00:00:00 UTC' ]]
  run -0 db list "$d" --json
  [ "$(json '[r["certificate"]["subject"] for r in d["records"]]')" = "['CN=#6fc3a464,O=Test']" ]
}

@test "db: a CRL stands under its distribution point and CA" {
  run -3 db add "$d" root.crl --type crl
  run -0 db add "$d" root.crl --type crl --dp http://ca.example/1.crl --ca 'My CA' --expires 2036-02-01
  key=$(printf 'http://ca.example/1.crlMy CA\0' | md5sum | cut -d' ' -f1)
  cmp <(tail -c +5 "$d/CrlCache_1/rec_$key") <(openssl crl -in root.crl -outform DER)
  run -0 db list "$d"   # the only database there
  [ "${lines[0]}" = "$key  until 2036-02-01 00:00:00 UTC  CN=Root,O=Test" ]
  run -0 db add "$d" ca.pem --type cert
  run -3 db list "$d"
  [[ $output == *'both databases are there: say which with --type' ]]
}

@test "db: keys from outside lead nowhere else" {
  db add "$d" ca.pem --type cert
  echo x >"$d/outside"
  for key in '' . .. ../outside /etc/passwd; do
    run -3 db rm "$d" "$key"
    run -3 db show "$d" "$key"
  done
  [ -e "$d/outside" ]
}

@test "db: check says what is of no use, and repairs only when told to" {
  db add "$d" ca.pem odd.pem --type cert
  c=$d/CertCache_1
  printf 'ab' >"$c/rec_short"
  { head -c 4 "$c/rec_$(key_of 'CN=CA,O=Test')"; echo junk; } >"$c/rec_junk"
  printf '\1\0\0\0%s' x >"$c/rec_old"
  cp "$c/rec_$(key_of 'CN=CA,O=Test')" "$c/rec_copy"
  touch -d '2 hours ago' "$c/tmpAbCdEf"
  touch "$c/tmpAbCdEg" "$c"/$'tmp\e[31m'
  before=$(ls -l --time-style=+%s "$c")
  run -1 db check "$d"
  is_visible "$output"
  [[ $output == *'rec_junk: does not decode'*'rec_short: too short'*'tmpAbCdEf: left over'* ]]
  [[ $output != *tmpAbCdEg* && ${lines[-1]} == '2 records in order, 6 findings, 0 removed' ]]
  [ "$before" = "$(ls -l --time-style=+%s "$c")" ]
  run -1 db check "$d" --repair --json
  got=$(json 'sorted(f["file"] for f in d["findings"] if f["removed"])')
  [ "$got" = "['rec_junk', 'rec_old', 'rec_short', 'tmpAbCdEf']" ]
  rm "$c/rec_copy" "$c"/$'tmp\e[31m'
  run -0 db check "$d"
  printf '\1\0\0\0%s' x >"$c/rec_old"
  run -0 db gc "$d"
  [ "$output" = 'removed 1 file, left 3' ]
}

@test "db: a database that another process fills is never found torn" {
  mkdir "$d/CertCache_1"
  (while [ ! -e "$d/stop" ]; do db add "$d" many.pem --type cert; done >"$d/filler" 2>&1) &
  filler=$!
  for n in 1 2 3 4 5 6 7 8; do
    run -0 db check "$d"
    run -0 db gc "$d"
    run -0 db list "$d" --json
    [ "$(json '{r["state"] for r in d["records"]} <= {"good"}')" = True ]
  done
  touch "$d/stop"
  wait "$filler"
  run -0 db check "$d"
  [ "$output" = '3 records in order, 0 findings, 0 removed' ]
}

@test "chain verify: an issuer comes from the database" {
  db add "$d" ca.pem --type cert
  run -1 "$KXCERT" chain verify "${at[@]}" --trust root.pem leaf.pem
  for folder in "$d" "$d/CertCache_1"; do
    run -0 "$KXCERT" chain verify "${at[@]}" --trust root.pem --intermediates "$folder" leaf.pem
    [[ $output == *'level 1: CN=CA,O=Test'*'from the database'* ]]
  done
  run -1 "$KXCERT" chain verify --at '2036-01-01' --trust root.pem --intermediates "$d" leaf.pem
  run -3 "$KXCERT" chain verify "${at[@]}" --trust root.pem --intermediates "$d/none" leaf.pem
}
