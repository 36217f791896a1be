#!/bin/bash
# All checks: formatting, and the tests of every preset, the Windows ones under Wine.
# Installs what is missing. Stops at the first failure.
#
#   scripts/test.sh         the tests of both platforms, and of the Python package
#   scripts/test.sh --all   also what takes longer: clang-tidy, what depends on the optimiser and on
#                           64-bit Windows, longer runs of programs, lives, limits and wrong
#                           arguments, threads under ThreadSanitizer, exports and imports judged by
#                           programs of others, static analysis, the fuzzers for half a minute, the
#                           manual, and the packages, which are installed in a bare Debian
#
# TERVALON_TEST_DATA   a folder of acquisitions with the values expected of them; by default the one
#                      beside the clone, where it is there. Tests that need it are skipped without.
# CI                   when set, a Windows test that cannot be run is a failure
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

case ${1:-} in
  '') all= ;;
  --all) all=1 ;;
  *)
    sed -n '5,10s/^# *//p' "${BASH_SOURCE[0]}" >&2
    exit 2
    ;;
esac

step() { printf '\n== %s (after %d s)\n' "$*" "$SECONDS"; }

configure_and_build() { # PRESET OPTION...
  step "build $1"
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$@"
}

passed=0
failed=0
run_tests() { # PRESET OPTION...
  step "test $1"
  local status=0
  ctest --preset "$@" | tee build/ctest.log || status=$?
  local counts
  counts=$(sed -nE 's/.*, ([0-9]+) tests? failed out of ([0-9]+).*/\1 \2/p' build/ctest.log)
  counts=${counts:-0 0}
  failed=$((failed + ${counts% *}))
  passed=$((passed + ${counts#* } - ${counts% *}))
  return $status
}
# The last line, also where a step fails.
trap 'status=$?; [ $status = 0 ] || echo "A step failed."
  printf "\n%d passed, %d failed\n" $passed $failed' EXIT

scripts/install-deps.sh
if [ -z "${TERVALON_TEST_DATA:-}" ] && [ -d ../shared/data ]; then
  TERVALON_TEST_DATA=$(cd ../shared/data && pwd)
  export TERVALON_TEST_DATA
fi
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
  # It keeps nothing that uses precompiled headers otherwise.
  export CCACHE_SLOPPINESS=pch_defines,time_macros,include_file_mtime,include_file_ctime
fi
mkdir -p build
# Takes minutes the first time.
(scripts/wine.sh setup && scripts/wine.sh setup x86_64) </dev/null >build/wine.log 2>&1 &
wine=$!

step "formatting"
git ls-files -z --cached --others --exclude-standard '*.cc' '*.h' '*.c' |
  xargs -0 clang-format --dry-run -Werror

configure_and_build asan
if [ -n "$all" ]; then
  step "clang-tidy"
  cmake --preset lint >/dev/null
  scripts/clang_tidy.py
  # Longer runs of the same tests.
  export TERVALON_CALLERS_SEQUENCES=20 TERVALON_PROGRAMS_TIMES=2
fi
run_tests asan
configure_and_build windows-i686
if [ -n "$all" ]; then
  # What the size of a pointer, another calling convention and another Wine can change.
  # Without the tests that start many programs, for which this Wine now and then waits for ever.
  suites=(platform_test plot_test)
  configure_and_build windows-x86_64 \
    --target tervalon tervalon_static tervalon_tool tervalon_viewer abi_client "${suites[@]}"
fi
# What the optimiser can change, and what takes the sanitizers too long.
optimised=()
[ -z "$all" ] || optimised+=(limits_test lives_test numerics_test plot_test programs_test raw_test)
configure_and_build release \
  --target tervalon tervalon_static tervalon_tool tervalon_viewer abi_client "${optimised[@]}"

any_of() { (IFS='|' && echo "^($*)"); }
step "Wine"
status=0
wait $wine || status=$?
cat build/wine.log
if [ $status = 0 ]; then
  run_tests windows-i686
  [ -z "$all" ] || run_tests windows-x86_64 -R "$(any_of abi installed "${suites[@]}")"
elif [ -n "${CI:-}" ]; then
  exit 1
else
  echo "The Windows tests are not run."
fi
if [ -n "$all" ]; then
  export TERVALON_PROGRAMS_TIMES=4 # of what programs do to files that they share
  export TERVALON_PROGRAMS_KILLS=100 TERVALON_LIMITS=1 TERVALON_LIVES_STEPS=1000000
  export TERVALON_ACQUISITION_TIME=60 # seconds of an acquisition that others read
fi
run_tests release -R "$(any_of abi installed gtk_viewer "${optimised[@]}")"

step "Python"
scripts/python_test.sh

if [ -n "$all" ]; then
  step "other programs"
  scripts/interop.sh
  step "static analysis"
  scripts/analyse.sh
  step "fuzzers"
  scripts/fuzz.sh 0.5
  configure_and_build tsan
  run_tests tsan
  step "manual"
  scripts/docs.sh
  step "packages"
  scripts/package.sh
  step "a bare Debian"
  tests/install/bare_root_test.sh build/packages
fi
