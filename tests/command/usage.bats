setup() {
  load support
  cd "$BATS_TEST_TMPDIR"
}

@test "usage errors: code 2, nothing on standard output" {
  while read -r arguments; do
    run -2 --separate-stderr "$KXCERT" $arguments
    [ -z "$output" ]
    [[ $stderr == kxcert:* ]] || { echo "$arguments: $stderr"; false; }
  done <<'CASES'

cert
nosuch
cert nosuch
cert print
cert print --nosuch x
cert print --level most x
cert asn1 Certificate
chain verify x
chain verify --trust
chain verify --trust a --at yesterday x
chain verify --trust a --at 2030-02-30 x
chain verify --trust a --at 2030-02-28T24:00 x
chain verify --trust a --at 2030-02-28T12:00: x
chain verify --trust a --at 99999999999999999999 x
chain verify --trust a --grace-end -1 x
file verify --old= x
chain verify --trust a --grace-start many x
file sign x
file sign --key k
file verify
key gen rsa
key gen ed25519 x
key gen rsa 2048 --form jks
key sign x
key derive --key k
name parse
name compare a
name compare a b c
ocsp ask x
ocsp ask --issuer x --nonce maybe x
ocsp ask --issuer x --at noon x
CASES
}

@test "help and version are answers" {
  run -0 --separate-stderr "$KXCERT" --help
  [[ $output == *cert*chain*name*'Exit codes'* ]]
  run -0 "$KXCERT" chain verify --help
  [[ $output == *--blacklist* ]]
  run -0 "$KXCERT" --version
  [[ $output == 'kxcert '[0-9]* ]]
}

@test "every verb gives one JSON document, whatever the answer" {
  while read -r code arguments; do
    run --separate-stderr "$KXCERT" ${arguments//@/$chain}
    [ "$status" -eq "$code" ]
    python3 -m json.tool <<<"$output" >/dev/null || { echo "$arguments: $output"; false; }
    [ "$(json 'd["schema"], d["exitCode"]')" = "(1, $code)" ]
  done <<'CASES'
0 cert print --json @/leaf.pem @/root.pem
3 cert print --json missing @/root.pem
0 cert asn1 --json Certificate @/leaf.pem
0 cert asn1 --json --check Certificate @/leaf.pem
3 cert asn1 --json Time @/leaf.pem
0 chain verify --json --at 2030-01-01 --trust @/root.pem @/leaf.pem @/intermediate.pem
1 chain verify --json --at 2030-01-01 --trust @/root.pem @/leaf.pem
3 chain verify --json --trust @/root.pem missing
0 name parse --json CN=a
1 name parse --json CN=a x
0 name compare --json CN=a CN=A
1 name compare --json CN=a CN=b
0 name suffix --json CN=a,O=b O=b
3 ocsp print --json @/leaf.pem
1 ocsp ask --json --issuer @/intermediate.pem --response @/leaf.pem @/leaf.pem
CASES
}

@test "pipes: standard input once, output that ends early or fails" {
  run -0 bash -c "cat '$chain'/leaf.pem | '$KXCERT' cert print --level brief - | head -1"
  [ "$output" = '(standard input) line 1:' ]
  run -3 bash -c "'$KXCERT' cert print - - <'$chain'/leaf.pem"
  [[ $output == *'standard input can be read only once'* ]]
  run -3 bash -c "'$KXCERT' name parse CN=a >/dev/full"
  [[ $output == *'cannot be written'* ]]
  run -3 "$KXCERT" cert print "$BATS_TEST_TMPDIR"
}

@test "the man page and the completion know every verb and option" {
  packaging=$BATS_TEST_DIRNAME/../../packaging
  for verb in cert\ {print,asn1} 'chain verify' name\ {parse,compare,suffix} ocsp\ {ask,print} crmf\ {new,show} file\ {sign,verify} \
    key\ {gen,show,convert,sign,verify,derive} 'db add' 'db check'; do
    grep -q "^.B kxcert $verb" "$packaging/man/kxcert.1"
    noun=${verb% *}
    grep -q "$noun) words='.*${verb#* }" "$packaging/completion/kxcert"
    for option in $("$KXCERT" $verb --help | grep -o -- '--[a-z-]*' | sort -u); do
      grep -qF -- "${option//-/\\-}" "$packaging/man/kxcert.1" || { echo "$verb $option"; false; }
      grep -qF -- "$option" "$packaging/completion/kxcert" || { echo "$verb $option"; false; }
    done
  done
}
