"""Inputs that lie: bounded memory for each, and what is good is still decoded. What the fuzzers know is
read, too."""

import base64
import struct

import pytest

import vesk_report
from given import FORMS, ROOT, STATE, hex_lines, run_python

LIMIT = 768 << 20  # of addresses, for a process that has numpy

READ = """
import resource, sys, vesk_report
resource.setrlimit(resource.RLIMIT_AS, (int(sys.argv[1]),) * 2)
form = sys.argv[3] if len(sys.argv) > 3 else None
try:
    capture = vesk_report.read(sys.argv[2], form=form)
    print(len(capture), len(capture.errors), capture.errors.total)
    for table in capture:
        table.array.tobytes(), table._repr_html_()
except ValueError as error:
    print(error)
"""


def read_limited(tmp_path, content, form=None):
    path = tmp_path / "input"
    with open(path, "wb") as file:
        for piece in content if isinstance(content, list) else [content]:
            file.write(piece)
    done = run_python(READ, LIMIT, path, *([form] if form else []), timeout=600)
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout


def test_endless_lines(tmp_path):
    content = [hex_lines(STATE), *[b"00" * (1 << 20)] * 100, b"\n", hex_lines(STATE)]
    assert read_limited(tmp_path, content) == "2 1 1\n"


def test_a_large_file_of_something_else(tmp_path):
    assert read_limited(tmp_path, [b"zz\n" * 100_000] * 50) == "0 10000 5000000\n"


def test_captures_that_claim_four_gigabytes(tmp_path):
    header = struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 2**32 - 1, 189)
    packet = struct.pack("<IIII", 1, 1, 2**32 - 1, 2**32 - 1)
    assert read_limited(tmp_path, header + packet + bytes(1000)) == "0 1 1\n"
    whole = (FORMS / "tour-usbmon.pcap").read_bytes()
    cut = len(vesk_report.read(whole[:-100]))
    assert read_limited(tmp_path, whole[:-100]).split()[0] == str(cut)
    block = struct.pack("<III", 0x0A0D0D0A, 2**32 - 4, 0x1A2B3C4D) + bytes(100)
    assert read_limited(tmp_path, block)


def test_what_unpacks_to_very_much(tmp_path):
    """200 MB of comment in a few hundred kB."""
    import gzip

    packed = gzip.compress(b"#" * (200 << 20) + b"\n" + hex_lines(STATE), 1)
    assert len(packed) < 2 << 20
    assert read_limited(tmp_path, packed) == "1 0 0\n"


def test_very_long_text_reports(tmp_path):
    content = [b"\xd0" + b"v%06d" % i + b"x" * 60_000 + b"\0" for i in range(500)]
    assert read_limited(tmp_path, content, "binary") == "500 0 0\n"


def known_inputs():
    packed = ROOT / "fuzz" / "corpus"
    for target, forms in (("input", [None, *vesk_report.FORMS]), ("columns", [None])):
        for line in (packed / f"{target}.txt").read_text().splitlines():
            yield base64.b64decode(line), forms


def test_what_the_fuzzers_know():
    count = 0
    for content, forms in known_inputs():
        count += 1
        for form in forms:
            if form == "dump" and content.count(b"*") > 2:
                continue  # each may stand for 16 MiB
            try:
                capture = vesk_report.read(content, form=form)
            except ValueError as error:
                assert str(error).startswith("<bytes>")
                continue
            for table in capture:
                assert len(table.array.tobytes()) == table.nbytes
            for error in capture.errors:
                assert str(error).startswith("<bytes>") and error.code
            if form is None:
                singles = vesk_report.reports(content, form=form)
                assert sum(1 for _ in singles) == len(capture)
                assert singles.errors.counts == capture.errors.counts
    assert count > 500


@pytest.mark.parametrize("size", range(1, 200, 7))
def test_captures_cut_anywhere(size):
    whole = (FORMS / "tour-usbmon.pcap").read_bytes()
    good = len(vesk_report.read(whole))
    cut = vesk_report.read(whole[: len(whole) - size])
    assert len(cut) >= good - 2
    assert cut.errors.total in (1, 2)
