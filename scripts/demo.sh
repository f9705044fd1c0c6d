#!/usr/bin/env bash
# Builds what is missing and validates the sample chain; with arguments, runs kxcert with them instead.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/scripts/setup.sh"
"$root/scripts/build.sh" release --target kxcert
kxcert=$root/build/release/tools/kxcert/kxcert
[ $# -eq 0 ] || exec "$kxcert" "$@"
chain=$root/examples/chain
echo "+ kxcert chain verify --trust root.pem leaf.pem intermediate.pem" >&2
exec "$kxcert" chain verify --trust "$chain/root.pem" "$chain/leaf.pem" "$chain/intermediate.pem"
