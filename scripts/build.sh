#!/usr/bin/env bash
# Configures and builds one preset (release unless another is named); talk goes to standard error.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}
shift || true
launcher=()
command -v ccache >/dev/null && launcher=(-DCMAKE_CXX_COMPILER_LAUNCHER=ccache)
log=$(mktemp)
trap 'rm -f "$log"' EXIT
{ cmake --preset "$preset" "${launcher[@]}" && cmake --build --preset "$preset" "$@"; } >"$log" 2>&1 || {
  cat "$log" >&2
  exit 1
}
