setup() {
  load support
  cd "$BATS_TEST_TMPDIR"
}

@test "usage errors: code 2, nothing on standard output" {
  while read -r arguments; do
    run -2 --separate-stderr "$KXCERT" $arguments
    [ -z "$output" ]
    [[ $stderr == kxcert:* ]] || { echo "$arguments: $stderr"; false; }
  done <"$BATS_TEST_DIRNAME/../data/command/usageErrors.txt"
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
  done <"$BATS_TEST_DIRNAME/../data/command/documents.txt"
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
  for verb in cert\ {print,asn1,issue,renew} req\ {new,show,verify} 'chain verify' name\ {parse,compare,suffix} crmf\ {new,show} crl\ {print,verify,find,new} file\ {sign,verify} \
    key\ {gen,show,convert,sign,verify,derive} p12\ {show,import,export} 'db add' 'db check'; do
    grep -q "^.B kxcert $verb" "$packaging/man/kxcert.1"
    noun=${verb% *}
    grep -q "$noun) words='.*${verb#* }" "$packaging/completion/kxcert"
    for option in $("$KXCERT" $verb --help | grep -o -- '--[a-z-]*' | sort -u); do
      grep -qF -- "${option//-/\\-}" "$packaging/man/kxcert.1" || { echo "$verb $option"; false; }
      grep -qF -- "$option" "$packaging/completion/kxcert" || { echo "$verb $option"; false; }
    done
  done
}
