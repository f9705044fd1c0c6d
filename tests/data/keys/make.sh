#!/usr/bin/env bash
# Makes the keys of this folder anew. They protect nothing.
set -euo pipefail
cd "$(dirname "$0")"
for bits in 1024 2048 3072 4096; do openssl genrsa -traditional -out "rsa$bits.pem" "$bits"; done
for curve in prime256v1 secp384r1 secp521r1; do
  openssl ecparam -name "$curve" -genkey -noout -out "$curve.pem"
done
