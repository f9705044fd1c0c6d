# chain verify with revocation, against a web server, a directory and "openssl ocsp" on this machine.

# Starts "${@:2}" with a free port for PORT, until it says $1. Not by connecting: the responder turns round and round
# after a connection without a request.
serve() {
  local pid said=$1
  shift
  for _ in $(seq 20); do
    port=$((20000 + RANDOM % 20000))
    : >served.log
    "${@//PORT/$port}" >served.log 2>&1 3>&- &
    pid=$!
    for _ in $(seq 100); do
      kill -0 $pid 2>/dev/null || break
      grep -q "$said" served.log && echo $pid >>pids && return
      sleep 0.1
    done
    kill $pid 2>/dev/null || true
  done
  return 1
}

index() {
  printf '%s\t%s\t%s\t%s\tunknown\t/CN=%s\n' "$1" 350101000000Z "$2" \
    "$(openssl x509 -in "$3.pem" -noout -serial | cut -d= -f2)" "$3" >>status.txt
}

setup_file() {
  load support
  cd "$BATS_FILE_TMPDIR"
  {
    issue ca ca /CN=ca 'basicConstraints = critical, CA:TRUE' 'keyUsage = critical, keyCertSign, cRLSign'
    : >status.txt
    mkdir www
    serve Serving python3 -u -m http.server PORT --bind 127.0.0.1 --directory www
    web=$port
    serve waiting openssl ocsp -index status.txt -port PORT -rsigner ca.pem -rkey ca.key -CA ca.pem -ndays 1
    responder=http://127.0.0.1:$port
    for name in good bad unknown; do
      issue $name ca /CN=$name "crlDistributionPoints = URI:http://127.0.0.1:$web/ca.crl" \
        "authorityInfoAccess = OCSP;URI:$responder"
    done
    printf '%s\n' 'include /etc/ldap/schema/core.schema' 'modulepath /usr/lib/ldap' 'moduleload back_ldif' \
      'database ldif' 'suffix cn=CA' "directory $PWD/ldap" >slapd.conf
    mkdir ldap
    serve 'slapd starting' /usr/sbin/slapd -f slapd.conf -h ldap://127.0.0.1:PORT -d 256
    ldap=$port
    list='CN=CA?certificateRevocationList'
    issue listed ca /CN=listed "crlDistributionPoints = URI:ldap://127.0.0.1:$ldap/$list"
    issue named ca /CN=named "crlDistributionPoints = URI:ldap:///$list"
    # The responder reads its index anew when it is of another second, after it has answered once more.
    index V '' good
    index R '251201000000Z,keyCompromise' bad
    touch -d '1 minute ago' status.txt
    printf '%s\n' '[ca]' 'default_ca = c' '[c]' 'database = status.txt' 'default_md = sha256' 'default_crl_days = 7' >crl.cnf
    openssl ca -gencrl -config crl.cnf -cert ca.pem -keyfile ca.key -out ca.crl
    openssl crl -in ca.crl -outform DER -out www/ca.crl
    printf '%s\n' 'dn: cn=CA' 'objectClass: applicationProcess' 'objectClass: certificationAuthority' 'cn: CA' \
      "cACertificate;binary:< file://$PWD/www/ca.crl" "authorityRevocationList;binary:< file://$PWD/www/ca.crl" \
      "certificateRevocationList;binary:< file://$PWD/www/ca.crl" >ca.ldif
    /usr/sbin/slapadd -f slapd.conf -l ca.ldif
    for _ in 1 2; do
      openssl ocsp -issuer ca.pem -cert good.pem -url "$responder" -respout good.resp -no_nonce
    done
  } >log 2>&1
}

teardown_file() { kill $(<"$BATS_FILE_TMPDIR/pids") 2>/dev/null || true; }

@test "chain verify: revocation from servers, from the database, and given" {
  load support
  ldap=ldap://$(grep -o '127.0.0.1:[0-9]*' listed.cnf)
  # shellcheck disable=SC2034
  verify='kxcert chain verify --trust ca.pem' fetch='--fetch --allow-private'
  play revocation
}
