#!/usr/bin/env bash
# Builds and runs the benchmarks; arguments go to the benchmark program (--benchmark_filter=...).
set -euo pipefail
cd "$(dirname "$0")/.."
cmake --preset bench >/dev/null
cmake --build --preset bench --target raw_bench
exec build/bench/bin/raw_bench "$@"
