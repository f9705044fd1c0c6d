#!/usr/bin/env bash
# Formats every C++ file of the tree; with --check only says which are not. Generated files say off themselves.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(-i)
[ "${1:-}" = --check ] && mode=(--dry-run --Werror)
git ls-files -z --cached --others --exclude-standard '*.cc' '*.h' | xargs -0 -P "$(nproc)" -n 40 clang-format "${mode[@]}"
