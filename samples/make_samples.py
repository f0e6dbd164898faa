#!/usr/bin/env python3
"""Write the samples: versions.hex, tour.hex with one report of every kind, and forms/ made from that.

    python3 make_samples.py           write them all
    python3 make_samples.py --check   write nothing, name the files that are not so

They show what a healthy controller sends after about an hour of use, with channels 17 and 30 weakly
shorted, so that every decoder has something to show. Rerunning writes the same bytes again.
"""

import struct
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
sys.path.insert(0, str(HERE / "forms"))
import make_forms  # noqa: E402 - only found through the line above


CHANNELS = 48
WEAK_CHANNELS = (17, 30)
TOUCHED_CHANNELS = {21: 90, 22: 310, 23: 285, 24: 70}
UPTIME_MS = 3_684_660
FRAMES = 221_079  # 60 a second

# Number of events of each black box module, in the order of the module flags and records.
MODULE_EVENTS = [5, 10, 6, 1, 4, 7, 7, 7, 7, 7, 7, 7, 7, 7, 17, 70, 2, 10, 26, 3, 1, 7]
PSE, OPEN_SHORT_TEST, HIDSPI_MASTER, ALGS, ZUB, HIDSPI_SLAVE = 1, 2, 14, 15, 17, 18
BLOBS = (*range(5, 14), 21)

# Severities and flags of an option byte of the black box configuration.
TRACE, DEBUG, INFO, WARNING, ERROR, CRITICAL = range(6)
MASKED, GPIO_0, GPIO_1, MESSAGE, BREAKPOINT = 0x08, 0x10, 0x20, 0x40, 0x80


def ripple(channel, height):
    """A small deterministic unevenness around zero, as neighbouring channels show it."""
    return (channel * channel * 37 + channel * 11) % (2 * height + 1) - height


def channel_mask(channels):
    return sum(1 << channel for channel in channels)


def version():
    return b"\xd0" + b"4.12.0\0"


def version_extended():
    lines = ["panel-4.12.0", "sdk-2.9.1", "toolchain-17.0.6", "9.3.2", "vendor-118", "algs-5.5.0"]
    return b"\xd2" + "\n".join(lines).encode() + b"\n\0"


def watchdog():
    feeds, register, wakes, sleeps = 36_846, 0x0000005A, 211, 210
    return b"\xdf" + struct.pack("<IQIII", feeds, UPTIME_MS * 1000, register, wakes, sleeps)


def power_modes():
    init = 412, 1
    active = 1_204_331, 211
    timeout = 63_300, 208
    ready = 2_210_087, 340
    light_sleep = 206_530, 210
    return b"\xa9" + struct.pack("<10I", *init, *active, *timeout, *ready, *light_sleep)


