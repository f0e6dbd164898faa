"""The blocks of docs/python.md, and the captures that they read."""

import re
import struct
import sys
from pathlib import Path

import numpy as np

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "bench" / "python"))
import captures  # noqa: E402 - only found through the line above

PAGE = ROOT / "docs" / "python.md"
BLOCK = re.compile(r"^```(\w+)\n(.*?)^```\n", re.M | re.S)
FILE = re.compile(r'"""(\w+\.py): ')

CHANNELS = 48
ADC_WORDS = 512
ADC_PACKETS = 8
TONE = 937  # turns in the dump
START = captures.START_SECONDS


class Block:
    def __init__(self, line, language, text):
        self.line, self.language, self.text = line, language, text
        self.expected = ""

    @property
    def file(self):
        """The name that it is saved under, which its first line begins with; None if it is run."""
        match = FILE.match(self.text)
        return match and match[1]


def sections():
    """The blocks of each section by its number; a text right behind a block is what that prints."""
    found = {}
    text = PAGE.read_text(encoding="utf-8")
    titles = list(re.finditer(r"^## (\d+)\. ", text, re.M))
    ends = [title.start() for title in titles[1:]] + [len(text)]
    for title, end_of_section in zip(titles, ends):
        blocks, end = [], None
        for match in BLOCK.finditer(text, title.start(), end_of_section):
            if match.start() == end and match[1] == "text":
                blocks[-1].expected = match[2]
            else:
                blocks.append(Block(text.count("\n", 0, match.end(1)) + 1, match[1], match[2]))
            end = match.end()
        found[int(title[1])] = blocks
    return found


def write_files(folder):
    """Those that the page says are saved."""
    for blocks in sections().values():
        for block in blocks:
            if block.file:
                (folder / block.file).write_text(block.text)


def quiet(count=10_000, seed=1):
    """Noise around levels, both of which differ from channel to channel; channel 5 drifts."""
    made = captures.frames(count, seed)
    chance = np.random.default_rng(seed)
    height = 150 + 9 * (np.arange(CHANNELS) * 7 % 31)
    values = np.round(chance.normal(1000 * np.arange(CHANNELS) - 20_000, height, (count, CHANNELS)))
    values[:, 5] += np.arange(count) * 4000 // count
    made["D_SCAN_I"] = values
    return made


def touch():
    """A finger that moves from channel 12 to channel 34; three frames got lost."""
    made = quiet(723, 2)
    seconds = captures.microseconds(made) / 1e6
    centre = np.clip(12 + 22 * (seconds - 1.5) / 3, 12, 34)
    pressed = np.clip(np.minimum(seconds - 1.4, 4.8 - seconds) * 5, 0, 1)
    away = np.arange(CHANNELS) - centre[:, None]
    made["D_SCAN_I"] += np.round(60_000 * pressed[:, None] * np.exp(-away**2 / 4.5)).astype(int)
    return np.delete(made, slice(501, 504))


def adc_dump():
    """A tone of amplitude 300 with some of its second harmonic, around the middle of 12 bits."""
    count = 2 * ADC_WORDS * ADC_PACKETS
    turns = TONE * np.arange(count) / count
    noise = np.random.default_rng(3).normal(0, 4, count)
    samples = np.round(
        2048 + 300 * np.sin(2 * np.pi * turns) + 40 * np.cos(4 * np.pi * turns) + noise)
    return samples.astype("<u2")


def adc_packets(samples):
    size = 4 * ADC_WORDS
    data = samples.tobytes()
    return b"".join(
        b"\x77ADC" + struct.pack("<III", number, size, len(data)) + data[number * size:][:size]
        for number in range(ADC_PACKETS))


def baselines(count=121):
    """Times in seconds, and a baseline once a minute: channels 9, 30 and 41 drift, the others rest."""
    chance = np.random.default_rng(4)
    seconds = 60 * np.arange(count)
    drift = np.zeros(CHANNELS)
    drift[[9, 30, 41]] = 12.5, -30.25, 6.0
    level = 600 + 2.5 * (np.arange(CHANNELS) % 12)
    values = level + drift * seconds[:, None] / 3600 + chance.normal(0, 0.4, (count, CHANNELS))
    return seconds, values.astype("<f4")


def write_recording(path, seconds, values):
    with path.open("w") as file:
        file.write("D: 0\nR: 9 06 00 ff 09 01 a1 01 c0 00\nN: Controller\n")
        file.write("P: usb-0000:00:14.0-1/input0\nI: 3 0000 0001\n")
        for second, row in zip(seconds, values):
            report = b"\xa2" + row.tobytes()
            file.write(f"F: {START + second:06d}.000000 {len(report)} {report.hex(' ')}\n")


def write_captures(folder):
    captures.write_usbmon(folder / "quiet.pcap", quiet())
    captures.write_usbmon(folder / "touch.pcap", touch())
    (folder / "adc.bin").write_bytes(adc_packets(adc_dump()))
    write_recording(folder / "baselines.hid", *baselines())


def write_many(folder, count=24):
    """A folder of captures; what they hold, one after another."""
    folder.mkdir()
    all_made = [quiet(400, seed) for seed in range(10, 10 + count)]
    for number, made in enumerate(all_made):
        captures.write_usbmon(folder / f"panel-{number:03}.pcap", made)
    return all_made
