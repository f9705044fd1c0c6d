#!/usr/bin/env bash
# Installs what is missing, builds everything and runs every test. An argument names another preset.
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-release}
./scripts/setup.sh
./scripts/build.sh "$preset"
ctest --preset "$preset" -j "$(nproc)"