def image():
    cookie, flags, parameters = 0x2A, 0x0003, 0x00010400
    d_i = [TOUCHED_CHANNELS.get(c, 0) + ripple(c, 9) for c in range(CHANNELS)]
    d_q = [ripple(c + 5, 6) for c in range(CHANNELS)]
    p_i = [3 * TOUCHED_CHANNELS.get(c, 0) // 4 + ripple(c + 9, 12) for c in range(CHANNELS)]
    p_q = [ripple(c + 2, 7) for c in range(CHANNELS)]
    header = struct.pack("<BHIII", cookie, flags, FRAMES, parameters, UPTIME_MS)
    samples = struct.pack("<192i", *d_i, *d_q, *p_i, *p_q)
    return b"\x76" + header + samples + struct.pack("<If", 0x00001F10, 31.0625)


def adc_config():
    start_address, sample_count, stim_timer_compare, rx_enable = 0x20004000, 4096, 250, 0
    mask_low, mask_high = 0xFFFFFFFF, 0x0000FFFF
    return b"\xdc" + struct.pack(
        "<6I", start_address, mask_low, mask_high, sample_count, stim_timer_compare, rx_enable
    )


def adc_state():
    return bytes([0xDE, 1])


def adc_packet():
    packet_number, payload_size, total_size = 3, 2048, 16_384
    triangle = [abs(n % 64 - 32) * 48 + 512 for n in range(1024)]
    header = b"ADC" + struct.pack("<III", packet_number, payload_size, total_size)
    return b"\x77" + header + struct.pack("<1024H", *triangle)


def baseline():
    counts = [612 + 2.5 * (c % 12) + ripple(c, 20) / 8 for c in range(CHANNELS)]
    for weak in WEAK_CHANNELS:
        counts[weak] -= 144.75
    return b"\xa2" + struct.pack("<48f", *counts)


# Counters that are not zero, as (module, event): count.
EVENTS_NOW = {
    (PSE, 2): 1,
    (OPEN_SHORT_TEST, 5): 2,
    (HIDSPI_MASTER, 0): 221_079,
    (HIDSPI_MASTER, 4): 221_077,
    (HIDSPI_MASTER, 13): 221_079,
    (HIDSPI_MASTER, 15): 2,
    (ALGS, 2): 3,
    (ALGS, 5): 4_210,
    (ALGS, 6): 4_198,
    (ALGS, 7): 12,
    **{(ALGS, 22 + weak): 6 for weak in WEAK_CHANNELS},
    (ZUB, 7): 36_846,
    (ZUB, 8): 36_840,
    (HIDSPI_SLAVE, 16): 88_412,
    (HIDSPI_SLAVE, 17): 88_412,
    (HIDSPI_SLAVE, 24): 211,
    **{(blob, 0): 1 for blob in BLOBS},
}

# The same box one start of the controller earlier.
EVENTS_BEFORE = {**EVENTS_NOW, (PSE, 2): 0, (ALGS, 2): 1, (HIDSPI_SLAVE, 24): 96}


def black_box_summary():
    flags = channel_mask({module for module, _ in EVENTS_NOW})
    return b"\xe0" + struct.pack("<BH", WARNING, len(MODULE_EVENTS)) + flags.to_bytes(3, "little")


def black_box_full_report(report_id, counts):
    report = struct.pack("<BH", report_id, len(MODULE_EVENTS))
    for module, events in enumerate(MODULE_EVENTS):
        report += struct.pack("<HH", 0x0100 + module, events)
        report += struct.pack("<%dI" % events, *(counts.get((module, n), 0) for n in range(events)))
    return report


def black_box_config():
    levels = [
        TRACE | MASKED,
        DEBUG | MASKED,
        INFO,
        WARNING | MESSAGE,
        ERROR | MESSAGE | GPIO_0,
        CRITICAL | MESSAGE | GPIO_1 | BREAKPOINT,
    ]
    options = [[INFO] * events for events in MODULE_EVENTS]
    options[PSE] = [ERROR | MESSAGE] * 9 + [CRITICAL | MESSAGE | BREAKPOINT]
    options[OPEN_SHORT_TEST] = [TRACE, ERROR | MESSAGE, WARNING, ERROR | GPIO_0, WARNING, WARNING]
    options[ALGS][22:] = [DEBUG | MASKED] * CHANNELS
    for blob in BLOBS:
        options[blob] = [TRACE | MASKED] + [ERROR | MESSAGE] * 3 + [INFO, ERROR, WARNING]
    return bytes([0xE2, *levels, *(option for module in options for option in module)])


def open_short_test():
    return b"\xe3" + struct.pack("<7Q", 0, 0, 0, 0, 0, 0, channel_mask(WEAK_CHANNELS))


def open_short_data(report_id, level, status):
    saturated = channel_mask(WEAK_CHANNELS[:1])
    in_phase = [level + 40 * ripple(c, 15) for c in range(CHANNELS)]
    quadrature = [level // 12 + 9 * ripple(c + 4, 10) for c in range(CHANNELS)]
    for weak in WEAK_CHANNELS:
        in_phase[weak] //= 3
    samples = struct.pack("<96I", *in_phase, *quadrature)
    return struct.pack("<BQ", report_id, saturated) + samples + bytes([status]) + bytes(7)


VERSIONS = [
    ("Firmware version", "feature", version()),
    ("Extended firmware version", "feature", version_extended()),
]

# A new report goes behind the others: the documents show places and times of those.
TOUR = VERSIONS + [
    ("Watchdog", "feature", watchdog()),
    ("Power mode statistics", "feature", power_modes()),
    ("Image frame with a finger on channels 21 to 24", "input", image()),
    ("ADC dump configuration", "feature", adc_config()),
    ("ADC dump state", "feature", adc_state()),
    ("ADC dump packet", "input", adc_packet()),
    ("Algorithm baseline", "feature", baseline()),
    ("Black box summary", "feature", black_box_summary()),
    ("Black box full report", "feature", black_box_full_report(0xE1, EVENTS_NOW)),
    ("Black box full report, as it was one start earlier", "feature",
     black_box_full_report(0xEA, EVENTS_BEFORE)),
    ("Black box configuration", "feature", black_box_config()),
    ("Open/short test results with two weak channels", "feature", open_short_test()),
    ("Open/short test, D-SCAN data", "feature", open_short_data(0xE4, 24_000, 0)),
    ("Open/short test, P-SCAN data after a brownout", "feature", open_short_data(0xE5, 19_500, 1)),
]


def hex_lines(reports):
    lines = ["# %s\n%s %s\n" % (title, word, report.hex(" ")) for title, word, report in reports]
    return "".join(lines).encode()


def files():
    """Path and content of every sample."""
    yield HERE / "versions.hex", hex_lines(VERSIONS)
    yield HERE / "tour.hex", hex_lines(TOUR)
    for name, content in make_forms.forms([(word, report) for _, word, report in TOUR]):
        yield HERE / "forms" / name, content


def main():
    if sys.argv[1:] == ["--check"]:
        wrong = [path for path, content in files() if path.read_bytes() != content]
        for path in wrong:
            print("%s is not what make_samples.py writes" % path.relative_to(HERE.parent))
        sys.exit(1 if wrong else 0)
    for path, content in files():
        path.write_bytes(content)


if __name__ == "__main__":
    main()
