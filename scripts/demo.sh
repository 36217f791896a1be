#!/bin/bash
# The main job from end to end: writes an acquisition through the library, then reads it back as a
# person would, on Linux and, where a Wine can be had, from the Windows DLL.
#
# Installs what is missing and builds into build/. The acquisition goes to build/demo/DEMO.RAW.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

say() { printf '\n\033[1m%s\033[0m\n' "$*"; }
show() {
  printf '\n$ tervalon %s\n' "$*"
  "$tervalon" "$@"
}

build() {
  cmake --preset "$1" >build/demo.log 2>&1 &&
    cmake --build --preset "$1" --target tervalon_tool >>build/demo.log 2>&1
}

scripts/install-deps.sh
mkdir -p build
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
say "Building the library and its command-line program"
build release || { cat build/demo.log >&2; exit 1; }
project=$PWD
tervalon=$project/build/release/bin/tervalon
mkdir -p build/demo
cd build/demo

say "1. An acquisition: seven compounds elute one after the other into three functions"
show simulate DEMO.RAW --force
show info DEMO.RAW

say "2. The spectrum at the top of the strongest chromatographic peak: a molecule and its isotopes"
show spectrum DEMO.RAW -f 1 -t 4.67 --top 8 --plot

say "3. Three chromatograms: all ions, the strongest ion of every scan, and one compound alone"
show chrom DEMO.RAW -f 1 --tic --plot
show chrom DEMO.RAW -f 1 --bpi --plot
show chrom DEMO.RAW -f 2 --mass 195.0-195.2 --plot

say "4. The same data from the 32-bit Windows DLL"
questions=('info DEMO.RAW' 'spectrum DEMO.RAW -f 1 -t 4.67' 'spectrum DEMO.RAW -f 2 -s 100'
  'chrom DEMO.RAW -f 1 --tic' 'chrom DEMO.RAW -f 2 --mass 195.0-195.2' 'chrom DEMO.RAW -f 3 --bpi')
if ! (cd "$project" && scripts/wine.sh setup) </dev/null 2>wine.log; then
  cat wine.log
  echo "There is no Wine here that runs 32-bit programs: this step is left out."
elif ! (cd "$project" && build windows-i686); then
  cat "$project/build/demo.log" >&2
  exit 1
else
  for question in "${questions[@]}"; do
    read -ra words <<<"$question"
    "$tervalon" "${words[@]}" --json >linux.json
    "$project/scripts/run-windows.sh" "$project/build/windows-i686/bin/tervalon.exe" \
      "${words[@]}" --json >windows.json </dev/null
    if diff --strip-trailing-cr linux.json windows.json >difference.txt; then
      printf '  %-45s the same from Linux and Windows\n' "$question"
    else
      printf '  %-45s differs:\n' "$question"
      head -n 20 difference.txt
      exit 1
    fi
  done
fi

say "5. Pictures: a chromatogram, a spectrum, and the scans over a peak one behind another"
show plot DEMO.RAW --trace TIC,AN1 -o chromatogram.png
show plot DEMO.RAW -t 4.67 --magnify 100-420x20 --magnify 490-700x20 -o spectrum.png
show plot DEMO.RAW -f 2 -s 136-146 --layout 3d --filled --range 452-462 -o peak.png

say "6. Answers: the peaks of the chromatogram with their areas, and a spectrum less its background"
show peaks DEMO.RAW
show plot DEMO.RAW --peaks -o peaks.png
show combine DEMO.RAW -f 2 -t 4.5-4.9 --background-time 3.8-4 --save --plot
show history DEMO.RAW

say "Done"
files=(DEMO.RAW/*)
printf 'The pictures are in %s: chromatogram.png, spectrum.png, peak.png, peaks.png\n' "$PWD"
printf 'DEMO.RAW holds %d files, %s; look further with\n  %s --help\n' "${#files[@]}" \
  "$(du -sh DEMO.RAW | cut -f1)" "$tervalon"
