#!/usr/bin/env bash
# Builds and runs the benchmarks and prints their tables: each job beside the plain work that it is
# measured against, and the target. The figures go to bench/results/ as JSON.
#   --against FILE   says what has become slower than 1.15 times since such a file, and fails
# All other arguments go to the benchmark programs (--benchmark_filter=...). The large functions
# are 1 GB; TERVALON_BENCH_MEGABYTES=64 is enough for a look. At the end comes the table of growth:
# time and memory for each unit of work over four sizes (growth_bench --large: up to 4 GiB and ten
# million scans).
set -euo pipefail
against=
if [ "${1:-}" = --against ]; then
  against=$(realpath "$2")
  shift 2
fi
cd "$(dirname "$0")/.."
programs=(raw_spectra_bench raw_traces_bench raw_scans_bench start_bench datamgr_bench
  numerics_bench db3_bench plot_bench picture_bench viewer_bench processing_bench exchange_bench)
cmake --preset bench >/dev/null
cmake --build --preset bench --target "${programs[@]}" growth_bench
parts=$(mktemp -d)
trap 'rm -r "$parts"' EXIT
for program in "${programs[@]}"; do
  echo "== $program"
  TERVALON_BENCH_JSON="$parts/$program.json" "build/bench/bin/$program" "$@"
done
mkdir -p bench/results
result=bench/results/$(git describe --always --dirty).json
build/bench/bin/growth_bench
/usr/bin/python3 scripts/bench_results.py "$parts" "$result" ${against:+"$against"}
