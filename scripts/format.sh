#!/usr/bin/env bash
# Formats the C++ files of the tree; with --check only says which are not. Generated files say off themselves;
# tests/ is left out as long as its tables of cases stand in C++, where each field would get a line.
set -euo pipefail
cd "$(dirname "$0")/.."
mode=(-i)
[ "${1:-}" = --check ] && mode=(--dry-run --Werror)
git ls-files -z --cached --others --exclude-standard '*.cc' '*.h' ':!tests' | xargs -0 -P "$(nproc)" -n 40 clang-format "${mode[@]}"
