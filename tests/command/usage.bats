setup() {
  load support
  cd "$BATS_TEST_TMPDIR"
}

@test "usage errors: code 2, nothing on standard output" {
  while read -r arguments; do
    run -2 --separate-stderr "$KXCERT" $arguments
    [ -z "$output" ]
    [[ $stderr == kxcert:* ]] || { echo "$arguments: $stderr"; false; }
    run -2 --separate-stderr "$KXCERT" $arguments --json
    [[ $(json 'd["exitCode"], d["problems"][-1]["text"]') == "(2, "* ]] || { echo "$arguments: $output"; false; }
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

@test "pipes: standard input once, output that ends early or fails" {
  run -0 bash -c "cat '$chain'/leaf.pem | '$KXCERT' cert print --level brief - | head -1"
  [ "$output" = '(standard input) line 1:' ]
  run -3 bash -c "'$KXCERT' cert print - - <'$chain'/leaf.pem"
  [[ $output == *'standard input can be read only once'* ]]
  run -3 bash -c "'$KXCERT' name parse CN=a >/dev/full"
  [[ $output == *'cannot be written'* ]]
  for answer in --help --version '--complete key gen' 'key gen --help'; do
    run -3 bash -c "'$KXCERT' $answer >/dev/full"
    [ "$output" = 'kxcert: standard output: cannot be written' ]
    run -3 bash -c "'$KXCERT' $answer >&-"
  done
  run -3 bash -c "'$KXCERT' key gen ec P-256 --out k.pem >&-"
  run -0 openssl pkey -in k.pem -noout
  run -3 "$KXCERT" cert print "$BATS_TEST_TMPDIR"
}
