# kxcert file: signed files.
load support

setup() {
  mkdir "$BATS_TEST_TMPDIR/work"; cd "$BATS_TEST_TMPDIR/work"   # bats has files of its own beside it
  key=$BATS_TEST_DIRNAME/../data/keys/p521-a.pem
  printf 'one\ttwo\nthree\n' >text
  openssl pkey -in "$key" -pubout -out pub.pem
}

# The parts of a block, from what stands in it: time and signature.
parts() { python3 -c 'import base64, sys
for marker, name in ((b"TimeStamp = ", "time"), (b"SIG = ", "sig")):
    open(name, "wb").write(base64.b64decode(open(sys.argv[1], "rb").read().split(marker)[1].split(b"\n")[0]))' "$1"; }

@test "sign: openssl verifies what is signed, in the file and beside it" {
  head -c 100000 /dev/urandom >data
  run -0 "$KXCERT" file sign --key "$key" --sig data.sig --at '2030-01-02 03:04:05' data
  parts data.sig
  [ "$(od -An -tx1 time | tr -d ' \n')" = "$(printf %016x "$(date -u -d '2030-01-02 03:04:05' +%s)")" ]
  cat time data | openssl dgst -sha512 -verify pub.pem -signature sig
  run -0 "$KXCERT" file sign --key "$key" text
  parts text
  { cat time; printf 'onetwothree'; } | openssl dgst -sha512 -verify pub.pem -signature sig
  [ "$(sed -n 's/ = .*//p;/BEGINS\|ENDS/p' text | tr '\n' ,)" = \
    '# NORVANE SIGNATURE BEGINS,# TimeStamp,# SIG,# NORVANE SIGNATURE ENDS,' ]
}

@test "verify: with a key in every form, and none but that" {
  "$KXCERT" file sign --key "$key" --at 1000 text
  for form in set der pem; do
    "$KXCERT" key convert --public --form $form "$key" >k.$form
    run -0 "$KXCERT" file verify --key k.$form text
    [ "$output" = signed ]
  done
  run -1 "$KXCERT" file verify text
  [ "$output" = 'Signature not verified' ]
  run -3 --separate-stderr "$KXCERT" file verify --key "$BATS_TEST_DIRNAME/../data/keys/p256-a.pem" text
  [[ $stderr == *'EC, prime256v1, 256 bits; files are signed with keys of secp521r1'* ]]
  run -3 "$KXCERT" file verify --key pub.pem none
  sed -i 's/two/tWo/' text
  run -1 "$KXCERT" file verify --key pub.pem text
}

@test "verify --old refuses what is older" {
  cp text new; cp text old
  "$KXCERT" file sign --key "$key" --at 2000 new
  "$KXCERT" file sign --key "$key" --at 1000 old
  run -0 "$KXCERT" file verify --key pub.pem --old old new
  run -1 --separate-stderr "$KXCERT" file verify --json --key pub.pem --old new old
  [ "$(json 'd["valid"], d["code"]')" = '(False, -3)' ]
  run -1 "$KXCERT" file verify --key pub.pem --old text new
  [ "$output" = 'Old file is not properly signed' ]
}

@test "sign: what is signed stays unless forced, and --out leaves the file alone" {
  run -0 "$KXCERT" file sign --key "$key" --out signed text
  grep -q BEGINS signed
  ! grep -q BEGINS text
  run -3 --separate-stderr "$KXCERT" file sign --key "$key" --out signed text
  [[ $stderr == 'kxcert: signed: File exists; --force replaces that' ]]
  cp signed before
  run -3 --separate-stderr "$KXCERT" file sign --key "$key" signed
  [[ $stderr == 'kxcert: signed: File is signed already; --force replaces that' ]]
  cmp signed before
  run -0 "$KXCERT" file sign --key "$key" --force signed
  [ "$(grep -c BEGINS signed)" -eq 1 ]
  run -3 "$KXCERT" file sign --key pub.pem text
  run -2 "$KXCERT" file sign --key "$key" --at 1970-01-01 text
  run -2 "$KXCERT" file sign --key "$key" --sig s --out o text
  run -3 "$KXCERT" file sign --key "$key" --force --sig signed signed
  [[ $output == *'A signature cannot replace the file that it is of' ]]
  run -0 "$KXCERT" file verify --key pub.pem signed
  [ "$(ls)" = $'before\npub.pem\nsigned\ntext' ]
}
