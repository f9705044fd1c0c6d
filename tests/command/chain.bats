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
failed='[(f["level"], f["code"], [x["label"] + ": " + x["value"] for x in f["facts"]]) for f in d["findings"] if f["outcome"] == "failed"]'
verify() { "$KXCERT" chain verify "${at[@]}" --trust root.pem "$@"; }

@test "chain verify: the sample chain is valid, in any order and with its root" {
  for files in 'leaf ca' 'ca leaf' 'root leaf ca'; do
    run -0 verify $(printf '%s.pem ' $files)
    [ "${lines[0]}" = 'VALID (0): validate certificate OK.' ]
    [[ $output == *'valid until: 2031-01-01 00:00:00 UTC'* ]]
    [[ $output == *'revocation:  not checked, which is not the same as good'* ]]
    [ "$(grep -c '^level ' <<<"$output")" -eq 3 ]
    [[ $output == *'not checked: '*'black list (no black list is set)'* ]]   # so it is not passed either
  done
  openssl verify -attime 1906545600 -CAfile root.pem -untrusted ca.pem leaf.pem
}

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
  done <<'CASES'
-996|0|issuer without cA: CN=Issuer,O=Example|issuer-is-no-ca.issuer leaf
-992|1|key usage: without keyCertSign|key-usage.issuer leaf
-995|2|path length constraint: 0', 'CA certificates below: 1|path-length.middle too-long.issuer leaf
-997|0|critical extension: 1.3.6.1.4.1.99999.1|issuer unknown-critical.leaf
-993|0|not verified by the key of: CN=Issuer,O=Example|issuer signature-p256-sha256.leaf
CASES
}

@test "chain verify: dates and grace periods, to the second" {
  while read -r code when option; do
    run "$KXCERT" chain verify --trust root.pem --at "$when" ${option/=/ } --json leaf.pem ca.pem
    [ "$(json 'd["code"]')" -eq "$code" ] || { echo "$when $option: $output"; false; }
  done <<'CASES'
0 1924991999
0 1924992000
-998 1924992001
0 1924992001 --grace-end=1
-998 1924992002 --grace-end=1
0 1735689600
0 1735682400
-999 1735682399
-999 1735689599 --grace-start=0
0 1735689590 --grace-start=10
CASES
  for when in 2030-02-28 '2030-02-28 23:59 UTC' '2030-02-28T23:59:59Z' 1898553599; do
    run -0 "$KXCERT" chain verify --trust root.pem --at "$when" leaf.pem ca.pem
    [[ $output == *'time:        2030-02-28 '* ]]
  done
  run -1 "$KXCERT" chain verify --trust root.pem --at '2040-02-29 12:00' leaf.pem ca.pem
  [[ $output == *'time:        2040-02-29 12:00:00 UTC'* ]]
  run -1 "$KXCERT" chain verify --trust root.pem --at '2031-01-01 00:00:01 UTC' leaf.pem ca.pem
  [[ $output == *'fact:        not valid after: 2031-01-01 00:00:00 UTC'* ]]
}

@test "chain verify: black lists, as serials are printed" {
  for line in "$(cat serial.txt)" "$(tr A-F a-f <serial.txt)" "$(sed 's/../&:/g; s/:$//' serial.txt)"; do
    printf '# none of these\n01\n\n%s\n' "$line" >list
    run -1 verify --blacklist list leaf.pem ca.pem
    [ "${lines[0]}" = 'NOT VALID (-1002): Certificate found in Certificate Black List.' ]
  done
  printf '01\n7fff\n' >list
  run -0 verify --blacklist list leaf.pem ca.pem
  printf '01\nxyz\n%s\n-\n' "$(cat serial.txt)" >list   # it decides nothing: the good lines do not count
  run -3 --separate-stderr verify --blacklist list leaf.pem ca.pem
  [[ -z $output && $stderr == *'list line 2: not a hexadecimal serial number'*'list line 4: '* ]]
  run -3 --separate-stderr verify --blacklist missing leaf.pem ca.pem
  [ -z "$output" ]
}

