# kxcert p12 show, import and export, with openssl, certtool and pk12util on the other side where they are installed.
setup_file() {
  load support
  cd "$BATS_FILE_TMPDIR"
  ca='basicConstraints = critical,CA:TRUE'
  issue root root /CN=root "$ca"
  issue sub root /CN=sub "$ca"
  cat sub.pem root.pem >cas.pem
  for curve in P-256 P-384 P-521; do
    openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:$curve -out $curve.key
    issue $curve sub /CN=$curve
  done
  cp "$BATS_TEST_DIRNAME/../data/keys/rsa2048.pem" rsa2048.key
  issue rsa2048 sub /CN=rsa2048
  printf secret >plain
  printf 'pässwörd €\n' >accents
}
setup() {
  load support
  samples=$BATS_TEST_DIRNAME/../data/cert/pkcs12
}

same_key() { cmp <(openssl pkey -in "$1") <(openssl pkey -in "$2"); }
same_cert() { cmp <(openssl x509 -in "$1") <(openssl x509 -in "$2"); }
# Everything of NAME in the folder is what it was made of.
is_whole() { same_key "$1/key.pem" "$2.key" && same_cert "$1/cert.pem" "$2.pem" && cmp <(grep -v = "$1/chain.pem") <(grep -v = cas.pem); }

@test "p12: shown, taken apart, made" { play p12; }

@test "p12: each reads what the others write" {
  cd "$BATS_FILE_TMPDIR"
  for name in rsa2048 P-256 P-384 P-521; do for password in plain accents; do
    for options in '' --legacy '--cipher aes128 --mac-digest sha512' '--cipher 3des --mac-digest sha1'; do
      "$KXCERT" p12 export --key $name.key --cert $name.pem --chain cas.pem --name Näme --new-password file:$password \
        --iterations 1000 $options --out ours.p12 --force
      [ "$options" != --legacy ] || options=-legacy
      openssl pkcs12 -in ours.p12 -passin file:$password -nodes ${options##*--*} >read.pem
      same_key read.pem $name.key && same_cert read.pem $name.pem && [ "$(grep -c 'BEGIN CERT' read.pem)" = 3 ]
      if command -v certtool; then
        certtool --p12-info --inder --infile ours.p12 --password "$(cat $password)" | grep -c 'BEGIN CERT' | grep -x 3
      fi
      if command -v pk12util; then pk12util -l ours.p12 -w $password | grep 'Friendly Name: N'; fi
    done
    for options in '' -legacy -nomac '-certpbe NONE -keypbe AES-128-CBC -macalg sha512' '-legacy -descert -macalg sha1'; do
      openssl pkcs12 -export -inkey $name.key -in $name.pem -certfile cas.pem -name Näme -passout file:$password \
        $options -out theirs.p12
      rm -rf theirs && mkdir theirs
      "$KXCERT" p12 import --password file:$password --out-dir theirs theirs.p12
      is_whole theirs $name
    done
  done; done
}

@test "p12: what certtool and pk12util write is read" {
  command -v certtool && command -v pk12util || skip 'not installed'
  cd "$BATS_FILE_TMPDIR"
  certtool --to-p12 --load-privkey P-256.key --load-certificate <(cat P-256.pem cas.pem) --p12-name n \
    --password secret --outder --outfile gnutls.p12
  mkdir gnutls nss nssdb
  "$KXCERT" p12 import --password file:plain --out-dir gnutls gnutls.p12
  is_whole gnutls P-256
  certtool --to-p12 --load-privkey P-256.key --load-certificate P-256.pem --p12-name n --null-password --outder --outfile null.p12
  printf '' >empty
  "$KXCERT" p12 import --password file:empty --key-out null.pem null.p12
  same_key null.pem P-256.key
  certutil -N -d nssdb --empty-password
  pk12util -i gnutls.p12 -d nssdb -w plain
  pk12util -o nss.p12 -n n -d nssdb -w accents
  "$KXCERT" p12 import --password file:accents --out-dir nss nss.p12
  is_whole nss P-256
}
