# What the command's tests share. KXCERT names the command under test; without it, the release build's.
bats_require_minimum_version 1.5.0
KXCERT=${KXCERT:-$BATS_TEST_DIRNAME/../../build/release/tools/kxcert/kxcert}
chain=$BATS_TEST_DIRNAME/../../examples/chain
roots=/usr/share/ca-certificates/mozilla
at=(--at '2030-06-01 12:00 UTC')

# A member of the JSON document on standard input, or in $output, as a Python expression over d.
pick() { python3 -c "import json,sys; d=json.load(sys.stdin); print(($1))"; }
json() { pick "$1" <<<"$output"; }

# Plays rows of tests/data/command/NAME.txt, in order: "CODE COMMAND", or "CODE COMMAND => PATTERN" where all that it
# prints is to match. "[...]" begins anew, in a folder that holds what setup_file left. Commands may use what the test set.
play() {
  local row pattern
  PATH=$(dirname "$KXCERT"):$PATH
  set -o pipefail
  while IFS= read -r row <&4; do
    case $row in
      '' | '#'*) continue ;;
      '['*) cd "$(mktemp -d -p "$BATS_TEST_TMPDIR" work.XXXXXX)" && cp -r "$BATS_FILE_TMPDIR/." . && continue ;;
    esac
    pattern='*'
    [[ $row != *' => '* ]] || pattern=${row##* => }
    row=${row% => *}
    run -"${row%% *}" eval "${row#* }"
    # shellcheck disable=SC2053
    [[ $output == $pattern ]] || { echo "$row: $output"; return 1; }
  done 4<"$BATS_TEST_DIRNAME/../data/command/$1.txt"
}

# Printable ASCII, TABs and line feeds are all that a terminal may see.
is_visible() { [ -z "$(LC_ALL=C tr -d '\11\12\40-\176' <<<"$1")" ]; }

# Issues NAME.pem with NAME.key in the current folder: issue NAME ISSUER SUBJECT [EXTENSION]...
# ISSUER equal to NAME signs itself. START and END change the validity (YYYYMMDDHHMMSSZ), KEY takes
# another one's key.
issue() {
  local name=$1 issuer=$2 subject=$3
  shift 3
  local key=${KEY:-$name}
  [ -f "$key.key" ] || openssl genpkey -algorithm EC -pkeyopt ec_paramgen_curve:P-256 -out "$key.key"
  [ "$key" = "$name" ] || cp "$key.key" "$name.key"
  openssl req -new -utf8 -key "$name.key" -subj "$subject" -out "$name.csr"
  { printf '%s\n' '[ca]' 'default_ca = c' '[c]' 'new_certs_dir = .' "database = $name.index" 'rand_serial = yes' \
      'default_md = sha256' 'policy = p' 'x509_extensions = e' 'unique_subject = no' '[p]' \
      'commonName = supplied' 'organizationName = optional' '[e]' 'subjectKeyIdentifier = hash' "$@"; } >"$name.cnf"
  : >"$name.index"
  local signer=(-cert "$issuer.pem" -keyfile "$issuer.key")
  [ "$name" != "$issuer" ] || signer=(-selfsign -keyfile "$name.key")
  openssl ca -batch -notext -preserveDN -utf8 -config "$name.cnf" "${signer[@]}" -in "$name.csr" -out "$name.pem" \
    -startdate "${START:-20250101000000Z}" -enddate "${END:-20350101000000Z}"
}

der_of() { openssl x509 -in "$1" -outform DER; }
