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

verify() { "$KXCERT" chain verify "${at[@]}" --trust "$chain/root.pem" "$chain/leaf.pem" "$chain/intermediate.pem"; }

@test "signatures go to the service when that is forced, and the verdict is the same" {
  plain=$(verify)
  forced=$(PKXL_FORCE=1 verify)
  [ "$plain" = "$forced" ]
  kill -TERM "$service"
  wait "$service"
  grep -qE '^kxcert-offloadd: answered [1-9][0-9]* requests$' "$BATS_TEST_TMPDIR/talk"
  [ ! -e "$KXCERT_CONF_DIR/offload.socket" ]
}

@test "a second service is refused, a killed one replaced and not missed" {
  run -3 "$OFFLOADD"
  [[ $output == *'another service runs already'* ]]
  kill -KILL "$service"
  wait "$service" || true
  PKXL_FORCE=1 verify
  start
  kill -TERM "$service"
  wait "$service"
}

@test "usage: kxcert-offloadd" {
  run -0 "$OFFLOADD" --help
  [[ $output == *--threads* ]]
  run -2 "$OFFLOADD" --threads 0
  run -2 "$OFFLOADD" extra
}
