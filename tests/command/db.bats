# kxcert db: databases of certificates and CRLs, and chains from them.
setup() {
  load support
  cd "$BATS_TEST_TMPDIR"
  certs=$BATS_TEST_DIRNAME/../data/chain/certs crl=$BATS_TEST_DIRNAME/../data/load/crl.pem
  issuer=6dca35766f6d72a4da249df598312f38   # printf 'CN=Issuer,O=Example,C=ZZ\0' | md5sum
}

@test "db: filled, listed, checked, repaired" { play db; }

@test "db: a database that another process fills is never found torn" {
  mkdir -p d/CertCache_1
  cat "$certs"/{root,issuer,depth2.ca1}.pem >many.pem
  (while [ ! -e stop ]; do "$KXCERT" db add d many.pem --type cert; done >filler 2>&1) &
  for n in 1 2 3 4 5 6 7 8; do
    run -0 "$KXCERT" db check d
    run -0 "$KXCERT" db gc d
    run -0 "$KXCERT" db list d --json
    [ "$(json '{r["state"] for r in d["records"]} <= {"good"}')" = True ]
  done
  touch stop
  wait
  run -0 "$KXCERT" db check d
  [ "$output" = '3 records in order, 0 findings, 0 removed' ]
}
