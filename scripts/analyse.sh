#!/bin/bash
# Static analysis, which has to be clean: cppcheck over library and program, for both platforms, and
# GCC's analyser over what is C (it does not know C++ yet). What is left out, and why, stands in
# cmake/cppcheck.txt. clang-tidy, with its bugprone and analyser checks, is a step of
# scripts/test.sh; .clang-tidy says what it leaves out.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
scripts/install-deps.sh

common=(appsvc datamgr db3 numerics plot processing raw settings tools viewer platform)
check() { # PLATFORM OPTION...
  cppcheck --quiet -j "$(nproc)" --std=c++20 --language=c++ --platform="$1" "${@:2}" \
    --enable=warning,performance,portability --inline-suppr --error-exitcode=1 \
    --suppressions-list=cmake/cppcheck.txt --template='{file}:{line}: {id}: {message}' \
    -I . -I include -DTERVALON_BUILD "${common[@]}"
}
check unix64 -i platform/win32 -i tools/win32 -i viewer/win32
# The plain types stand for the system's header.
check win32A -i platform/linux -i tools/linux -i viewer/gtk -D_WIN32 -D__i386__ -DTERVALON_PLAIN_TYPES

analyse_c() { # COMPILER, files on standard input
  xargs -r -P "$(nproc)" -I{} "$1" -std=gnu11 -I include -O2 -Wall -Wextra -Werror -fanalyzer -c {} -o /dev/null
}
mapfile -t sources < <(git ls-files 'examples/*.c' 'tests/*.c' 'python/*.c')
grep -L '<windows.h>' "${sources[@]}" | analyse_c gcc
grep -l '<windows.h>' "${sources[@]}" | analyse_c i686-w64-mingw32-gcc-posix
echo "clean"
