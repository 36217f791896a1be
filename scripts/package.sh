#!/bin/bash
# Makes the packages, in build/packages: Debian packages, an archive for Linux, and one for each
# Windows.
# Installs what is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
umask 022

build() { # PRESET TARGET...
  cmake --preset "$1" >/dev/null
  cmake --build --preset "$1" --target tervalon tervalon_static tervalon_tool tervalon_viewer "${@:2}"
}

scripts/install-deps.sh
if command -v ccache >/dev/null; then
  export CMAKE_C_COMPILER_LAUNCHER=ccache CMAKE_CXX_COMPILER_LAUNCHER=ccache
fi
# Of the last commit, so that the same sources give the same packages.
SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || date +%s)}
export SOURCE_DATE_EPOCH
version=$(sed -nE 's/^#define TERVALON_VERSION_(MAJOR|MINOR|PATCH) ([0-9]+)$/\2/p' \
  include/tervalon/version.h | paste -sd.)
packages=$PWD/build/packages
rm -rf "$packages"
mkdir -p "$packages"

build package tervalon_manual_pages tervalon_python
(cd build/package && cpack -B "$packages" >/dev/null)
rm -rf "$packages/_CPack_Packages"
lintian --fail-on error "$packages"/*.deb

# An archive is one folder, which works wherever it is.
stage() { # PRESET NAME TARGET...
  build "$1" "${@:3}"
  cmake --install "build/$1" --prefix "$packages/$2" --strip >/dev/null
  cp CHANGELOG.md "$packages/$2/"
  cp -R examples "$packages/$2/"
}
seal() { # NAME ARCHIVE COMMAND...
  find "$packages/$1" -exec touch -h -d "@$SOURCE_DATE_EPOCH" {} +
  (cd "$packages" && "${@:2}")
  rm -r "${packages:?}/$1"
}

name=tervalon-$version-linux-$(uname -m)
stage release "$name" tervalon_manual_pages
cp README.md "$packages/$name/"
seal "$name" tar --sort=name --owner=0 --group=0 --numeric-owner -czf "$name.tar.gz" "$name"

for processor in i686 x86_64; do
  name=tervalon-$version-windows-$processor
  stage "windows-$processor" "$name"
  sed "s/@processor@/$processor/g; s/@version@/$version/g" packaging/windows-readme.md |
    sed 's/$/\r/' >"$packages/$name/README.md"
  seal "$name" zip -qrX "$name.zip" "$name"
done

echo "In build/packages:"
ls -l "$packages" | awk 'NF > 2 { printf "%10d  %s\n", $5, $9 }'
