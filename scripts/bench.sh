#!/usr/bin/env bash
# Builds and runs the benchmarks; arguments go to the benchmark programs (--benchmark_filter=...).
set -euo pipefail
cd "$(dirname "$0")/.."
programs=(raw_bench datamgr_bench numerics_bench db3_bench plot_bench picture_bench processing_bench
  exchange_bench)
cmake --preset bench >/dev/null
cmake --build --preset bench --target "${programs[@]}"
for program in "${programs[@]}"; do build/bench/bin/"$program" "$@"; done
