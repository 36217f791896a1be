#!/bin/bash
# Runs the tests over a library that counts what is reached (preset "coverage"), and prints line and
# branch coverage per folder and the lines that nothing reaches. Fails below 95 % of the lines and
# 85 % of the branches of the library.
#
#   scripts/coverage.sh            all tests
#   scripts/coverage.sh CTEST...   those that these arguments of ctest choose, as "-R raw_test"
#   scripts/coverage.sh report     of what was run last
#
# Branches are the outcomes of conditions in the source. Edges that only an exception takes, which
# the compiler adds to every call, and branches of code that it generates by itself do not count.
# platform/win32 is not measured: its tests run under Wine, with another compiler.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

failed=
if [ "${1:-}" != report ]; then
  scripts/install-deps.sh
  cmake --preset coverage >/dev/null
  cmake --build --preset coverage
  find build/coverage -name '*.gcda' -delete
  # Without those that look at the library's symbols, of which this one has more, and those that
  # end processes, which may be adding their counts to the others' just then.
  ctest --preset coverage -E '^(abi_recorded|installed|programs_test)$' "$@" || failed=1
fi
folders='(appsvc|datamgr|db3|numerics|platform|plot|processing|raw|settings)/'
gcovr --root . --filter "$folders" --exclude-throw-branches --exclude-unreachable-branches \
  -j "$(nproc)" --json build/coverage/coverage.json build/coverage/CMakeFiles/tervalon_objects.dir

python3 - build/coverage/coverage.json <<'PYTHON'
import collections, json, os, sys

LEAST = {"lines": 95.0, "branches": 85.0}
counts = collections.defaultdict(collections.Counter)
print("Lines that nothing reaches:")
for file in sorted(json.load(open(sys.argv[1]))["files"], key=lambda file: file["file"]):
    unreached = []
    for line in file["lines"]:
        if line.get("gcovr/noncode"):
            continue
        if line["count"] == 0:
            unreached.append(line["line_number"])
        for folder in (os.path.dirname(file["file"]), "all"):
            counts[folder]["lines"] += 1
            counts[folder]["lines reached"] += line["count"] > 0
            counts[folder]["branches"] += len(line["branches"])
            counts[folder]["branches reached"] += sum(b["count"] > 0 for b in line["branches"])
    if unreached:
        print(f"  {file['file']}: {' '.join(map(str, unreached))}")
print(f"\n{'folder':20} {'lines':>16} {'branches':>16}")
failed = False
for folder, count in sorted(counts.items(), key=lambda item: (item[0] == "all", item[0])):
    row = f"{folder:20}"
    for kind, least in LEAST.items():
        share = 100 * count[f"{kind} reached"] / max(1, count[kind])
        row += f" {share:7.1f} % {count[kind]:6}"
        failed |= folder == "all" and share < least
    print(row)
sys.exit(f"below {LEAST['lines']:.0f} % of the lines or {LEAST['branches']:.0f} % of the branches" if failed else 0)
PYTHON
[ -z "$failed" ] || { echo "A test failed."; exit 1; }
