#!/usr/bin/env bash
# A small CA in ten lines: a root, a CA below it, a gateway and a client; the client is revoked, and both are judged.
# Works in a new folder, or in the empty one that is named. KXCERT names the command; without it, it is built first.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
if [ -z "${KXCERT:-}" ]; then
  { "$root/scripts/setup.sh" && "$root/scripts/build.sh" release --target kxcert; } >&2
  KXCERT=$root/build/release/tools/kxcert/kxcert
fi
KXCERT=$(realpath "$KXCERT")
folder=${1:-$(mktemp -d)}
mkdir -p "$folder" && cd "$folder"
[ -z "$(ls -A)" ] || { echo "small-ca.sh: $folder holds something; it wants a new folder" >&2; exit 1; }
kxcert() {
  printf '+ kxcert%s\n' "$(printf ' %q' "$@")"
  "$KXCERT" "$@"
}
(umask 077 && head -c 24 /dev/urandom | base64 >password)   # of the CAs' keys; without one the terminal is asked
until=$(date -u -d '+30 days' +%F)
by_root=(--issuer-cert root.pem --issuer-key root.key --issuer-password file:password)
by_ca=(--issuer-cert ca.pem --issuer-key ca.key --issuer-password file:password)

for ca in root ca; do kxcert key gen ec P-384 --encrypt --new-password file:password --out $ca.key; done
for holder in gateway client; do kxcert key gen ec P-256 --out $holder.key; done
kxcert cert issue --profile root --key root.key --password file:password --subject 'CN=Example Root,O=Example' --out root.pem
kxcert cert issue --profile sub-ca --public-key ca.key --password file:password --subject 'CN=Example CA,O=Example' "${by_root[@]}" --out ca.pem
kxcert req new --key gateway.key --subject 'CN=gateway.example.net,O=Example' --san dns:gateway.example.net --out gateway.csr
kxcert cert issue --profile gateway --request gateway.csr "${by_ca[@]}" --out gateway.pem
kxcert cert issue --profile client --public-key client.key --subject 'CN=A Client,O=Example' "${by_ca[@]}" --out client.pem
kxcert crl new --issuer-cert root.pem --key root.key --password file:password --number 1 --next-update "$until" --out root.crl
kxcert crl new --issuer-cert ca.pem --key ca.key --password file:password --number 1 --next-update "$until" --revoke-cert client.pem --out ca.crl
for holder in gateway client; do kxcert chain verify --trust root.pem --crl root.crl --crl ca.crl $holder.pem ca.pem | tee $holder.verdict || [ $? -eq 1 ]; done

if ! grep -q '^VALID (0)' gateway.verdict || ! grep -q '^NOT VALID (-991): Certificate revoked' client.verdict; then
  echo 'small-ca.sh: the gateway should be valid, and the client revoked' >&2
  exit 1
fi
echo "All is as it should be: the gateway's certificate is valid, the client's is revoked. They are in $PWD."
