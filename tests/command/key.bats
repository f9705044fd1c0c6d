# kxcert key: what openssl makes of our keys and signatures, and we of its.
load support

setup() {
  export KXCERT_CONF_DIR=$BATS_TEST_DIRNAME/../../packaging/conf
  mkdir "$BATS_TEST_TMPDIR/work"; cd "$BATS_TEST_TMPDIR/work"   # bats has files of its own beside it
  keys=$BATS_TEST_DIRNAME/../data/keys
}

sha256_of() { openssl pkey "$@" -pubout -outform DER | sha256sum | cut -d' ' -f1; }

@test "gen: openssl finds the keys sound" {
  "$KXCERT" key gen rsa 2048 | openssl rsa -check -noout
  for curve in P-256 P-384 P-521; do "$KXCERT" key gen ec "$curve" | openssl ec -check -noout; done
  "$KXCERT" key gen dh 14 | openssl pkey -noout -text | grep -q '2048 bit'
  "$KXCERT" key gen ec P-256 --form der | openssl pkey -inform DER -noout -check
}

@test "gen: files are their owner's, whole, and stay unless forced away" {
  run -0 "$KXCERT" key gen ec P-256 --out k.pem
  [ "$(stat -c %a k.pem)" = 600 ]
  cp k.pem first.pem
  run -3 --separate-stderr "$KXCERT" key gen ec P-256 --out k.pem
  [[ $stderr == 'kxcert: k.pem: is there already; --force replaces it' ]]
  cmp k.pem first.pem
  run -0 "$KXCERT" key gen ec P-256 --out k.pem --force
  ! cmp -s k.pem first.pem
  [ "$(ls)" = $'first.pem\nk.pem' ]
  run -0 "$KXCERT" key gen ec P-256 --json --out j.pem
  [ "$(json 'd["key"]["curve"], d["key"]["private"], d["key"]["bits"]')" = "('prime256v1', True, 256)" ]
  run -2 "$KXCERT" key gen ec P-256 --json
  [[ $output != *BEGIN* ]]
}

@test "gen: what cannot be made is said" {
  run -2 --separate-stderr "$KXCERT" key gen rsa 1100
  [[ $stderr == *'a multiple of 256 from 1024 to 16384'* ]]
  run -2 "$KXCERT" key gen rsa 512
  run -2 "$KXCERT" key gen ec nosuch
  run -2 "$KXCERT" key gen dsa 1024
  run -2 "$KXCERT" key gen dh 3
  KXCERT_CONF_DIR=/nowhere run -3 --separate-stderr "$KXCERT" key gen dh 14
  [[ $stderr == *'/nowhere/dh_groups: No such file'* ]]
}

@test "gen: a line on a terminal says that it takes long, none elsewhere" {
  run -0 --separate-stderr "$KXCERT" key gen rsa 4096
  [ -z "$stderr" ]
  script -qefc "'$KXCERT' key gen rsa 12288 --out long.pem & sleep 3; kill \$!" typescript >/dev/null || true
  grep -q 'making an RSA key of 12288 bits, 2 s' typescript
  [ ! -e long.pem ]
}

@test "show and convert: every form of every key is the same key" {
  openssl genpkey -algorithm DH -pkeyopt group:modp_2048 -out dh.pem
  openssl genpkey -algorithm DHX -pkeyopt dh_rfc5114:3 -out dhx.pem
  for file in "$keys"/rsa2048.pem "$keys"/p256-a.pem "$keys"/p384-a.pem "$keys"/p521-a.pem dh.pem; do
    want=$(sha256_of -in "$file")
    for form in set der pem; do
      "$KXCERT" key convert --form "$form" "$file" >"$form"
      run -0 "$KXCERT" key show --json "$form"
      [ "$(json 'd["keys"][0]["private"], d["keys"][0]["publicKeySha256"]')" = "(True, '$want')" ]
      "$KXCERT" key convert --public --form "$form" set >"pub.$form"
      run -0 "$KXCERT" key show --json - <"pub.$form"
      [ "$(json 'd["keys"][0]["private"], d["keys"][0]["publicKeySha256"]')" = "(False, '$want')" ]
      [ "$form" = set ] || cmp "pub.$form" <(openssl pkey -in "$file" -pubout -outform "$form")
    done
    openssl pkey -in pem -noout -check
    ! grep -q private pub.set
  done
  run -0 "$KXCERT" key show dhx.pem
  [[ $output == *'DH, 2048 bits'*private* ]]
}

