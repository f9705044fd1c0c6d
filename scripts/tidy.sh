#!/usr/bin/env bash
# Runs clang-tidy (.clang-tidy) over the sources that changed since a revision, over all without one.
# A header that changed brings along the sources that name it.
set -euo pipefail
cd "$(dirname "$0")/.."
since=${1:-}
cmake --preset clang >/dev/null
mapfile -t sources < <(git ls-files 'src/*.cc' 'tools/*.cc')
if [ -n "$since" ]; then
  changed=$(git diff --name-only "$since" -- src include tools)
  headers=$(grep '\.h$' <<<"$changed" | xargs -r -n1 basename || true)
  selected=()
  for source in "${sources[@]}"; do
    if grep -qxF "$source" <<<"$changed" ||
       { [ -n "$headers" ] && grep -q -F -f <(sed 's/.*/&"/' <<<"$headers") "$source"; }; then
      selected+=("$source")
    fi
  done
  sources=("${selected[@]}")
fi
echo "${#sources[@]} sources" >&2
[ ${#sources[@]} -eq 0 ] && exit 0
printf '%s\n' "${sources[@]}" | xargs -P "$(nproc)" -n 4 clang-tidy --quiet -p build/clang 2>/dev/null
