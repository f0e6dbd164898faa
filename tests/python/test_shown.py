"""What notebooks and the README show."""

import base64
import html.parser
import re
import shlex
import struct
import zlib

import numpy as np
import pytest

import vesk_report
from given import FORMS, ROOT, STATE, TOUR, frame, hex_lines, run_python

VOID = {"img", "br", "meta"}


class Checker(html.parser.HTMLParser):
    """That elements are closed in order, and that there is no script."""

    def __init__(self, text):
        super().__init__()
        self.open, self.images = [], []
        self.words = ""
        self.feed(text)
        self.close()
        assert self.open == []

    def handle_starttag(self, tag, attributes):
        assert tag != "script"
        assert not any(name.startswith("on") for name, _ in attributes)
        if tag == "img":
            self.images.append(dict(attributes)["src"])
        if tag not in VOID:
            self.open.append(tag)

    def handle_endtag(self, tag):
        assert self.open.pop() == tag

    def handle_data(self, data):
        self.words += data


def pixels(source):
    """The colours of a PNG of a palette, taken apart by hand: an array (height, width, 3)."""
    kind, data = source.split(",", 1)
    assert kind == "data:image/png;base64"
    content = base64.b64decode(data, validate=True)
    assert content[:8] == b"\x89PNG\r\n\x1a\n"
    chunks, place = {}, 8
    while place < len(content):
        size, name = struct.unpack(">I4s", content[place : place + 8])
        body = content[place + 8 : place + 8 + size]
        (checksum,) = struct.unpack(">I", content[place + 8 + size : place + 12 + size])
        assert checksum == zlib.crc32(name + body)
        chunks[name] = body
        place += 12 + size
    width, height, depth, colour = struct.unpack(">IIBB", chunks[b"IHDR"][:10])
    assert (depth, colour) == (8, 3)
    palette = np.frombuffer(chunks[b"PLTE"], np.uint8).reshape(-1, 3)
    rows = np.frombuffer(zlib.decompress(chunks[b"IDAT"]), np.uint8).reshape(height, width + 1)
    assert not rows[:, 0].any()  # each row without a filter
    return palette[rows[:, 1:]]


def test_a_table():
    shown = Checker(vesk_report.read(hex_lines(frame(7, -5), frame(8, 0, 9))).image._repr_html_())
    assert "image: 2 reports" in shown.words and "FRAME_NUMBER" in shown.words
    (picture,) = shown.images
    colours = pixels(picture)
    assert colours.shape == (4, 48, 3)
    # The last frame: all its rows are dark, but for the last sample, which is the greatest.
    light = colours.astype(int).sum(axis=2)
    assert light[3, 47] > 600 and (light[3, :47] < 60).all() and (light[:3] < 60).all()


def test_a_long_table_is_cut():
    words = Checker(vesk_report.read(hex_lines(*[frame(i) for i in range(500)])).image._repr_html_())
    assert "image: 500 reports" in words.words and "…" in words.words
    assert len(re.findall("<bytes>", words.words)) == 10


def test_reports():
    plugin = vesk_report.Plugin()
    shown = Checker(plugin.decode(frame(7, -5, 9))._repr_html_())
    assert "FRAME_NUMBER" in shown.words and "int32 × 48, -5 to 0" in shown.words
    assert len(shown.images) == 4
    assert "SINGLE" in Checker(plugin.decode(STATE)._repr_html_()).words
    config = Checker(plugin.decode(bytes([0xE2]) + bytes(231))._repr_html_())
    assert "Global Trace Config" in config.words
    for report in vesk_report.reports(TOUR):
        Checker(report._repr_html_())


def test_captures():
    shown = Checker(vesk_report.read(FORMS / "tour-usbmon.pcap")._repr_html_())
    assert "watch_dog_report" in shown.words and "2023-11-14T22:13:20" in shown.words
    errors = Checker(vesk_report.read(b"zz\n" * 20)._repr_html_())
    assert "20 errors" in errors.words and "and 10 more" in errors.words
    for table in vesk_report.read(b"").tables.values():
        Checker(table._repr_html_())


def test_nothing_of_an_input_is_markup(tmp_path):
    evil = "<script>alert(1)</script>&amp;\"'"
    path = tmp_path / "<script>x.hex"
    path.write_bytes(hex_lines(b"\xd0" + evil.encode() + b"\0") + b"<b>zz</b>\n")
    capture = vesk_report.read(path)
    report = next(vesk_report.reports(path))
    for thing in (capture, capture.version, report):
        text = thing._repr_html_()
        assert "<script" not in text and "<b>zz" not in text
        shown = Checker(text)
        if thing is not capture:
            assert evil in shown.words


def test_names_that_are_no_text_are_shown(tmp_path):
    import os

    path = os.fsencode(tmp_path) + b"/\xff.hex"
    with open(path, "wb") as file:
        file.write(hex_lines(STATE))
    name = os.fsdecode(path)
    for thing in (vesk_report.read(name).adc_dump_state, next(vesk_report.reports(name))):
        thing._repr_html_().encode()


@pytest.mark.parametrize("numbers", [
    [[np.nan] * 4], [[np.inf, -np.inf, 0, 1]], [[5, 5, 5]], [[3.4e38, -3.4e38, 0]]])
def test_pictures_of_odd_numbers(numbers):
    from vesk_report._html import png

    colours = pixels("data:image/png;base64," + base64.b64encode(png(np.array(numbers))).decode())
    assert colours.shape == (1, len(numbers[0]), 3)


def readme():
    return (ROOT / "README.md").read_text(encoding="utf-8")


def test_the_third_command_of_the_readme():
    (command,) = re.findall(r"^    (scripts/python .*)$", readme(), re.M)
    program, option, code = shlex.split(command)
    assert option == "-c"
    done = run_python(code, cwd=ROOT)
    assert done.stderr == ""
    numbers = [int(word) for word in re.findall(r"-?\d+", done.stdout)]
    # The samples as the file has them: 192 numbers from byte 16 on.
    line = next(line for line in TOUR.read_text().splitlines() if line.startswith("input 76"))
    report = bytes.fromhex(line.removeprefix("input "))
    assert numbers == list(struct.unpack("<192i", report[16 : 16 + 768]))


def test_the_program_of_the_readme():
    (code,) = re.findall(r"^```python\n(.*?)^```", readme(), re.M | re.S)
    last = code.rstrip().splitlines()[-1]
    expression, told = re.fullmatch(r"(.*\S)\s+# \"(.*)\"", last).groups()
    done = run_python(f"{code}\nprint({expression})", cwd=ROOT)
    assert (done.stderr, done.stdout) == ("", f"{told}\n")
