#!/usr/bin/env bash
# Builds the fuzz targets with clang and runs each for SECONDS (60 unless said otherwise). New inputs stay
# under build/clang/corpus; what ends a target stays in the folder named on failure.
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-60}
./scripts/setup.sh checks
./scripts/build.sh clang --target kxcert_fuzz
failed=()
for folder in fuzz/corpus/*/; do
  target=$(basename "$folder")
  found=build/clang/corpus/$target
  crashes=build/clang/crashes/$target
  mkdir -p "$found" "$crashes"
  echo "== $target, $seconds s" >&2
  "build/clang/fuzz/$target" -max_total_time="$seconds" -rss_limit_mb=2048 -timeout=10 -print_final_stats=1 \
    -artifact_prefix="$crashes/" "$found" "$folder" || failed+=("$target, see $crashes")
done
[ ${#failed[@]} -eq 0 ] || { printf 'failed: %s\n' "${failed[@]}" >&2; exit 1; }
