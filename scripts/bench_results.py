"""Joins the figures of the benchmark programs, prints the table, compares it with an earlier one.

    bench_results.py FOLDER RESULT [EARLIER]

FOLDER has a JSON file of each program, RESULT is written. Rows, being ratios within one run, are
compared; times of different runs are not. Fails if a row is more than 1.15 times what it was.
"""

import json
import pathlib
import sys

SLOWER = 1.15


def join(folder):
    result = {"rows": [], "milliseconds": {}}
    for path in sorted(pathlib.Path(folder).glob("*.json")):
        part = json.loads(path.read_text(encoding="utf-8"))
        result["processor"], result["compiler"] = part["processor"], part["compiler"]
        result["rows"] += part["rows"]
        result["milliseconds"][path.stem] = part["milliseconds"]
    return result


def main(folder, path, earlier=None):
    result = join(folder)
    pathlib.Path(path).write_text(json.dumps(result, indent=1) + "\n", encoding="utf-8")
    before = {}
    if earlier is not None:
        text = pathlib.Path(earlier).read_text(encoding="utf-8")
        before = {row["title"]: row["now"] for row in json.loads(text)["rows"]}
    print(f"\n{result['processor']}; {result['compiler']}")
    print(f"{'':70} {'now':>8} {'target':>8}" + (f" {'before':>8}" if earlier else ""))
    slower = []
    for row in result["rows"]:
        title, now, target = row["title"], row["now"], row["target"]
        line = f"{title:70} {now:8.3g} " + (f"{target:8.3g}" if target > 0 else " " * 8)
        if title in before:
            line += f" {before[title]:8.3g}"
            if now > SLOWER * before[title]:
                slower.append(title)
        print(line + (" *" if 0 < target < now else ""))
    print(f"* above its target. The figures are in {path}.")
    for title in slower:
        print(f"slower than before: {title}")
    return 1 if slower else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
