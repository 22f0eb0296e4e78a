#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Prints what a benchmark program's JSON output says: each benchmark's median, beside ours.

usage: ratios.py FILE

Benchmarks of one kind are those whose names differ in nothing but what stands in <>; the ratio is
how many times as fast as ours the other one is: below 1 it is slower. Times are the processor's,
or the clock's where the benchmark asks for that one.
"""

import json
import re
import sys

OURS = {"Ours", "LumString", "LumSortedCollection"}


def main():
    kinds = {}
    with open(sys.argv[1], encoding="utf-8") as file:
        for run in json.load(file)["benchmarks"]:
            match = re.fullmatch(r"(\w+)<([\w:]+)>(?:/(\d+))?(/real_time)?", run["run_name"])
            if match and run.get("aggregate_name") == "median":
                kind, who, size, real = match.groups()
                time = run["real_time" if real else "cpu_time"]
                kinds.setdefault((kind, size), {})[who] = time
    for (kind, size), times in kinds.items():
        print(kind, size or "")
        ours = next(time for who, time in times.items() if who in OURS)
        for who, time in times.items():
            print(f"  {who:22}{time:14.1f} us{ours / time:8.2f}")


if __name__ == "__main__":
    main()
