#!/usr/bin/env bash
# Makes every-extension.der and issued-extensions.der anew, certificates with an extension of every kind that is known:
# their keys and signatures differ every time, what the tests say of them does not. And roots.txt: what openssl says
# of public roots, of which there is one for each kind of string, time, key and signature.
set -euo pipefail
cd "$(dirname "$0")"
for name in every-extension issued-extensions; do
  openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout /dev/null -set_serial 0x8034 -utf8 \
    -days 3650 -outform DER -out "$name.der" -config "$name.cnf"
done
for file in roots/*.crt; do
  echo "[$file]"
  openssl x509 -in "$file" -noout -text -serial -dates -dateopt iso_8601 -issuer -subject \
    -nameopt oid,dn_rev,esc_2253,sep_comma_plus,utf8 |
    sed -nE 's/^ *Version: ([0-9]).*/version: \1/p; s/^ *Public-Key: \(([0-9]+) bit\)/bits: \1/p; s/^([a-zA-Z]+)=/\1: /p'
done >roots.txt
