#!/bin/bash
# Tests the Python package as it is installed: makes the wheel, puts it into a virtual environment of
# its own, and runs the tests there. Arguments go to pytest.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
python=${TERVALON_PYTHON:-/usr/bin/python3}

wheel=$(scripts/wheel.sh | tail -n 1)
cmake --build build/release --target tervalon_tool >/dev/null
environment=$PWD/build/python
rm -rf "$environment"
# The packages that the wheel needs are Debian's.
"$python" -m venv --system-site-packages "$environment"
"$environment/bin/pip" install -q --no-index --no-deps "$wheel"
export TERVALON_TOOL=$PWD/build/release/bin/tervalon PATH=$environment/bin:$PATH
export PYTHONDONTWRITEBYTECODE=1 MPLBACKEND=Agg
python -X faulthandler -m pytest -q python/tests "$@"
