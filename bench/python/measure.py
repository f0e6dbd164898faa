#!/usr/bin/env python3
"""Measures the package vesk_report beside what one would use instead.

    measure.py [--quick] BUILD RESULTS.json

BUILD is a build folder with the package and vesk-decode. All ways give the same values, which is looked at
first. They run in turn, and the least time counts, in CPU time of the process: none of them uses more than
one thread.
"""

import argparse
import gc
import json
import os
import subprocess
import sys
import tempfile
import time
from pathlib import Path

BENCH = Path(__file__).resolve().parents[1]
sys.path.insert(0, str(BENCH))

import captures  # noqa: E402 - found through the line above, as is what follows
import numpy as np  # noqa: E402
import others  # noqa: E402
from process import MIB, Report  # noqa: E402

FORMS = list(captures.WRITERS)

# Reads an input whole in a process of its own, and tells the peak of that process in KiB.
PEAK_SCRIPT = """
import sys
import vesk_report
image = vesk_report.read(sys.argv[1], form=sys.argv[2]).image
(peak,) = [line.split()[1] for line in open("/proc/self/status") if line.startswith("VmHWM:")]
print(len(image), image.nbytes, peak)
"""
INPUT_FORMS = {"binary": "binary", "usbmon": "usb", "hex": "hex"}


def cpu_seconds(way):
    gc.collect()
    begin = time.process_time()
    result = way()
    taken = time.process_time() - begin
    del result
    return taken


def fastest(ways, repetitions):
    """The least time of each. Those that take long run twice. The others run three times in a row: what
    memory a virtual machine has given back it must get from its host again, which takes longer than to
    read a capture, and a process that goes on does not give it back."""
    taken = {name: [cpu_seconds(way)] for name, way in ways.items()}
    longest = 10 * min(first for (first,) in taken.values())
    for turn in range(1, repetitions):
        for name, way in ways.items():
            is_short = taken[name][0] <= longest
            for _ in range(3 if is_short else int(turn == 1)):
                taken[name].append(cpu_seconds(way))
    return {name: min(each) for name, each in taken.items()}


def compare(expected, table):
    for name in expected.dtype.names:
        np.testing.assert_array_equal(table[name], expected[name], name)


def measure_tables(report, vesk_report, place, decode, count, repetitions):
    made = captures.frames(count)
    paths = {form: place / captures.NAMES[form] for form in FORMS}
    for form in FORMS:
        captures.WRITERS[form](paths[form], made)
    records = place / "frames.ndjson"
    with records.open("wb") as file:
        subprocess.run([decode, "-i", "binary", "-o", "ndjson", paths["binary"]], stdout=file, check=True)

    ours = {form: lambda form=form: vesk_report.read(paths[form]).image for form in FORMS}
    tables = {
        "numpy.fromfile, copied": lambda: others.numpy_limit(paths["binary"]),
        "json.loads to arrays": lambda: others.json_table(records, count),
        **{f"struct to arrays, {form}": lambda form=form: others.struct_table(paths[form], form, count)
           for form in FORMS}}
    for way in [*ours.values(), *tables.values()]:
        compare(made, way())
    for form in FORMS:
        errors = vesk_report.read(paths[form]).errors
        assert errors.total == 0, errors
    values = {
        "json.loads alone": lambda: others.json_values(records),
        **{f"struct alone, {form}": lambda form=form: others.struct_values(paths[form], form)
           for form in FORMS}}
    ways = {f"vesk_report, {form}": way for form, way in ours.items()}
    taken = fastest({**ways, **tables, **values}, repetitions)

    report.table(f"{count} image frames to arrays", taken, "vesk_report, binary")
    limit = taken["numpy.fromfile, copied"]
    for form, most in (("binary", 2), ("usbmon", 4)):
        report.at_most(f"{form}, times as long as numpy.fromfile, copied",
                       taken[f"vesk_report, {form}"] / limit, most)
    for form in FORMS:
        own = taken[f"vesk_report, {form}"]
        for how in ("to arrays", "alone"):
            report.at_least(f"{form}, times as fast as struct {how}",
                            taken[f"struct {how}, {form}"] / own, 100)
    for form in FORMS:
        own = taken[f"vesk_report, {form}"]
        for how in ("to arrays", "alone"):
            report.at_least(f"{form}, times as fast as json.loads {how}",
                            taken[f"json.loads {how}"] / own, 40)
    return paths


def measure_single(report, vesk_report, path, count, repetitions):
    with path.open("rb") as file:
        data = [file.read(captures.PACKED.itemsize) for _ in range(count)]
    plugin = vesk_report.Plugin()
    ctypes_plugin = others.CtypesPlugin(plugin.path)
    for one in data[:1000]:
        ours, theirs = plugin.decode(one).value, ctypes_plugin.decode(one)
        assert list(ours) == list(theirs), (list(ours), list(theirs))
        for name, value in ours.items():
            assert value.dtype == theirs[name].dtype and (value == theirs[name]).all(), name

    def each(decode):
        for one in data:
            decode(one)

    content = b"".join(data)

    def stream():
        for _ in vesk_report.reports(content, form="binary"):
            pass

    taken = fastest(
        {"Plugin.decode": lambda: each(plugin.decode), "reports": stream,
         "ctypes": lambda: each(ctypes_plugin.decode)}, repetitions)
    report.table(f"{count} image frames, one at a time", taken, "Plugin.decode")
    for name in ("Plugin.decode", "reports"):
        report.at_least(f"{name}, times as fast as ctypes", taken["ctypes"] / taken[name], 15)


def peak(path, form, from_pipe):
    """(bytes of the table, bytes at the peak) of a process that reads a capture."""
    command = [sys.executable, "-c", PEAK_SCRIPT]
    if from_pipe:
        with subprocess.Popen(["cat", path], stdout=subprocess.PIPE) as feeder:
            done = subprocess.run([*command, "/dev/stdin", INPUT_FORMS[form]], stdin=feeder.stdout,
                                  stdout=subprocess.PIPE, check=True)
    else:
        done = subprocess.run([*command, path, INPUT_FORMS[form]], stdout=subprocess.PIPE, check=True)
    rows, size, kilobytes = map(int, done.stdout.split())
    return rows, size, 1024 * kilobytes


def measure_memory(report, paths, count):
    print("\npeak of resident memory, MiB, the interpreter and numpy included")
    for form, path in paths.items():
        for way in ("file", "pipe"):
            rows, size, most = peak(path, form, way == "pipe")
            assert rows == count, rows
            print(f"  {form:7} from a {way:6} {most / MIB:8.1f}, of which the table {size / MIB:.1f}")
            report.at_most(f"{form} from a {way}, MiB beside the table", (most - size) / MIB, 64)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("build", type=Path)
    parser.add_argument("results", type=Path)
    arguments = parser.parse_args()
    package = str((arguments.build / "python").resolve())
    sys.path.insert(0, package)
    os.environ["PYTHONPATH"] = package
    import vesk_report

    count = 20_000 if arguments.quick else 200_000
    repetitions = 5 if arguments.quick else 11
    report = Report()
    with tempfile.TemporaryDirectory() as place:
        paths = measure_tables(report, vesk_report, Path(place), arguments.build / "bin" / "vesk-decode",
                               count, repetitions)
        measure_single(report, vesk_report, paths["binary"], count // 10, repetitions)
        measure_memory(report, paths, count)
    report.show_goals()
    arguments.results.write_text(json.dumps(report.results, indent=1) + "\n")


if __name__ == "__main__":
    main()
