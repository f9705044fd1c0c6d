# kxcert-offloadd beside the command.
load support

setup() {
  export KXCERT_CONF_DIR=$BATS_TEST_TMPDIR
  OFFLOADD=${OFFLOADD:-$(dirname "$KXCERT")/../offloadd/kxcert-offloadd}
  start
}
start() {
  rm -f "$BATS_TEST_TMPDIR/talk"   # what an earlier one said is no sign of this one
  "$OFFLOADD" --threads 2 2>"$BATS_TEST_TMPDIR/talk" 3>&- &
  service=$!
  for _ in {1..600}; do grep -qs listening "$BATS_TEST_TMPDIR/talk" && break; sleep 0.05; done
}
teardown() { kill "$service" 2>/dev/null || true; }
client() { python3 "$BATS_TEST_DIRNAME/offloadClient.py" "$@"; }
# Ends the service, which must not take longer than a second.
stop() {
  local begin=${EPOCHREALTIME/./}
  kill -TERM "$service"
  wait "$service"
  ((${EPOCHREALTIME/./} - begin < 1000000))
}

@test "signs, one octet at a time, past as many idle clients as it has threads" {
  key=$BATS_TEST_DIRNAME/../data/keys/rsa1024.pem
  printf digest >"$BATS_TEST_TMPDIR/digest"
  expected=$(openssl pkeyutl -sign -inkey "$key" -in "$BATS_TEST_TMPDIR/digest" | od -An -v -tx1 | tr -d ' \n')
  run -0 client sign "$key" 2
  [ "$output" = "$expected" ]
  kill -USR1 "$service"
  for _ in {1..600}; do grep -qs 'answered 1 requests' "$BATS_TEST_TMPDIR/talk" && break; sleep 0.05; done
  stop
  [ "$(grep -c 'kxcert-offloadd: answered 1 requests, not answered [0-9]*, turned away 0$' "$BATS_TEST_TMPDIR/talk")" -eq 2 ]
  [ ! -e "$KXCERT_CONF_DIR/offload.socket" ]
}

@test "keeps a process's crowd within bounds, and waits for descriptors in peace" {
  run -0 client crowd 140
  [ "$output" = '128 kept, calm' ]
  stop
  grep -q 'turned away 12$' "$BATS_TEST_TMPDIR/talk"
  ulimit -Sn 24
  start
  ulimit -Sn 200
  run -0 client crowd 60
  [[ $output == *calm ]]
}

@test "a signal ends it within a second, whatever its workers do" {
  client busy 8
  stop
}

@test "another service's socket stays" {
  rm "$KXCERT_CONF_DIR/offload.socket"
  first=$service
  start
  kill -TERM "$first"
  wait "$first"
  [ -S "$KXCERT_CONF_DIR/offload.socket" ]
  stop
  [ ! -e "$KXCERT_CONF_DIR/offload.socket" ]
}

@test "a second service is refused, a killed one replaced" {
  run -3 "$OFFLOADD"
  [[ $output == *'another service runs already'* ]]
  kill -KILL "$service"
  wait "$service" || true
  start
  stop
}

@test "usage: kxcert-offloadd" {
  run -0 "$OFFLOADD" --help
  [[ $output == *--threads* ]]
  run -2 "$OFFLOADD" --threads 0
  run -2 "$OFFLOADD" extra
}

@test "says what it is, and refuses what it does not know" {
  run -0 "$OFFLOADD" --version
  [[ $output == 'kxcert-offloadd '[0-9]* ]]
  run -0 "$OFFLOADD" --help
  [[ $output == *--threads*SIGUSR1* ]]
  run -2 "$OFFLOADD" --nosuch
}
