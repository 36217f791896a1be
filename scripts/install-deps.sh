#!/bin/bash
# Installs with apt what building and testing need, where it is missing. Debian 12 and later.
set -euo pipefail

packages=(
  g++ cmake ninja-build
  g++-mingw-w64-i686-posix g++-mingw-w64-i686-win32     # 32-bit Windows
  g++-mingw-w64-x86-64-posix g++-mingw-w64-x86-64-win32 # 64-bit Windows
  wine64 xvfb xauth                                     # its tests
  libcairo2-dev pkg-config fonts-dejavu-core            # pictures on Linux
  libgtk-3-dev xdotool imagemagick xclip                # the viewer and its test
  googletest libbenchmark-dev                           # tests and benchmarks
  libcli11-dev nlohmann-json3-dev                       # the command-line program
  zlib1g-dev libz-mingw-w64-dev libexpat1-dev           # its export and import
  libsqlite3-dev libnetcdf-dev sqlite3 netcdf-bin       # and more of its export
  shapelib libshp-dev python3-dbf                       # tests and benchmarks of record files
  clang-format clang-tidy debootstrap                   # scripts/test.sh, scripts/wine.sh
  cppcheck gcovr                                        # scripts/analyse.sh, scripts/coverage.sh
  clang libclang-rt-14-dev llvm                         # scripts/fuzz.sh
  python3-scipy python3-cffi python3-numpy python3-pandas python3-matplotlib python3-pytest python3-venv # Python
  python3-distributed snakemake                         # examples/batch
  lintian dpkg-dev zip doxygen mandoc zsh fish         # packages and manual
)
missing=()
for package in "${packages[@]}"; do
  [ "$(dpkg-query -W -f '${db:Status-Status}' "$package" 2>/dev/null)" = installed ] ||
    missing+=("$package")
done
[ ${#missing[@]} != 0 ] || exit 0

echo "installing ${missing[*]}"
as_root=(env DEBIAN_FRONTEND=noninteractive)
[ "$(id -u)" = 0 ] || as_root=(sudo "${as_root[@]}")
log=$(mktemp)
trap 'rm -f "$log"' EXIT
install() { "${as_root[@]}" apt-get install -q -y --no-install-recommends "${missing[@]}" </dev/null; }
# The lists on the machine may be missing or name versions that are gone.
if ! install >"$log" 2>&1 &&
  ! { "${as_root[@]}" apt-get update -q && install; } >>"$log" 2>&1; then
  cat "$log" >&2
  exit 1
fi
