#!/bin/bash
# Makes the Python wheel in build/wheel, checks it, and prints its path. With a tervalon.dll for
# 64-bit Windows as argument, the wheel for that.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
python=${TERVALON_PYTHON:-/usr/bin/python3}

scripts/install-deps.sh >&2
export SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-$(git log -1 --format=%ct 2>/dev/null || date +%s)}
[ $# = 0 ] || export TERVALON_LIBRARY=$1
mkdir -p build/wheel
# Here, with what Debian has, and not in an environment that is filled from elsewhere.
name=$(cd python && "$python" -c 'import build_backend as b, sys; print(b.build_wheel(sys.argv[1]))' \
  ../build/wheel | tail -n 1)
"$python" python/check_wheel.py "build/wheel/$name" >&2
echo "$PWD/build/wheel/$name"
