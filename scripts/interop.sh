#!/bin/bash
# Runs that are exported, imported and exported again, read by programs that nobody here wrote:
# OpenMS (validation of schema and semantics, and its FileConverter), ProteoWizard's library and
# pymzml. Installs them with apt where they are missing. TERVALON_TEST_DATA names a folder of raw
# directories, and in its folder mzml files that others wrote.
# TERVALON_INTEROP_SCANS: scans of the run that is timed, 5001 points and more each (default 1500).
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(topp openms-common libpwizlite-dev python3-pymzml python3-numpy)
missing=()
for package in "${packages[@]}"; do
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
    missing+=("$package")
done
if [ ${#missing[@]} != 0 ]; then
  echo "installing ${missing[*]}"
  as_root=(env DEBIAN_FRONTEND=noninteractive)
  [ "$(id -u)" = 0 ] || as_root=(sudo "${as_root[@]}")
  install=("${as_root[@]}" apt-get -o DPkg::Lock::Timeout=600 install -q -y
    --no-install-recommends "${missing[@]}")
  "${install[@]}" </dev/null >/dev/null ||
    { "${as_root[@]}" apt-get update -q >/dev/null && "${install[@]}" </dev/null >/dev/null; }
fi

folder=$PWD/build/interop
rm -rf "$folder"
mkdir -p "$folder"
root=$PWD
[ -x build/release/bin/tervalon ] || { cmake --preset release && cmake --build --preset release; } \
  >"$folder/build.log"
tervalon=$root/build/release/bin/tervalon
export LD_LIBRARY_PATH=$root/build/release/lib
g++ -O1 -std=c++20 -Iinclude -I. tests/interop/raw_points.cc -o "$folder/raw_points" \
  -Lbuild/release/lib -ltervalon -lz
# Its headers are not free of warnings.
g++ -O1 -std=c++17 -w -I. -isystem /usr/include/pwizlite tests/interop/pwiz_points.cc \
  -o "$folder/pwiz_points" -lpwizlite -lz -lpthread
# Whatever Python comes first in the path: the packages are Debian's.
pymzml=(/usr/bin/python3 "$root/tests/interop/pymzml_points.py")
cd "$folder"

passed=0 failed=0
ok() { # WHAT COMMAND...
  local what=$1 status=0
  shift
  "$@" >check.log 2>&1 || status=$?
  if [ $status = 0 ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    echo "FAILED: $what"
    head -8 check.log | cut -c1-300 | sed 's/^/    /'
  fi
  return 0
}
trap 'printf "\n%d passed, %d failed\n" $passed $failed' EXIT

same() { diff <("${@:3}" "$1") "$2"; }                # FILE EXPECTED READER...
same_spectra() { diff <("${@:3}" "$1" 2>/dev/null) <(grep '^S' "$2"); } # pymzml lists no chromatograms
valid() { # FILE: schema and semantics
  FileInfo -v -in "$1" >info.log 2>&1 || true
  if [ "$(grep -c '^Success' info.log)" != 2 ] || grep -q '^Error\|ERROR' info.log; then
    cat info.log
    return 1
  fi
}
# Points without the names of spectra, which an import does not keep, in any order.
points() { sed -nE 's/^S .* time=.* (n=.*)/\1/p' | sort; }
masses() { sed -nE 's/^S .* time=.* (n=[0-9]+ [0-9a-f]+) .*/\1/p' | sort; }
binaries() { grep -o '<binary>[^<]*' "$1"; }

# --- Exports, and what becomes of them

directories=()
"$tervalon" simulate run.RAW --scans 60 --duration 3
"$tervalon" simulate short.RAW --scans 1 --duration 0.01 --seed 5
directories+=("$PWD/run.RAW" "$PWD/short.RAW")
if [ -n "${TERVALON_TEST_DATA:-}" ]; then
  for directory in "$TERVALON_TEST_DATA"/*.RAW; do directories+=("$directory"); done
fi
options=("" "--compression none" "--precision 64" "--precision 32"
  "--compression numpress" "--compression numpress-zlib")
for directory in "${directories[@]}"; do
  name=$(basename "$directory" .RAW)
  ./raw_points "$directory" >"$name.points"
  for option in "${options[@]}"; do
    file=$name.mzML
    rm -f "$file"
    # shellcheck disable=SC2086 # options are words
    ok "$name: export $option" "$tervalon" export "$directory" -o "$file" $option
    ok "$name $option: OpenMS finds it valid" valid "$file"
    if [[ $option == *numpress* ]]; then # which rounds
      "$tervalon" export "$directory" -o "$name.exact.mzML" --compression none
      ok "$name $option: ProteoWizard reads nearly the same" \
        ./pwiz_points "$file" near "$name.exact.mzML"
      continue
    fi
    ok "$name $option: ProteoWizard reads the same" same "$file" "$name.points" ./pwiz_points
  done
  rm -f "$name.mzML"
  "$tervalon" export "$directory" -o "$name.mzML"
  ok "$name: pymzml reads the same" same_spectra "$name.mzML" "$name.points" "${pymzml[@]}"
  ok "$name: import" "$tervalon" import "$name.mzML" -o "$name.again.RAW"
  ok "$name: the import has the same points" same "$name.again.RAW" "$name.points" ./raw_points
  ok "$name: export again" "$tervalon" export "$name.again.RAW" -o "$name.again.mzML"
  ok "$name: the same bytes" cmp <(binaries "$name.mzML") <(binaries "$name.again.mzML")
  gzip -k "$name.mzML"
  ok "$name: import of gzip" "$tervalon" import "$name.mzML.gz" -o "$name.gzip.RAW"
  ok "$name: the same points of gzip" same "$name.gzip.RAW" "$name.points" ./raw_points
  ok "$name: FileConverter" FileConverter -in "$name.mzML" -out "$name.openms.mzML"
  ok "$name: import from OpenMS" "$tervalon" import "$name.openms.mzML" -o "$name.openms.RAW"
  # It sorts points by their masses, and makes chromatograms of reactions.
  ok "$name: the same points from OpenMS" diff <(./raw_points "$name.openms.RAW" sorted | points) \
    <(./raw_points "$directory" sorted | grep -v reactions | points)
done

# --- Files that others wrote

import_others() { # FILE NAME
  local report=$2.json error
  if ! "$tervalon" import "$1" -o "$2.RAW" --json >"$report" 2>"$2.error"; then
    grep -q "the 33rd kind of scan" "$2.error" || { cat "$2.error"; return 1; }
    [ ! -e "$2.RAW" ] || { echo "a refused file has left a directory"; return 1; }
    "$tervalon" import "$1" -o "$2.RAW" --any-window --json >"$report" || return 1
  fi
  "$tervalon" check "$2.RAW" || return 1
  ./raw_points "$2.RAW" >"$2.points"
  # Neither reads all of these files.
  if ! ./pwiz_points "$1" >"$2.pwiz" 2>/dev/null && ! "${pymzml[@]}" "$1" >"$2.pwiz" 2>/dev/null; then
    echo "$2: imported, but neither ProteoWizard nor pymzml reads it" >>unread.txt
    return 0
  fi
  diff <(masses <"$2.pwiz") <(masses <"$2.points") || return 1
  # Where a data type rounds intensities it says so.
  error=$(python3 -c 'import json, sys
print(max([f["intensity_error"] for f in json.load(open(sys.argv[1]))["functions"]] + [0]) < 1e-7)' \
    "$report")
  [ "$error" = False ] || diff <(points <"$2.pwiz") <(points <"$2.points")
}
if [ -d "${TERVALON_TEST_DATA:-}/mzml" ]; then
  for file in "$TERVALON_TEST_DATA"/mzml/*.mzML*; do
    name=$(basename "$file")
    name=others_${name%%.mzML*}
    ok "$name: import" import_others "$file" "$name"
    ok "$name: FileConverter" FileConverter -in "$file" -out "$name.openms.mzML"
    ok "$name: import from OpenMS" import_others "$name.openms.mzML" "$name.openms"
  done
fi

[ ! -e unread.txt ] || cat unread.txt

# --- Centroids (docs/processing.md has the differences)

same_peaks() { # DIRECTORY FUNCTION PICKED MISSING
  /usr/bin/python3 -W ignore "$root/tests/interop/peak_judge.py" "$tervalon" "$@" >peaks.log 2>&1 ||
    { grep -v '^lopsided' peaks.log; return 1; }
}
pick_and_compare() { # DIRECTORY FUNCTION
  rm -f profile.mzML picked.mzML
  "$tervalon" export "$1" -f "$2" -o profile.mzML &&
    PeakPickerHiRes -in profile.mzML -out picked.mzML && same_peaks "$1" "$2" picked.mzML 0
}
if [ -d "${TERVALON_TEST_DATA:-}/HYBRID.RAW" ]; then
  for function in 1 2; do
    ok "HYBRID.RAW, function $function: OpenMS finds the same peaks" \
      pick_and_compare "$TERVALON_TEST_DATA/HYBRID.RAW" $function
  done
fi
if [ -d "${TERVALON_TEST_DATA:-}/mzml" ]; then
  ok "peaks that OpenMS' tutorial found" same_peaks others_peakpicker_tutorial_2.RAW 1 \
    "$TERVALON_TEST_DATA/mzml/peakpicker_tutorial_2_picked.mzML" 0
  ok "peaks that OpenMS' test found" same_peaks others_PeakPickerHiRes_orbitrap.RAW 1 \
    "$TERVALON_TEST_DATA/mzml/PeakPickerHiRes_orbitrap_sn1_out.mzML" 2
fi

# --- Time and memory

# Seconds and kilobytes that a command takes at most.
measure() {
  python3 -c 'import resource, subprocess, sys, time
start = time.monotonic()
subprocess.run(sys.argv[1:], stdout=subprocess.DEVNULL, check=True)
print(time.monotonic() - start, resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)' "$@"
}
median() { sort -n | sed -n 2p; }
"$tervalon" simulate big.RAW --scans "${TERVALON_INTEROP_SCANS:-1500}" --duration 30
for compression in zlib none; do
  rm -rf big.mzML
  "$tervalon" export big.RAW -f 1 -f 2 -o big.mzML --compression $compression
  : >import.times
  : >openms.times
  for _ in 1 2 3; do
    measure "$tervalon" import big.mzML -o big.again.RAW --force >>import.times
    measure FileInfo -in big.mzML >>openms.times
  done
  read -r import memory < <(median <import.times)
  read -r openms _ < <(median <openms.times)
  echo "$(du -m big.mzML | cut -f1) MB, $compression: import $import s, OpenMS $openms s, ratio" \
    "$(python3 -c "print(round($import / $openms, 2))"); the import's memory $((memory / 1024)) MB"
  ok "import of $compression takes 0.7 of OpenMS' time" \
    python3 -c "import sys; sys.exit($import > 0.7 * $openms)"
  ok "import of $compression takes 64 MB" [ "$memory" -lt 65536 ]
done

[ $failed = 0 ]
