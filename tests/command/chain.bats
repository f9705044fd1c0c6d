setup_file() {
  load support
  cd "$BATS_FILE_TMPDIR"
  ca=('basicConstraints = critical, CA:TRUE' 'keyUsage = critical, keyCertSign, cRLSign' 'authorityKeyIdentifier = keyid')
  leaf=('basicConstraints = critical, CA:FALSE' 'authorityKeyIdentifier = keyid')
  {
    issue root root '/O=Test/CN=Root' "${ca[@]:0:2}"
    issue ca root '/O=Test/CN=CA' "${ca[@]}"
    END=20310101000000Z issue leaf ca '/O=Test/CN=leaf' "${leaf[@]}"
    KEY=ca END=20290101000000Z issue oldca root '/O=Test/CN=CA' "${ca[@]}"
    END=20320101000000Z issue brief brief '/O=Test/CN=brief' "${ca[@]:0:2}"
    issue noca brief '/O=Test/CN=noca' "${leaf[@]}"
    issue nocaleaf noca '/O=Test/CN=nocaleaf' "${leaf[@]}"
    issue odd ca '/O=Test/CN=a","valid":true,"b' "${leaf[@]}"

    # The same root once more with a new key, and cross-signed by a foreign one.
    issue renewed renewed '/O=Test/CN=Root' "${ca[@]:0:2}"
    issue foreign foreign '/O=Elsewhere/CN=Root' "${ca[@]:0:2}"
    KEY=root issue cross foreign '/O=Test/CN=Root' "${ca[@]}"

    # What nobody trustworthy signed: a leaf of the CA's name, what that leaf issued, and the root's name and key.
    issue ca2 ca2 '/O=Test/CN=CA' "${ca[@]:0:2}"
    issue evil ca2 '/O=Test/CN=evil' "${leaf[@]}"
    issue decoy evil '/O=Test/CN=decoy' "${leaf[@]}"
    KEY=root issue mimic renewed '/O=Test/CN=Root' "${ca[@]:0:2}"

    mkdir folder
    cp root.pem folder/b.pem
    cp foreign.pem folder/a.pem
    cp root.key folder/key.pem
    openssl x509 -in leaf.pem -noout -serial | cut -d= -f2 >serial.txt
  } >log 2>&1
}

setup() {
  load support
  cd "$BATS_FILE_TMPDIR"
}

# Of each finding that failed: level, code, facts.
failed='[(f["level"], f["code"], [x["label"] + ": " + x["value"] for x in f["facts"]]) for f in d["findings"] if f["outcome"] == "failed" and f["decides"]]'
verify() { "$KXCERT" chain verify "${at[@]}" --trust root.pem "$@"; }

@test "chain verify: verdicts, and what is said about them" { play chain; }

@test "chain verify: one fault each, its code, level and fact" {
  certs=$BATS_TEST_DIRNAME/../data/chain/certs
  while IFS='|' read -r code level fact files; do
    set -- "${at[@]}" --trust "$certs/root.pem" $(printf "$certs/%s.pem " $files)
    run -1 "$KXCERT" chain verify --json "$@"
    got=$(json "d['code'], d['level'], d['valid'], $failed")   # the fault alone, at the level that decided
    [[ $got == "($code, $level, False, [($level, $code, ["*"$fact"*"])])" ]] || { echo "$files: $got"; false; }
    run -1 "$KXCERT" chain verify "$@"
    [[ ${lines[0]} == "NOT VALID ($code): "* ]]
    [[ $output == *'what to do:  '* ]]
  done <"$BATS_TEST_DIRNAME/../data/command/chainFaults.txt"
}

@test "chain verify: a stranger in front does not let the good leaf behind it answer" {
  for stranger in evil foreign nocaleaf; do
    run -1 verify $stranger.pem leaf.pem ca.pem
    [[ $output == 'NOT VALID ('* ]]
    run -1 --separate-stderr verify --json $stranger.pem leaf.pem ca.pem
    [ "$(json 'd["valid"], d["code"] < 0, d["exitCode"]')" = '(False, True, 1)' ]
    run -1 verify --end-entity $stranger.pem leaf.pem ca.pem
    [[ $output != *'end entity:  CN=leaf'* ]]
  done
}

@test "chain verify: colour only for terminals that want it" {
  run -0 verify leaf.pem ca.pem
  is_visible "$output"
  in_terminal() { script -qec "$KXCERT chain verify --at 2030-01-01 --trust root.pem leaf.pem ca.pem" /dev/null; }
  export TERM=xterm
  script -qec true /dev/null >/dev/null 2>&1 || skip 'no terminal can be made here'
  run -0 in_terminal
  [[ ${lines[0]} == $'\x1b[1;32mVALID'* ]]
  NO_COLOR=1 run -0 in_terminal
  [[ ${lines[0]} == VALID* ]]
}
