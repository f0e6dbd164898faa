#!/usr/bin/env python3
"""Shows what vesk-bench measured: times, ratios, and the goals.

    python3 compare.py RAW.json RESULTS.json

RAW.json is what Google Benchmark wrote. Times are CPU time. Of the repetitions of one run, which were
interleaved, the fastest of each way counts: whatever else the machine does only adds to them, and
does so for minutes at a time.
"""

import json
import pathlib
import sys

OTHER = {"text": "fmt", "object": "dom"}

# mode, report, values: how many times as fast as the ordinary way and as {fmt} or the document, and
# how many times as long as the limit at most.
BOTH = ("plausible", "random")
GOALS = [
    ("text", "image", BOTH, 100, 28, 4),
    ("text", "scan_data", BOTH, 100, 28, 4),
    ("text", "image_decimal", ("plausible",), 32, 9, 9),
    ("text", "image_decimal", ("random",), 22, 6, 17),
    ("text", "adc_packet", BOTH, 130, 28, 4),
    ("text", "baseline", ("plausible",), 36, 10, 20),
    ("text", "baseline", ("random",), 32, 10, 26),
    ("text", "full_report", ("plausible",), 52, 15, 4.5),
    ("text", "full_report", ("random",), 24, 7, 10),
    ("text", "configuration", BOTH, 78, 26, 3.5),
    ("text", "open_short", BOTH, 52, 10, 4),
    ("text", "watchdog", BOTH, 24, 10, 3),
    ("text", "power_modes", BOTH, 24, 10, 3),
    ("object", "image", BOTH, 18, 170, 2.3),
    ("object", "adc_packet", BOTH, 9, 300, 1.4),
    ("object", "full_report", BOTH, 100, 140, 11),
]


def processor():
    """The processor's name, as far as the system tells."""
    try:
        for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines():
            if line.startswith("model name"):
                return line.split(":", 1)[1].strip()
    except OSError:
        pass
    return "unknown processor"


def measured_rows(raw):
    """A row for each mode, report and values that was measured in the ordinary way, in ours and as the
    limit. {fmt} and the document may be missing."""
    times, sizes = {}, {}
    for run in raw["benchmarks"]:
        if run.get("run_type") != "iteration":
            continue
        mode, report, values, way = run["run_name"].split("/")[:4]
        times.setdefault((mode, report, values), {}).setdefault(way, []).append(run["cpu_time"])
        sizes[mode, report, values] = run["text_bytes"]

    rows = []
    for (mode, report, values), ways in sorted(times.items()):
        if not {"ordinary", "ours", "limit"} <= ways.keys():
            continue
        fastest = {way: min(each) for way, each in ways.items()}
        ours = fastest["ours"]
        row = {
            "mode": mode,
            "report": report,
            "values": values,
            "ns": fastest,
            "spread_of_ours": (max(ways["ours"]) - min(ways["ours"])) / ours,
            "times_ordinary": fastest["ordinary"] / ours,
            "times_limit": ours / fastest["limit"],
        }
        if OTHER[mode] in fastest:
            row[f"times_{OTHER[mode]}"] = fastest[OTHER[mode]] / ours
        if mode == "text":
            row["text_bytes"] = sizes[mode, report, values]
            row["gigabytes_per_second"] = sizes[mode, report, values] / ours
        rows.append(row)
    return rows


def judged_goals(rows):
    """A judgement for each goal that was measured."""
    found = {(row["mode"], row["report"], row["values"]): row for row in rows}
    judged = []
    for mode, report, which, ordinary, other, limit in GOALS:
        for values in which:
            row = found.get((mode, report, values))
            if row is None:
                continue
            judged += [
                goal(row, "ordinary", row["times_ordinary"], ordinary,
                     row["times_ordinary"] >= ordinary),
                goal(row, OTHER[mode], row[f"times_{OTHER[mode]}"], other,
                     row[f"times_{OTHER[mode]}"] >= other),
                goal(row, "limit", row["times_limit"], limit, row["times_limit"] <= limit),
            ]
    return judged


def goal(row, against, measured, wanted, met):
    return {
        "mode": row["mode"],
        "report": row["report"],
        "values": row["values"],
        "against": against,
        "goal": wanted,
        "measured": measured,
        "met": met,
    }


def show_rows(rows, mode):
    shown = [row for row in rows if row["mode"] == mode]
    if not shown:
        return
    other = OTHER[mode]
    print(f"\n{mode} mode, ns a report; x: how many times as fast as; of limit: how many times as "
          "long as")
    rate = "  GB/s" if mode == "text" else ""
    print(f"{'report':18} {'values':9} {'ordinary':>9} {other:>8} {'ours':>8} {'limit':>7}{rate}"
          f" {'x ordinary':>11} {'x ' + other:>7} {'of limit':>9}")
    for row in shown:
        ns = row["ns"]
        rate = f" {row['gigabytes_per_second']:5.2f}" if mode == "text" else ""
        ns_other, times_other = "-", "-"
        if other in ns:
            ns_other, times_other = f"{ns[other]:.0f}", f"{row['times_' + other]:.1f}"
        print(f"{row['report']:18} {row['values']:9} {ns['ordinary']:9.0f} {ns_other:>8}"
              f" {ns['ours']:8.1f} {ns['limit']:7.1f}{rate} {row['times_ordinary']:11.1f}"
              f" {times_other:>7} {row['times_limit']:9.2f}")


def show_goals(goals):
    if not goals:
        return
    print(f"\n{'goal':37} {'x ordinary':>19} {'x fmt, x dom':>19} {'of limit':>19}")
    for i in range(0, len(goals), 3):
        three = goals[i:i + 3]
        cells = "".join(
            f" {each['measured']:6.1f} / {each['goal']:<4g}{'met' if each['met'] else 'missed':>6}"
            for each in three)
        print(f"{three[0]['mode']:7}{three[0]['report']:18} {three[0]['values']:11}{cells}")
    met = sum(each["met"] for each in goals)
    print(f"\n{met} of {len(goals)} goals met")


def main():
    raw_path, results_path = sys.argv[1:]
    raw = json.loads(pathlib.Path(raw_path).read_text())
    rows = measured_rows(raw)
    goals = judged_goals(rows)
    machine = {
        "processor": processor(),
        "cores": raw["context"]["num_cpus"],
        "load": raw["context"]["load_avg"],
        "date": raw["context"]["date"],
    }
    print(f"{machine['processor']}, {machine['cores']} cores, load {machine['load']}")
    show_rows(rows, "text")
    show_rows(rows, "object")
    show_goals(goals)
    results = {"machine": machine, "rows": rows, "goals": goals}
    pathlib.Path(results_path).write_text(json.dumps(results, indent=1) + "\n")


if __name__ == "__main__":
    main()
