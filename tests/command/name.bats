setup() { load support; }

@test "name parse prints every form of every name" {
  run -0 "$KXCERT" name parse 'cn = Gateway , O=Example,C=ZZ' 300c310a30080603550403130161
  [ "${lines[0]}" = 'text:  CN=Gateway,O=Example,C=ZZ' ]
  [ "${lines[3]}" = 'rdns:  3' ]
  [ "${lines[4]}" = 'text:  CN=a' ]
  [ "${lines[6]}" = 'der:   300c310a30080603550403130161' ]
}

@test "name parse: the DER reads back as the same name" {
  run -0 "$KXCERT" name parse --json 'CN=a\, b,OU=x+OU=y,O=Größe'
  der=$(json 'd["names"][0]["der"]')
  text=$(json 'd["names"][0]["text"]')
  [ "$text" = 'CN=a\, b,OU=x+OU=y,O=Größe' ] || [ "$text" = 'CN=a\, b,OU=y+OU=x,O=Größe' ]
  run -0 "$KXCERT" name compare "$der" "$text"
}

@test "name parse goes on after an illegal name and says why" {
  run -1 --separate-stderr "$KXCERT" name parse 'nosuch=x' 'CN=b' 'CN'
  [[ $output == *'CN=b'* ]]
  [[ $stderr == *'nosuch=x: not a legal name: '* ]]
  [[ $stderr == *'CN: not a legal name: '* ]]
}

@test "name parse shows no control characters" {
  run -0 "$KXCERT" name parse $'CN=a\x1b[31mb\nc' $'O=\xc2\x9b'
  is_visible "$output"
  [[ $output == *'ascii: CN=#611b5b33316d620a63'* ]]
}

@test "name compare answers with its exit code" {
  run -0 "$KXCERT" name compare 'CN=Some  Name,O=b' 'cn=some name, o=B'
  [ "$output" = equal ]
  run -1 "$KXCERT" name compare 'CN=a,O=b' 'O=b,CN=a'
  [ "$output" = 'not equal' ]
  run -3 --separate-stderr "$KXCERT" name compare 'CN=a' 'nosuch=x'
  [ -z "$output" ]
  [[ $stderr == *'nosuch=x'* ]]
}

@test "name suffix answers with its exit code" {
  run -0 "$KXCERT" name suffix 'CN=a,O=b,C=ZZ' 'o=B,c=zz'
  run -1 "$KXCERT" name suffix 'CN=a,O=b,C=ZZ' 'O=b'
  run -1 --separate-stderr "$KXCERT" name suffix --json 'CN=a,O=b' 'O=c'
  [ "$(json 'd["schema"], d["under"], d["exitCode"]')" = '(1, False, 1)' ]
}
