#!/usr/bin/env python3
"""Measures vesk-decode as a whole process.

    python3 process.py [--quick] VESK_DECODE NDJSON_PROGRAM RESULTS.json

NDJSON_PROGRAM is the ordinary way to write NDJSON (ndjson.cpp). Each program runs several times, in
turn with the others of its table; the figures are medians of the time from start to end.
"""

import argparse
import json
import pathlib
import random
import shutil
import statistics
import struct
import subprocess
import sys
import tempfile
import time

PACKET = struct.Struct("<BBBBIII512I")
IMAGE = struct.Struct("<BBHIII192iIf")
MIB = 1 << 20

# The best that Python does with the standard library: a format for the whole report, made once.
TEXT_SCRIPT = r"""
import struct, sys
unpack = struct.Struct("<BBBBIII512I").unpack
shown = ("[ADC Packet #    = %d]\n[Magic Value     = 0x%02x%02x%02x]\n[Payload Size    = %d]\n"
         "[Total Dump Size = %d]\n\n[Packet Payload Data]\n" + ("%08x " * 8 + "\n") * 64)
write = sys.stdout.write
with open(sys.argv[1], "rb") as file:
    while report := file.read(2064):
        v = unpack(report)
        write(shown % (v[4], v[1], v[2], v[3], *v[5:]))
"""

NDJSON_SCRIPT = r"""
import json, struct, sys
packet = struct.Struct("<BBBBIII512I").unpack
image = struct.Struct("<BBHIII48i48i48i48iIf").unpack
write = sys.stdout.write
dumps = json.JSONEncoder(separators=(",", ":")).encode
with open(sys.argv[1], "rb") as file:
    while first := file.read(1):
        if first == b"\x77":
            v = packet(first + file.read(2063))
            report = {"PACKET_ID": v[4], "MAGIC_VALUE": v[1] << 2 | v[2] << 1 | v[3],
                      "PAYLOAD_SIZE": v[5], "TOTAL_DUMP_SIZE": v[6], "PAYLOAD_DATA": v[7:]}
        else:
            v = image(first + file.read(791))
            report = {"COOKIE": v[1], "FLAGS": v[2], "FRAME_NUMBER": v[3], "FRAME_PARAMS": v[4],
                      "TIMESTAMP_MS": v[5], "D_SCAN_I": v[6:54], "D_SCAN_Q": v[54:102],
                      "P_SCAN_I": v[102:150], "P_SCAN_Q": v[150:198], "TMON_PARAMS": v[198],
                      "TMON_DEG_C": v[199]}
        write(dumps(report) + "\n")
"""