@test "chain verify: a chain with three faults names all three, each at its level" {
  # The leaf is on the black list, its issuer is no CA, and the root is over; only the root decides.
  openssl x509 -in nocaleaf.pem -noout -serial | cut -d= -f2 >list
  ask=(chain verify --trust brief.pem --at 2033-01-01 --blacklist list nocaleaf.pem noca.pem)
  run -1 "$KXCERT" "${ask[@]}" --json
  [ "$(json 'd["code"], d["name"], d["level"]')" = "(-998, 'expired', 2)" ]
  [ "$(json "[f[:2] for f in $failed]")" = '[(0, -1002), (0, -996), (2, -998)]' ]
  [ "$(json '[f["outcome"] for f in d["findings"] if f["rule"] == "signature"]')" = "['passed', 'passed']" ]
  [ "$(json '[p["input"] for p in d["path"]]')" = "['nocaleaf.pem line 1', 'noca.pem line 1', 'brief.pem line 1']" ]
  run -1 "$KXCERT" "${ask[@]}"
  [ "$(grep -E '^level|FAILED' <<<"$output" | sed 's/ [A-Z][a-z].*//')" = "$(printf '%s\n' \
    'level 0: CN=nocaleaf,O=Test' '  FAILED:      -1002' '  FAILED:      -996' 'level 1: CN=noca,O=Test' \
    'level 2: CN=brief,O=Test' '  FAILED:      -998')" ]
}

@test "chain verify: an expired issuer beside a good one, and all paths where none is valid" {
  run -0 verify --end-entity leaf.pem oldca.pem ca.pem
  [[ $output != *'paths tried'* ]]
  run -1 "$KXCERT" chain verify --trust root.pem --at 2036-01-01 --end-entity leaf.pem oldca.pem ca.pem
  [[ $output == *'paths tried: 2'*'CN=leaf,O=Test <- CN=CA,O=Test <- CN=Root,O=Test'*'-998 Certificate expired. (level 2, end: a trusted root)'* ]]
  run -1 "$KXCERT" chain verify --json --trust root.pem --at 2036-01-01 --end-entity leaf.pem ca.pem oldca.pem
  [ "$(json '[(t["code"], t["level"], len(t["path"]), t["ended"]) for t in d["tried"]], d["judged"], d["bound"]')" = \
    "([(-998, 2, 3, 'a trusted root'), (-998, 2, 3, 'a trusted root')], 0, None)" ]
}

@test "chain verify: JSON that no name breaks out of" {
  run -1 "$KXCERT" chain verify "${at[@]}" --json --trust root.pem odd.pem
  [ "$(json 'd["endEntity"]["subject"]')" = 'CN=a"\,"valid":true\,"b,O=Test' ]
  [ "$(json 'd["path"][0]["sha256"]')" = "$(der_of odd.pem | sha256sum | cut -d' ' -f1)" ]
  [ "$(json 'd["root"], d["missingIssuer"]["name"]')" = "(None, 'CN=CA,O=Test')" ]
  [ "$(json 'd["valid"]')" = False ]
}

@test "chain verify: what is missing when there is no trusted root" {
  keyid=$(openssl x509 -in ca.pem -noout -ext subjectKeyIdentifier | tail -1 | tr -d ': ' | tr A-F a-f)
  run -1 verify leaf.pem
  [ "${lines[0]}" = 'NOT VALID (-1001): Certificate Chain is not signed by a Trusted CA.' ]
  [[ $output == *"missing:     CN=CA,O=Test, key id $keyid"*'--untrusted'* ]]
  run -0 verify --untrusted foreign.pem --untrusted ca.pem leaf.pem
  run -1 "$KXCERT" chain verify "${at[@]}" --trust foreign.pem leaf.pem ca.pem root.pem
  [[ $output == *'The chain ends in a root of its own'* ]]
  run -1 "$KXCERT" chain verify "${at[@]}" --trust renewed.pem leaf.pem ca.pem
  [[ $output == *"A trusted root has the issuer's name, but another key"* ]]
}

@test "chain verify: a renewed root beside the old one, and a chain past the root" {
  run -0 "$KXCERT" chain verify "${at[@]}" --trust renewed.pem --trust root.pem leaf.pem ca.pem
  run -0 "$KXCERT" chain verify "${at[@]}" --trust root.pem --untrusted cross.pem --untrusted foreign.pem leaf.pem ca.pem
  [ "$(grep -c '^level ' <<<"$output")" -eq 3 ]
  run -0 "$KXCERT" chain verify "${at[@]}" --trust foreign.pem leaf.pem ca.pem cross.pem
  [[ $output == *'root:        CN=Root,O=Elsewhere (trusted)'* ]]
}

