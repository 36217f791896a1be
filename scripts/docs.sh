#!/bin/bash
# Makes the manual, in build/docs/html: the reference from the public headers, and the pages of docs/.
# A warning is an error, as is an export without a description. Installs what is missing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

scripts/install-deps.sh
rm -rf build/docs
mkdir -p build/docs
version=$(sed -nE 's/^#define TERVALON_VERSION_(MAJOR|MINOR|PATCH) ([0-9]+)$/\2/p' \
  include/tervalon/version.h | paste -sd.)
{
  cat docs/manual/Doxyfile
  echo "PROJECT_NUMBER = $version"
  echo "STRIP_FROM_PATH = $PWD/docs $PWD"
  echo "OUTPUT_DIRECTORY = build/docs"
} | doxygen -
docs/manual/check_complete.py build/docs/xml
echo "The manual is build/docs/html/index.html"