@test "what is no key is said to be what it is" {
  openssl pkey -in "$keys/p256-a.pem" -aes128 -passout pass:x -out enc.pem
  openssl pkey -in "$keys/p256-a.pem" -pubout -out pub.pem
  cat "$keys/p256-a.pem" "$keys/p256-b.pem" >two.pem
  printf '(:NID (415)\n :public (04' >cut.set
  while IFS='|' read -r file says; do
    run -3 --separate-stderr "$KXCERT" key sign --key $file /dev/null
    [[ $stderr == "kxcert: $file"*"$says"* ]] || { echo "$file: $stderr"; false; }
  done <<<"enc.pem|the private key is encrypted
pub.pem|a public key; the private one is needed
two.pem|2 keys in it; one is needed
$chain/root.pem|a certificate; a key is needed
cut.set|not an attribute set: line 2
/dev/null|is a pipe or a device
none|No such file"
}

@test "sign and verify: both ways with openssl" {
  printf 'some text' >text
  for key in rsa2048 p256-a p521-a; do
    for hash in sha256 sha512; do
      openssl pkey -in "$keys/$key.pem" -pubout -out pub
      "$KXCERT" key sign --key "$keys/$key.pem" --hash $hash text >sig
      openssl dgst -$hash -verify pub -signature sig text
      openssl dgst -$hash -sign "$keys/$key.pem" -out sig text
      run -0 "$KXCERT" key verify --key pub --hash $hash --signature sig text
      [ "$output" = 'valid signature' ]
    done
    printf 'some texT' >other
    run -1 "$KXCERT" key verify --key pub --hash sha512 --signature sig other
    run -1 "$KXCERT" key verify --key pub --hash sha256 --signature sig text
  done
  "$KXCERT" key gen dh 14 --out dh.pem
  run -3 "$KXCERT" key sign --key dh.pem text
}

@test "derive: the same secret on both sides, and openssl's" {
  for kind in 'dh 2' 'dh 14' 'dh 24' 'ec P-256' 'ec P-384' 'ec P-521'; do
    "$KXCERT" key gen $kind --force --out a
    "$KXCERT" key gen $kind --force --out b --form set
    "$KXCERT" key convert --public b >b.pub
    "$KXCERT" key convert --public a --form der >a.pub
    "$KXCERT" key derive --key a --peer b.pub >one
    "$KXCERT" key derive --key b --peer a.pub --out two --force
    cmp one two
    openssl pkeyutl -derive -inkey a -peerkey b.pub -out three
    [ "${kind% *}" = dh ] || cmp one three
    [ "${kind% *}" != dh ] || [ "$(od -An -v -tx1 one | tr -d ' \n' | sed 's/^\(00\)*//')" = \
      "$(od -An -v -tx1 three | tr -d ' \n' | sed 's/^\(00\)*//')" ]
    [ "$(stat -c %a two)" = 600 ]
  done
  "$KXCERT" key gen dh 5 --out other
  "$KXCERT" key gen ec P-256 --out p256
  run -3 --separate-stderr "$KXCERT" key derive --key a --peer p256
  [[ $stderr == *'not of the same kind and group, or curve'* ]]
  run -3 "$KXCERT" key derive --key other --peer a
  run -3 "$KXCERT" key derive --key "$keys/rsa2048.pem" --peer "$keys/rsa2048.pem"
}