def packets(count, seed):
    """ADC packets of 12-bit samples, as many as asked for, out of a thousand different ones."""
    noise = random.Random(seed)
    some = []
    for number in range(min(count, 1000)):
        samples = [2048 + noise.randrange(-256, 256) | (2048 + noise.randrange(-256, 256)) << 16
                   for _ in range(512)]
        some.append(PACKET.pack(0x77, 0xAD, 0xDC, 1, number, 2048, 2048 * count, *samples))
    return b"".join(some) * (count // len(some))


def images_and_packets(count, seed):
    """Image frames and ADC packets in turn."""
    noise = random.Random(seed)
    some = []
    for number in range(min(count, 1000) // 2):
        samples = [round(noise.gauss(0, 20000)) for _ in range(192)]
        some.append(IMAGE.pack(0x76, 3, 1, number, 0x10001, 8 * number, *samples, 0x101, 31.25))
        words = [noise.getrandbits(32) for _ in range(512)]
        some.append(PACKET.pack(0x77, 0xAD, 0xDC, 1, number, 2048, 2048 * count, *words))
    return b"".join(some) * (count // len(some))


def seconds(command, into_pipe):
    """How long a command takes; its output goes to /dev/null, or through a pipe to a reader."""
    begin = time.perf_counter()
    if not into_pipe:
        subprocess.run(command, stdout=subprocess.DEVNULL, check=True)
        return time.perf_counter() - begin
    with subprocess.Popen(command, stdout=subprocess.PIPE, bufsize=0) as process:
        buffer = bytearray(MIB)
        while process.stdout.readinto(buffer):
            pass
    if process.returncode != 0:
        raise subprocess.CalledProcessError(process.returncode, command)
    return time.perf_counter() - begin


def medians(commands, repetitions, into_pipe=False):
    """The median of each of the commands, which run in turn."""
    taken = {name: [] for name in commands}
    for _ in range(repetitions):
        for name, command in commands.items():
            taken[name].append(seconds(command, into_pipe))
    return {name: statistics.median(each) for name, each in taken.items()}


def peak_memory(command, from_pipe):
    """The peak of a command's resident memory in MiB; its last argument is its input.

    Asked of the system while it runs: what is known at its end counts in this script, too, whose
    copy the process began as.
    """
    feeder = None
    if from_pipe:
        feeder = subprocess.Popen(["cat", command[-1]], stdout=subprocess.PIPE)
        command = [*command[:-1], "-"]
    peak = 0.0
    with subprocess.Popen(command, stdin=feeder and feeder.stdout,
                          stdout=subprocess.DEVNULL) as process:
        status = pathlib.Path(f"/proc/{process.pid}/status")
        while process.poll() is None:
            for line in status.read_text().splitlines():
                if line.startswith("VmHWM:"):
                    peak = int(line.split()[1]) / 1024
            time.sleep(0.001)
    if feeder:
        feeder.stdout.close()
        feeder.wait()
    if process.returncode != 0:
        raise subprocess.CalledProcessError(process.returncode, command)
    return peak


class Report:
    """Shows what is measured, and collects it."""

    def __init__(self):
        self.results = {"tables": {}, "goals": []}

    def table(self, title, taken, ours):
        print(f"\n{title}")
        for name, each in sorted(taken.items(), key=lambda item: item[1]):
            print(f"  {name:34} {1000 * each:9.1f} ms   x {each / taken[ours]:.2f} of {ours}")
        self.results["tables"][title] = taken

    def at_least(self, what, measured, wanted):
        self._goal(what, measured, wanted, measured >= wanted, "at least")

    def at_most(self, what, measured, wanted):
        self._goal(what, measured, wanted, measured <= wanted, "at most")

    def _goal(self, what, measured, wanted, met, how):
        self.results["goals"].append(
            {"goal": what, how: wanted, "measured": measured, "met": met})

    def show_goals(self):
        print("\ngoals")
        for goal in self.results["goals"]:
            how = "at least" if "at least" in goal else "at most"
            print(f"  {goal['goal']:56} {goal['measured']:8.2f}, {how} {goal[how]:g}:"
                  f" {'met' if goal['met'] else 'missed'}")


def measure_text(report, decode, place, count, repetitions):
    capture = place / "packets.bin"
    capture.write_bytes(packets(count, 1))
    finished = place / "packets.txt"
    with finished.open("wb") as text:
        subprocess.run([decode, "-i", "binary", "-o", "text", capture], stdout=text, check=True)
    script = place / "text.py"
    script.write_text(TEXT_SCRIPT)
    for jobs in decode_variants(decode):
        name = "vesk-decode" + (" " + " ".join(jobs) if jobs else "")
        ours = [decode, *jobs, "-i", "binary", "-o", "text", capture]
        others = {"cat of the finished text": ["cat", finished]}
        slow = {"od -t x4": ["od", "-A", "n", "-v", "-t", "x4", "-w32", capture]}
        if shutil.which("xxd"):
            slow["xxd"] = ["xxd", capture]
        slow["Python script"] = [sys.executable, script, capture]

        taken = medians({name: ours, **others}, repetitions)
        taken.update(medians(slow, max(1, repetitions // 5)))
        report.table(f"{count} ADC packets as text to /dev/null: {name}", taken, name)
        report.at_least(f"to /dev/null, times as fast as od ({name})",
                        taken["od -t x4"] / taken[name], 60)
        if "xxd" in taken:
            report.at_least(f"to /dev/null, times as fast as xxd ({name})",
                            taken["xxd"] / taken[name], 15)
        report.at_least(f"to /dev/null, times as fast as Python ({name})",
                        taken["Python script"] / taken[name], 45)
        report.at_most(f"to /dev/null, times as long as cat ({name})",
                       taken[name] / taken["cat of the finished text"], 1.8)

        taken = medians({name: ours, **others}, repetitions, into_pipe=True)
        report.table(f"{count} ADC packets as text into a pipe: {name}", taken, name)
        report.at_most(f"into a pipe, times as long as cat ({name})",
                       taken[name] / taken["cat of the finished text"], 1.2)


def decode_variants(decode):
    """The ways to run vesk-decode: as it is, and with two threads if it has the option."""
    usage = subprocess.run([decode, "--help"], capture_output=True, text=True, check=True).stdout
    return [[], ["--jobs", "2"]] if "--jobs" in usage else [[]]


def measure_ndjson(report, decode, program, place, count, repetitions):
    capture = place / "mixed.bin"
    capture.write_bytes(images_and_packets(count, 2))
    script = place / "ndjson.py"
    script.write_text(NDJSON_SCRIPT)
    taken = medians({"vesk-decode": [decode, "-i", "binary", "-o", "ndjson", capture]}, repetitions)
    taken.update(medians({"nlohmann DOM and dump": [program, capture],
                          "Python script": [sys.executable, script, capture]},
                         max(1, repetitions // 5)))
    report.table(f"{count} image frames and ADC packets as NDJSON to /dev/null", taken,
                 "vesk-decode")
    report.at_least("NDJSON, times as fast as a DOM and dump",
                    taken["nlohmann DOM and dump"] / taken["vesk-decode"], 16)
    report.at_least("NDJSON, times as fast as Python",
                    taken["Python script"] / taken["vesk-decode"], 40)


def measure_start(report, decode, place, repetitions):
    one = place / "one.bin"
    one.write_bytes(packets(1, 3))
    taken = medians({"vesk-decode": [decode, "-i", "binary", "-o", "text", one],
                     "/bin/true": ["/bin/true"]}, 20 * repetitions)
    report.table("start-up: one report", taken, "vesk-decode")
    report.at_most("one report, times as long as /bin/true",
                   taken["vesk-decode"] / taken["/bin/true"], 5)


def measure_memory(report, decode, place, size):
    """The peak on a small and on a large capture: what grows between them grows with the input."""
    block = packets(1000, 4)
    peaks = {}
    for name, blocks in (("small", 10), ("large", size // len(block))):
        capture = place / f"{name}.bin"
        with capture.open("wb") as file:
            for _ in range(blocks):
                file.write(block)
        for form in ("text", "ndjson"):
            command = [decode, "-i", "binary", "-o", form, capture]
            for way in ("file", "pipe"):
                peaks[form, name, way] = peak_memory(command, way == "pipe")
        capture.unlink()
    print(f"\npeak of resident memory, MiB: {10 * len(block) / MIB:.0f} MiB and"
          f" {size // len(block) * len(block) / MIB:.0f} MiB of input")
    for form in ("text", "ndjson"):
        for way in ("file", "pipe"):
            print(f"  {form:7} from a {way:6} {peaks[form, 'small', way]:8.1f}"
                  f" {peaks[form, 'large', way]:8.1f}")
    report.results["memory"] = {" ".join(key): value for key, value in peaks.items()}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    parser.add_argument("decode")
    parser.add_argument("ndjson")
    parser.add_argument("results")
    arguments = parser.parse_args()
    count = 20000 if arguments.quick else 200000
    repetitions = 5 if arguments.quick else 11
    report = Report()
    with tempfile.TemporaryDirectory() as place:
        place = pathlib.Path(place)
        measure_text(report, arguments.decode, place, count, repetitions)
        measure_ndjson(report, arguments.decode, arguments.ndjson, place, count, repetitions)
        measure_start(report, arguments.decode, place, repetitions)
        measure_memory(report, arguments.decode, place, (100 if arguments.quick else 1000) * MIB)
    report.show_goals()
    pathlib.Path(arguments.results).write_text(json.dumps(report.results, indent=1) + "\n")


if __name__ == "__main__":
    main()