@test "chain verify: trust from folders and bundles" {
  run -0 --separate-stderr "$KXCERT" chain verify "${at[@]}" --trust folder leaf.pem ca.pem
  [[ $stderr == *'folder: 1 file without a certificate; passed over'* ]]
  for root in "$roots"/ISRG_Root_X1.crt "$roots"/DigiCert_Global_Root_G2.crt; do
    run -0 "$KXCERT" chain verify --at 2026-01-01 --trust /etc/ssl/certs/ca-certificates.crt "$root"
  done
  mkdir -p nothing
  run -3 verify --trust nothing leaf.pem ca.pem
  [[ $output == *'nothing: no certificate in it'* ]]
}

@test "chain verify: no verdict unless all input was read" {
  for files in 'leaf.pem missing.pem ca.pem gone.pem' '--untrusted missing.pem --end-entity gone.pem leaf.pem ca.pem'; do
    run -3 --separate-stderr verify $files
    [ -z "$output" ]
    [[ $stderr == *'missing.pem: cannot be opened: '*'gone.pem: cannot be opened: '*'no verdict'* ]]
  done
  cat leaf.pem ca.pem | { run -0 verify -; }
  # Others read a certificate here; passing it over would judge the next one.
  { sed 's/ CERTIFICATE/ TRUSTED CERTIFICATE/' evil.pem && cat leaf.pem; } >odd.pem
  run -3 --separate-stderr verify --end-entity odd.pem ca.pem
  [[ -z $output && $stderr == *'"TRUSTED CERTIFICATE" is not read here'* ]]
}

@test "chain verify: the answer is about what was given, or about what was named" {
  # A forged leaf, somebody's genuine chain, and a decoy that makes the forged one look like an issuer.
  # A stranger first: whichever it is, the good leaf behind it does not answer for it.
  for stranger in evil foreign nocaleaf; do
    run -1 verify $stranger.pem leaf.pem ca.pem
    [[ $output == 'NOT VALID ('* ]]
    run -1 --separate-stderr verify --json $stranger.pem leaf.pem ca.pem
    [ "$(json 'd["valid"], d["code"] < 0, d["exitCode"]')" = '(False, True, 1)' ]
    run -1 verify --end-entity $stranger.pem leaf.pem ca.pem
    [[ $output != *'end entity:  CN=leaf'* ]]
  done
  run -1 --separate-stderr verify --json foreign.pem leaf.pem ca.pem
  [ "$(json 'd["code"], d["name"], d["leftOver"]')" = \
    "(-994, 'inconsistentChain', [{'subject': 'CN=Root,O=Elsewhere', 'input': 'foreign.pem line 1'}])" ]
  run -1 verify evil.pem leaf.pem ca.pem decoy.pem
  [ "${lines[0]}" = 'NOT VALID (-994): Certificate chain is inconsistent.' ]
  [[ $output == *'not part of the chain: CN=evil,O=Test, from evil.pem line 1'*'CN=decoy,'*'--end-entity'* ]]
  run -1 verify --end-entity evil.pem leaf.pem ca.pem decoy.pem
  [[ $output == 'NOT VALID (-993): '*'end entity:  CN=evil,O=Test'* ]]
  run -0 verify --end-entity leaf.pem evil.pem ca.pem decoy.pem
  cat leaf.pem decoy.pem ca.pem >sent.pem
  run -0 verify --end-entity sent.pem
  run -0 verify leaf.pem root.pem ca.pem leaf.pem ca.pem
  # A root's name and key, but not its octets.
  for file in mimic.pem '--end-entity mimic.pem'; do
    run -1 verify $file
    [[ $output == 'NOT VALID (-1001): '*'end entity:  CN=Root,O=Test'* ]]
  done
  run -1 verify leaf.pem ca.pem mimic.pem
  [[ $output == *'not part of the chain: CN=Root,O=Test, from mimic.pem'* ]]
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
