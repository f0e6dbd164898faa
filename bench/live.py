"""What following a live device costs: the delay from the device's write to the line on the pipe, beside
the same through cat, and a minute at 1000 ADC packets a second.

scripts/bench-live builds what this needs and runs it. The device is vesk-emulate's; when it writes, a
preloaded library notes.
"""

import argparse
import json
import os
import pathlib
import re
import statistics
import struct
import subprocess
import tempfile
import time

IMAGE = struct.Struct("<BBHIII192iIf")
PACKET = struct.Struct("<BBBBIII512I")
NODE = "/dev/hidraw9"


def images(count):
    return b"".join(
        IMAGE.pack(0x76, 3, 1, number, 0x10001, 8 * number, *range(192), 0x101, 31.25) for number in range(count)
    )


def packets(count):
    words = [2048 + number % 97 for number in range(512)]
    return b"".join(PACKET.pack(0x77, 0xAD, 0xDC, 1, number, 2048, 2048 * count, *words) for number in range(count))


def arrivals_of_lines(stream, count):
    """When each line was whole on the pipe."""
    times = []
    while len(times) < count:
        piece = os.read(stream, 1 << 20)
        now = time.time_ns()
        if not piece:
            break
        times += [now] * piece.count(b"\n")
    return times


def arrivals_of_bytes(stream, count, size):
    """When the last byte of each report was there."""
    times, have = [], 0
    while len(times) < count:
        piece = os.read(stream, 1 << 20)
        now = time.time_ns()
        if not piece:
            break
        have += len(piece)
        times += [now] * (have // size - len(times))
    return times


def delays(tools, place, capture, size, count, rate, command, arrivals):
    """Microseconds from each write of the device to its end on the pipe."""
    stamps = place / "stamps"
    environment = {**os.environ, "LD_PRELOAD": str(tools.stamps), "VESK_STAMPS": str(stamps),
                   "VESK_STAMP_SIZE": str(size)}
    emulate = [tools.emulate, "--rate", str(rate), capture, "--", *command]
    with subprocess.Popen(emulate, stdout=subprocess.PIPE, bufsize=0, env=environment) as process:
        came = arrivals(process.stdout.fileno(), count)
        process.terminate()
    sent = [int(line) for line in stamps.read_text().split()]
    if len(came) < count or len(sent) < count:
        raise SystemExit(f"{len(sent)} reports sent, {len(came)} came, of {count}")
    return [(then - now) / 1000 for now, then in zip(sent[:count], came)]


def show_delays(tools, place, results, seconds):
    print("from the device's write to the pipe, microseconds: median and 99th percentile")
    for kind, make, size, report, rate in (("image frames", images, IMAGE.size, "0x76", 120),
                                           ("ADC packets", packets, PACKET.size, "0x77", 1000)):
        count = rate * seconds
        capture = place / "capture.bin"
        capture.write_bytes(make(count))
        follow = [tools.decode, "--follow", "--type", "input", "--report", report, NODE]
        ways = {
            "cat": (["cat", NODE], lambda stream, n, size=size: arrivals_of_bytes(stream, n, size)),
            "vesk-decode -o ndjson": ([*follow, "-o", "ndjson"], arrivals_of_lines),
        }
        for name, (command, arrivals) in ways.items():
            taken = delays(tools, place, capture, size, count, rate, command, arrivals)
            median = statistics.median(taken)
            percentile = sorted(taken)[int(len(taken) * 0.99)]
            print(f"  {kind}, {rate} a second: {name:22} {median:8.0f} {percentile:8.0f}")
            results[f"{kind}, {rate} Hz, {name}"] = {"median": median, "p99": percentile}


def show_rate(tools, place, results, seconds):
    """A thousand packets a second into a file."""
    count = 1000 * seconds
    capture = place / "capture.bin"
    capture.write_bytes(packets(count))
    out = place / "out.ndjson"
    script = 'exec 3>&1 >"$0"; "$@"; status=$?; times >&3; exit $status'
    command = ["sh", "-c", script, out, tools.decode, "-o", "ndjson", "--stats", "--follow", "--type", "input",
               "--count", str(count), "--duration", f"{seconds + 10}s", NODE]
    done = subprocess.run([tools.emulate, "--stats", "--rate", "1000", capture, "--", *map(str, command)],
                          capture_output=True, text=True, check=True)
    with out.open() as lines:
        for line in lines:
            pass
    counts = json.loads(line)["statistics"]
    sent, dropped = re.search(r"(\d+) reports sent, (\d+) dropped", done.stderr).groups()
    minutes = re.findall(r"(\d+)m([\d.]+)s", done.stdout.splitlines()[1])
    processor = sum(60 * int(m) + float(s) for m, s in minutes)
    print(f"{seconds} s at 1000 ADC packets a second into a file, {out.stat().st_size / 1e6:.0f} MB of NDJSON:")
    print(f"  {sent} sent, {dropped} dropped by the device's queue, {counts['reports']} decoded,"
          f" {counts['lost'][0]['reports']} lost by their numbers, {counts.get('unread', 0)} lost in our queue")
    print(f"  {processor:.2f} s of processor: {100 * processor / seconds:.1f} % of a core")
    results["rate"] = {"seconds": seconds, "sent": int(sent), "dropped": int(dropped), "statistics": counts,
                       "processor": processor}


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--quick", action="store_true")
    for name in ("decode", "emulate", "stamps", "results"):
        parser.add_argument(name, type=pathlib.Path)
    tools = parser.parse_args()
    results = {}
    with tempfile.TemporaryDirectory() as place:
        show_delays(tools, pathlib.Path(place), results, 3 if tools.quick else 20)
        show_rate(tools, pathlib.Path(place), results, 10 if tools.quick else 60)
    tools.results.write_text(json.dumps(results, indent=1) + "\n")


if __name__ == "__main__":
    main()
