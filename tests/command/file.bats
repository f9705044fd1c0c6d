# kxcert file: signed files.
setup() {
  load support
  keys=$BATS_TEST_DIRNAME/../data/keys
  key=$keys/p521-a.pem public=$BATS_TEST_TMPDIR/public.pem
  openssl pkey -in "$key" -pubout -out "$public"
}

# The parts of a block, from what stands in it: time and signature.
parts() { python3 -c 'import base64, sys
for marker, name in ((b"TimeStamp = ", "time"), (b"SIG = ", "sig")):
    open(name, "wb").write(base64.b64decode(open(sys.argv[1], "rb").read().split(marker)[1].split(b"\n")[0]))' "$1"; }

@test "file: signed and verified" { play file; }
