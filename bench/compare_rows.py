#!/usr/bin/env python3
"""Shows what rows of samples cost by each set of instructions, side by side.

    python3 compare_rows.py SET RAW.json... SET RAW.json...

RAW.json is what Google Benchmark wrote of the build of the SET before it. Times are CPU time, of all
runs of a set the fastest one.
"""

import json
import pathlib
import sys


def main():
    sets = {}  # its name -> report and values -> nanoseconds
    for argument in sys.argv[1:]:
        if not argument.endswith(".json"):
            fastest = sets.setdefault(argument, {})
            continue
        for run in json.loads(pathlib.Path(argument).read_text())["benchmarks"]:
            if run["run_type"] == "iteration":
                name = tuple(run["run_name"].split("/")[1:3])
                fastest[name] = min(run["cpu_time"], fastest.get(name, run["cpu_time"]))

    names = list(sets)
    print("text mode, ns a report; x: times as long as by", names[0])
    print(f"{'report':18} {'values':9}" + "".join(f"{name:>10}       " for name in names).rstrip())
    for report, values in next(iter(sets.values())):
        best = sets[names[0]][report, values]
        cells = "".join(
            f"{sets[name][report, values]:10.0f} x{sets[name][report, values] / best:<5.2f}"
            for name in names)
        print(f"{report:18} {values:9}{cells}")


if __name__ == "__main__":
    main()
