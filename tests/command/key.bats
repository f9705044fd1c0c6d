# kxcert key: what openssl makes of our keys and signatures, and we of its.
setup() {
  load support
  export KXCERT_CONF_DIR=$BATS_TEST_DIRNAME/../../packaging/conf
  keys=$BATS_TEST_DIRNAME/../data/keys
}

@test "key: generated, refused, of one kind" { play key; }

@test "key show and convert: every form" {
  openssl genpkey -algorithm DH -pkeyopt group:modp_2048 -out "$BATS_TEST_TMPDIR/dh.pem"
  for file in "$keys"/{rsa2048,p256-a,p384-a,p521-a}.pem "$BATS_TEST_TMPDIR/dh.pem"; do
    for form in set der pem; do play keyForms; done
  done
}

@test "key sign and verify: every kind" {
  for key in "$keys"/{rsa2048,p256-a,p521-a}.pem; do
    hash=sha256 other=sha512 play keySignatures
    hash=sha512 other=sha256 play keySignatures
  done
}

@test "key derive: every kind" {
  for kind in 'ec P-256' 'ec P-384' 'ec P-521'; do theirs='' play keyDerive; done
  for kind in 'dh 2' 'dh 14' 'dh 24'; do theirs='-pkeyopt dh_pad:1' play keyDerive; done
}

@test "key: encrypted, in and out of what openssl makes" {
  for key in rsa2048 p384-a; do
    file=$keys/$key.pem kind=rsa traditional=-traditional
    [ $key = rsa2048 ] || kind=ec traditional=
    play keyEncrypted
  done
}
