#!/usr/bin/env bash
# Builds the benchmarks and runs them; arguments go to the program (--benchmark_filter=decode, ...).
set -euo pipefail
cd "$(dirname "$0")/.."
./scripts/setup.sh
./scripts/build.sh release
exec ./build/release/bench/kxcert_bench --benchmark_min_time=0.3 --benchmark_repetitions=3 \
  --benchmark_report_aggregates_only=true "$@"
