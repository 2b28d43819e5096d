#!/usr/bin/python3
"""Usage: coverage.py <EXPORT

Makes the report that scripts/coverage tells of, from what llvm-cov exports. Belongs into the
folder of the repository.
"""
import collections
import json
import os
import sys

LISTED = ("engines", "system", "update")

report = json.load(sys.stdin)["data"][0]
taken = collections.Counter()  # (path, line, column, side) -> how often
for file in report["files"]:
    path = os.path.relpath(file["filename"])
    # Each copy of a template has the same branches. They are counted once. Some conditions
    # come also as a whole with their first part. The part counts.
    ends = {}
    for line, column, *end, true, false in sorted(branch[:6] for branch in file["branches"]):
        if ends.setdefault((line, column), end) != end:
            continue
        taken[path, line, column, "true"] += true
        taken[path, line, column, "false"] += false

totals = collections.defaultdict(lambda: [0, 0, 0, 0])  # lines and branches, taken and all
for file in report["files"]:
    path = os.path.relpath(file["filename"])
    lines = file["summary"]["lines"]
    branches = [count > 0 for place, count in taken.items() if place[0] == path]
    for name in path, path.split("/")[0], "all":
        counts = lines["covered"], lines["count"], sum(branches), len(branches)
        totals[name] = [a + b for a, b in zip(totals[name], counts)]


def shares(name):
    lines, all_lines, branches, all_branches = totals[name]
    return [100 * lines / (all_lines or 1), 100 * branches / all_branches if all_branches else 100]


def row(name):
    lines, all_lines, branches, all_branches = totals[name]
    of_lines, of_branches = shares(name)
    return (f"{name:30}{lines:6}{all_lines:7}{of_lines:7.1f}%"
            f"{branches:10}{all_branches:7}{of_branches:7.1f}%")


print(f"{'':30}{'lines':>6}{'of':>7}{'':8}{'branches':>10}{'of':>7}")
for name in sorted(name for name in totals if "/" not in name and name != "all"):
    print(row(name))
print(row("all"), "\n\nLess than 95%:", sep="")
for name in sorted(name for name in totals if "/" in name and min(shares(name)) < 95):
    print(row(name))

for function in report["functions"]:
    line, column, *_ = function["regions"][0]
    taken[os.path.relpath(function["filenames"][0]), line, column, "never"] += function["count"]
untaken = sorted(place for place, count in taken.items()
                 if count == 0 and place[0].split("/")[0] in LISTED)
print(f"\nTaken by no test: {len(untaken)}")
for path, line, column, side in untaken:
    with open(path, encoding="utf-8") as source:
        print(f"{path}:{line}:{column} {side}: {source.readlines()[line - 1].strip()}")
