#!/bin/bash
# Runs the fuzzers (fuzz/README.md) side by side, as many at a time as there are cores.
#
#   scripts/fuzz.sh MINUTES [TARGET...]   for so many minutes in all, a fraction too; each target the
#                                         same share. After a minute and more, says what their
#                                         inputs reach
#   scripts/fuzz.sh coverage              only says that, of the inputs that are there
#   scripts/fuzz.sh keep [TARGET...]      makes fuzz/corpus anew: of what was kept and what was found
#                                         the smallest that reach as much
#
# Inputs are collected in build/fuzz/inputs/TARGET, findings in build/fuzz/findings/TARGET. What a
# run has cost is added to build/fuzz/account: date, target, processor seconds, executions.
#
# TERVALON_FUZZ_NICE   a command in front of the fuzzers, "chrt -i 0" say
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

usage() {
  sed -n '4,9s/^# *//p' "${BASH_SOURCE[0]}" >&2
  exit 2
}
[ $# -gt 0 ] || usage
what=$1
shift
all_targets=(scans header members directory settings database text)
targets=("$@")
[ $# -gt 0 ] || targets=("${all_targets[@]}")

build() { # PRESET
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" >build/"$1".log || { cat build/"$1".log; exit 1; }
}

# The sanitizers' own memory is touched again soon, which makes the fuzzers faster.
export ASAN_OPTIONS=malloc_context_size=3:quarantine_size_mb=8:handle_abort=1
export UBSAN_OPTIONS=print_stacktrace=1
out=$PWD/build/fuzz
fuzzer=$out/bin/tervalon_fuzz
limits=(-max_len=12288 -timeout=60 -rss_limit_mb=1024 -malloc_limit_mb=64)

folders_of() { # TARGET
  echo "$out/corpus/$1"
  [ ! -d fuzz/findings/"$1" ] || echo "fuzz/findings/$1"
}

# Until its time is over: a finding ends the fuzzer, which then starts again.
run() { # TARGET SECONDS
  local target=$1 end=$((SECONDS + $2)) findings=$out/findings/$1 log=$out/logs/$1
  mkdir -p "$findings" "$out/inputs/$target" "$out/logs"
  local executions=0 edges=0 ran=0 left status
  mapfile -t folders < <(folders_of "$target")
  local before
  before=$(find "$findings" -type f | wc -l)
  while left=$((end - SECONDS)) && [ $left -gt 0 ]; do
    status=0
    { TIMEFORMAT='%U %S'; time ${TERVALON_FUZZ_NICE:-} "$fuzzer" --target="$target" "${limits[@]}" \
      -max_total_time=$left -print_final_stats=1 -artifact_prefix="$findings/" \
      "$out/inputs/$target" "${folders[@]}" >"$log" 2>&1; } 2>"$log.time" || status=$?
    local times did
    times=$(tail -1 "$log.time")
    did=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log" | tail -1)
    executions=$((executions + ${did:-0}))
    ran=$(awk -v a="$ran" -v b="${times% *}" -v c="${times#* }" 'BEGIN { print a + b + c }')
    edges=$(sed -n 's/.* cov: \([0-9]*\).*/\1/p' "$log" | tail -1)
    if [ $status != 0 ]; then
      cp "$log" "$findings.$(date +%s).log"
      sleep 1
    fi
  done
  echo "$(date -u +%FT%TZ) $target $ran $executions" >>"$out/account"
  printf '%-10s %9d executions %7.0f a second %6d edges %3d findings\n' "$target" "$executions" \
    "$(awk -v e="$executions" -v s="$ran" 'BEGIN { print (s > 0 ? e / s : 0) }')" "${edges:-0}" \
    $(($(find "$findings" -type f | wc -l) - before))
}

# The lines of the sources that read which no input reaches.
coverage() {
  build fuzz-coverage
  local bin=$PWD/build/fuzz-coverage/bin/fuzz_replay
  rm -rf "$out/profiles"
  for target in "${all_targets[@]}"; do
    mapfile -t folders < <(folders_of "$target")
    [ ! -d "$out/inputs/$target" ] || folders+=("$out/inputs/$target")
    LLVM_PROFILE_FILE=$out/profiles/$target "$bin" "$target" "${folders[@]}" >/dev/null 2>&1 ||
      echo "$target: an input fails"
  done
  llvm-profdata merge -o "$out/profile" "$out"/profiles/*
  llvm-cov export -format=lcov -instr-profile="$out/profile" "$bin" |
    awk -F'[:,]' '
      NR == FNR { reads[$1] = 1; next }
      /^SF/ { file = $2; sub(".*/\\.\\./", "", file); sub(ENVIRON["PWD"] "/", "", file)
              counts = file in reads; unreached = "" }
      counts && /^DA/ { ++lines; if ($3 == 0) { unreached = unreached " " $2; ++missing } }
      counts && /^end_of_record/ && unreached != "" { print file ":" unreached }
      END { printf "%d lines of the sources that read, %.1f %% of them reached\n", lines,
                   100 - 100 * missing / lines }' fuzz/reading_sources.txt -
}

keep() {
  for target in "${targets[@]}"; do
    local kept=$out/kept/$target
    rm -rf "$kept"
    mkdir -p "$kept" "$out/inputs/$target" "$out/logs"
    "$fuzzer" --target="$target" "${limits[@]}" -use_counters=0 -merge=1 "$kept" \
      "$out/corpus/$target" "$out/inputs/$target" >"$out/logs/$target.merge" 2>&1
    tar -C "$out/kept" --sort=name --mtime=@0 --owner=0 --group=0 --numeric-owner -c "$target" |
      gzip -9n >fuzz/corpus/"$target".tar.gz
    echo "$target: $(find "$kept" -type f | wc -l) inputs kept"
  done
}

mkdir -p build
build fuzz
rm -rf "$out/corpus"
mkdir -p "$out/corpus"
for kept in fuzz/corpus/*.tar.gz; do tar -C "$out/corpus" -xzf "$kept"; done
case $what in
  coverage) coverage ;;
  keep) keep ;;
  [0-9]*)
    cores=$(nproc)
    share=$(awk -v m="$what" -v c="$cores" -v n=${#targets[@]} \
      'BEGIN { c = c < n ? c : n; s = int(m * 60 * c / n); print (s > 0 ? s : 1) }')
    for target in "${targets[@]}"; do
      while [ "$(jobs -rp | wc -l)" -ge "$cores" ]; do wait -n; done
      run "$target" "$share" &
    done
    wait
    # In less than a minute nothing new is reached.
    [ "${what%%.*}" = 0 ] || coverage
    [ -z "$(find "$out/findings" -type f)" ] || {
      echo "findings are in build/fuzz/findings"
      exit 1
    }
    ;;
  *) usage ;;
esac
