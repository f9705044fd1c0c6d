#!/usr/bin/env bash
# Makes every-extension.der anew, a certificate with an extension of every kind that is known: its key and
# signature differ every time, what every-extension.txt says of it does not. And roots.txt: what openssl says
# of public roots, of which there is one for each kind of string, time, key and signature.
set -euo pipefail
cd "$(dirname "$0")"
openssl req -x509 -newkey ec -pkeyopt ec_paramgen_curve:P-256 -nodes -keyout /dev/null -set_serial 0x8034 \
  -days 3650 -outform DER -out every-extension.der -config every-extension.cnf
for file in roots/*.crt; do
  echo "[$file]"
  openssl x509 -in "$file" -noout -text -serial -dates -dateopt iso_8601 -issuer -subject \
    -nameopt oid,dn_rev,esc_2253,sep_comma_plus,utf8 |
    sed -nE 's/^ *Version: ([0-9]).*/version: \1/p; s/^ *Public-Key: \(([0-9]+) bit\)/bits: \1/p; s/^([a-zA-Z]+)=/\1: /p'
done >roots.txt
