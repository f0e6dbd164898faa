"""Inputs: what can be read, what of it is kept, errors, progress, batches and single reports."""

import array
import datetime
import gzip
import io
import json
import lzma
import mmap
import os
import pathlib
import subprocess
import sys
import threading

import numpy as np
import pytest

import vesk_report
from given import FORMS, ROOT, SAMPLES, STATE, TOUR, frame, hex_lines, run_python

STATES = hex_lines(STATE, b"\xde\x02")
MIXED = b"de 01\nzz\n99 01\nde\nde 02\n"


def states(source, **options):
    return list(vesk_report.read(source, **options).adc_dump_state["value"])


class Trickle(io.RawIOBase):
    """A file object that gives a byte at a time, and has no more than read()."""

    def __init__(self, content):
        self._content = io.BytesIO(content)

    def readable(self):
        return True

    def read(self, size=-1):
        return self._content.read(1)


def test_inputs_of_every_kind(tmp_path):
    path = tmp_path / "states.hex"
    path.write_bytes(STATES)
    sources = [str(path), path, STATES, bytearray(STATES), memoryview(STATES),
               array.array("B", STATES), np.frombuffer(STATES, np.uint8), io.BytesIO(STATES),
               Trickle(STATES)]
    for source in sources:
        assert states(source) == ["SINGLE", "CONTINUOUS"], source
    for open_file in (open, gzip.open):
        if open_file is gzip.open:
            path.write_bytes(gzip.compress(STATES))
        with open_file(path, "rb") as file:
            assert states(file) == ["SINGLE", "CONTINUOUS"]
    with open(path, "rb") as file, mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ) as mapped:
        assert states(mapped) == ["SINGLE", "CONTINUOUS"]  # packed, as it is in the file


def test_a_file_object_is_read_from_where_it_stands():
    file = io.BufferedReader(io.BytesIO(b"zz\n" + STATES))
    assert file.readline() == b"zz\n"
    assert states(file) == ["SINGLE", "CONTINUOUS"]


def test_packed_inputs():
    assert states(lzma.compress(STATES)) == ["SINGLE", "CONTINUOUS"]
    packed = gzip.compress(STATES * 100_000, 0)
    capture = vesk_report.read(packed[:-20])
    assert capture.errors[-1].code == "unreadable_input"
    assert str(capture.errors[-1]) == "<bytes>: cannot decompress: truncated gzip input"
    assert 100_000 < len(capture) < 200_000


@pytest.mark.parametrize("path", sorted(path.name for path in FORMS.glob("tour*")))
def test_every_form_gives_the_same(path):
    """As the samples of all forms are made of the same reports."""
    expected = vesk_report.read(TOUR)
    capture = vesk_report.read(FORMS / path)
    assert capture.errors.total == 0
    # One has no feature reports, and the other only what is as short as usbmon's lines.
    if path not in ("tour-usbhid-dump.txt", "tour-usbmon.txt"):
        assert len(capture) == len(expected)
    assert len(capture) >= 2
    for found in capture:
        table = expected.tables[found.name]
        assert len(found) == len(table)
        for key in table.keys:
            if isinstance(table[key], vesk_report.TextColumn):
                assert list(found[key]) == list(table[key])
            else:
                np.testing.assert_array_equal(found[key], table[key])


def test_names_of_inputs(tmp_path):
    path = os.fsencode(tmp_path) + b"/\xff.hex"
    with open(path, "wb") as file:
        file.write(STATES)
    capture = vesk_report.read(os.fsdecode(path))
    assert capture.adc_dump_state["source"].unique() == [os.fsdecode(path)]
    assert vesk_report.read(io.BytesIO(STATES)).adc_dump_state["source"].unique() == ["<BytesIO>"]
    with open(path, "rb") as file:
        assert vesk_report.read(file)[0xDE]["place"].tolist() == [1, 2]


def test_several_inputs(tmp_path):
    path = tmp_path / "a.hex"
    path.write_bytes(STATES)
    capture = vesk_report.read([path, STATES, (FORMS / "tour.bin").as_posix()])
    table = capture.adc_dump_state
    assert list(table["value"]) == ["SINGLE", "CONTINUOUS"] * 2 + ["SINGLE"]
    assert table["source"].unique() == [str(path), "<bytes>", str(FORMS / "tour.bin")]
    assert len(vesk_report.read([])) == 0


@pytest.mark.parametrize("source, error", [
    (None, "NoneType"), (5, "int"), (object(), "object"), ([STATES, 5], "int"),
    ({"a": 1}, "dict"), (1.5, "float"),
])
def test_what_is_no_input(source, error):
    for function in (vesk_report.read, vesk_report.batches, vesk_report.reports):
        with pytest.raises(TypeError, match=f"an input is a path, bytes.*not {error}"):
            function(source)


def test_files_that_cannot_be_opened(tmp_path):
    missing = tmp_path / "nothing.pcap"
    for function in (vesk_report.read, vesk_report.batches, vesk_report.reports):
        with pytest.raises(FileNotFoundError, match="nothing.pcap"):
            function(missing)
        with pytest.raises(IsADirectoryError, match=tmp_path.name):
            function(tmp_path)
    with pytest.raises(ValueError, match="null"):
        vesk_report.read("a\0b")


def test_file_objects_that_give_no_bytes():
    with pytest.raises(TypeError, match="must give bytes, not str: open it in binary mode"):
        vesk_report.read(io.StringIO("de 01\n"))

    class Liar:
        def __init__(self, piece):
            self.read = lambda size: piece

    with pytest.raises(TypeError, match="not NoneType|bytes"):
        vesk_report.read(Liar(5))
    with pytest.raises(BlockingIOError):
        vesk_report.read(Liar(None))
    with pytest.raises(ValueError, match="more bytes than it was asked for"):
        vesk_report.read(Liar(bytes(1 << 20)))

    class Failing:
        def read(self, size):
            raise OSError(5, "the disk is on fire")

    with pytest.raises(OSError, match="the disk is on fire"):
        vesk_report.read(Failing())


def test_what_an_input_raises_comes_through_unpacking():
    packed = io.BytesIO(gzip.compress(hex_lines(*[STATE] * 50_000), 0))

    class Failing:
        def read(self, size):
            if packed.tell() > 100_000:
                raise OSError(5, "the disk is on fire")
            return packed.read(min(size, 50_000))

    with pytest.raises(OSError, match="the disk is on fire"):
        vesk_report.read(Failing())


@pytest.mark.parametrize("content, message", [
    (b"PK\x03\x04....", "<bytes>: a zip archive; use: unzip -p FILE | vesk-decode"),
    (b"\xff\xfed\0e\0", "<bytes>: text in UTF-16; use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode"),
    (b"\x1f\x8b\x08\0damaged", "<bytes>: "),
])
def test_what_cannot_be_read_at_all(content, message):
    for function in (vesk_report.read, vesk_report.batches, vesk_report.reports):
        with pytest.raises(ValueError) as raised:
            list(function(content))
        assert str(raised.value).startswith(message)


def test_errors_stand_beside_what_is_good():
    capture = vesk_report.read(MIXED)
    assert list(capture.adc_dump_state["value"]) == ["SINGLE", "CONTINUOUS"]
    assert [error.code for error in capture.errors] == ["bad_hex", "unknown_report", "short_report"]
    assert capture.errors.counts == {"bad_hex": 1, "unknown_report": 1, "short_report": 1}
    short = capture.errors[2]
    assert str(short) == "<bytes>:4: report 0xDE (feature): 1 byte, its layout needs 2"
    assert (short.where, short.unit, short.place, short.source) == ("<bytes>:4", "line", 4, "<bytes>")
    assert (short.report_id, short.type, short.expected, short.got) == (0xDE, "feature", 2, 1)
    assert np.isnat(short.time) and short.device == "" and short.offset is None
    assert repr(capture) == "<Capture: 2 adc_dump_state; 3 errors>"
    assert repr(capture.errors) == "<Errors: 1 bad_hex, 1 short_report, 1 unknown_report>"


def test_errors_are_those_of_the_command_line(tmp_path):
    """The same codes, words and places, for inputs that are damaged in many ways."""
    program = os.environ["VESK_DECODE"]
    whole = (FORMS / "tour-usbmon.pcap").read_bytes()
    contents = [MIXED, whole[:-7], whole[:1000], b"feature de 01\nfeature\n0xDE, 0x1\n",
                (FORMS / "tour.bin").read_bytes()[:200], (FORMS / "tour.hid").read_bytes() + b"E: x\n",
                b"00000000: de01 zz\n", hex_lines(frame()[:-1]), b"\x99\x98"]
    for number, content in enumerate(contents):
        path = tmp_path / f"{number}"
        path.write_bytes(content)
        done = subprocess.run([program, "-o", "ndjson", path], capture_output=True, check=False)
        records = [json.loads(line) for line in done.stdout.splitlines()]
        expected = [record["error"] for record in records if "error" in record]
        assert expected
        errors = vesk_report.read(path).errors
        assert [(e.code, e.message) for e in errors] == [
            (record["code"], record["message"]) for record in expected]
        assert [(e.expected, e.got, e.offset) for e in errors] == [
            tuple(record.get(key) for key in ("expected", "got", "offset")) for record in expected]
        assert [str(error) for error in errors] == done.stderr.decode().splitlines()[:len(errors)]


def test_errors_are_counted_beyond_those_that_are_kept():
    capture = vesk_report.read(b"zz\n" * 25_000 + b"de 01\n")
    assert len(capture.errors) == vesk_report.Errors.LIMIT == 10_000
    assert capture.errors.total == 25_000 and capture.errors.counts == {"bad_hex": 25_000}
    assert repr(capture.errors) == "<Errors: 25000 bad_hex, the first 10000 are kept>"
    found = vesk_report.reports(b"zz\n" * 25_000 + b"de 01\n")
    assert [report.id for report in found] == [0xDE]
    assert (len(found.errors), found.errors.total) == (10_000, 25_000)


def test_selections():
    capture = vesk_report.read(TOUR, report=0x76)
    assert repr(capture) == "<Capture: 1 image; 0 errors>"
    for report in ("0x76", "118", "image", "parseVeskImage", [0x76], {0x76}):
        assert repr(vesk_report.read(TOUR, report=report)) == repr(capture)
    both = vesk_report.read(TOUR, report=["image", 0xDE])
    assert [table.name for table in both] == ["adc_dump_state", "image"]
    assert len(vesk_report.read(TOUR, report="open_short_data")) == 2
    assert len(vesk_report.read(TOUR, type="input")) == 2
    capture = FORMS / "tour-usbmon.pcap"
    assert len(vesk_report.read(capture, device="1:5")) == len(vesk_report.read(TOUR))
    assert len(vesk_report.read(capture, device=(1, 5), endpoint=0)) == len(
        vesk_report.read(TOUR, type="feature"))
    assert len(vesk_report.read(capture, endpoint=0x81)) == 2
    assert len(vesk_report.read(capture, device="1:6")) == 0
    assert len(vesk_report.read(b"\xde\x01", form="binary")) == 1


@pytest.mark.parametrize("options, error, message", [
    ({"form": "x"}, ValueError, "form=x: choose one of hex, dump, "),
    ({"form": 5}, TypeError, "form= is str, not int"),
    ({"report": 0x99}, ValueError, "report=153: no decoder reads report 0x99"),
    ({"report": 76}, ValueError, "report=76: no decoder reads report 0x4C; did you mean 0x76?"),
    ({"report": "imgae"}, ValueError, "report='imgae': no decoder has this name"),
    ({"report": []}, ValueError, "report=: an empty selection"),
    ({"report": 1.5}, TypeError, ""),
    ({"report": True}, TypeError, "report= is an ID"),
    ({"type": "x"}, ValueError, "type=x: choose one of input, output, feature"),
    ({"device": "x"}, ValueError, "device='x': a device is BUS:DEV, such as 1:5"),
    ({"device": "1:65536"}, ValueError, "a device is BUS:DEV"),
    ({"device": (1, 2, 3)}, ValueError, "a device is BUS:DEV"),
    ({"device": 5}, TypeError, "device= is"),
    ({"endpoint": 16}, ValueError, "endpoint=16: an endpoint is 0 to 15, or 0x81 to 0x8F"),
    ({"endpoint": -1}, ValueError, "an endpoint is"),
    ({"endpoint": "1"}, TypeError, "endpoint= is int, not str"),
    ({"progress": 5}, TypeError, "progress= is something to call"),
])
def test_parameters_that_make_no_sense(options, error, message):
    for function in (vesk_report.read, vesk_report.batches, vesk_report.reports):
        with pytest.raises(error) as raised:
            function(TOUR, **options)
        assert message in str(raised.value)


@pytest.mark.parametrize("columns, error, message", [
    ({0x99: ["A"]}, ValueError, "columns=: no decoder reads 0x99"),
    ({"x": ["A"]}, ValueError, "columns=: no decoder reads 'x'"),
    ({0x76: ["A"]}, ValueError, "columns=: 118 has no 'A'; it has time, "),
    ({0x76: "FLAGS"}, TypeError, r"a list of names, such as ['FLAGS'], not a string"),
])
def test_columns_that_make_no_sense(columns, error, message):
    with pytest.raises(error) as raised:
        vesk_report.read(TOUR, columns=columns)
    assert message in str(raised.value)


def test_chosen_columns():
    capture = vesk_report.read(TOUR, columns={0x76: ["FRAME_NUMBER", "P_SCAN_Q"], "version": ()})
    assert capture.image.keys == ("FRAME_NUMBER", "P_SCAN_Q")
    whole = vesk_report.read(TOUR)
    np.testing.assert_array_equal(capture.image["P_SCAN_Q"], whole.image["P_SCAN_Q"])
    assert capture.version.keys == () and len(capture.version) == 1
    assert capture.adc_dump_packet.keys == whole.adc_dump_packet.keys
    assert capture.image.array.dtype.itemsize < 48 * 4 + 64


TIMED = b"F: 1700000000.0 2 de 01\nF: 1700000002.5 2 de 02\nF: 1700000003.0 2 de 01\n"


@pytest.mark.parametrize("start, end, count", [
    (1700000002.5, None, 2), (1700000002.500001, None, 1), (None, 1700000002.5, 2),
    ("2023-11-14T22:13:22.5Z", "2023-11-14T23:13:22.5+01:00", 1), ("1700000001", "1700000002", 0),
    (np.datetime64("2023-11-14T22:13:22.5"), np.datetime64("2023-11-14T22:13:23", "s"), 2),
    (datetime.datetime(2023, 11, 14, 22, 13, 23, tzinfo=datetime.timezone.utc), None, 1),
    (0, 1700000000, 1), (np.float64(1700000003), None, 1),
])
def test_times_select(start, end, count):
    options = {"form": "recording", "start": start, "end": end}
    assert len(vesk_report.read(TIMED, **options)) == count
    assert len(list(vesk_report.reports(TIMED, **options))) == count
    assert sum(map(len, vesk_report.batches(TIMED, rows=1, **options))) == count


@pytest.mark.parametrize("start, end, error, message", [
    ("x", None, ValueError, "start='x': a moment is seconds, such as 12.5, or a date"),
    (None, "2023-11-14T22:13:20", ValueError, "end='2023-11-14T22:13:20': a moment is"),
    (np.datetime64("NaT"), None, ValueError, "a moment is"),
    (float("nan"), None, ValueError, "a moment is"),
    (float("inf"), None, ValueError, "a moment is"),
    (datetime.datetime(2023, 11, 14), None, ValueError, "with its zone"),
    (2, 1, ValueError, "start= is later than end="),
    ([], None, TypeError, "start= is a moment, not list"),
])
def test_moments_that_are_none(start, end, error, message):
    with pytest.raises(error) as raised:
        vesk_report.read(TIMED, form="recording", start=start, end=end)
    assert message in str(raised.value)


def test_what_has_no_time_is_in_no_window():
    for function in (vesk_report.read, vesk_report.batches, vesk_report.reports):
        with pytest.raises(ValueError, match="<bytes>: it has reports without a time"):
            list(function(STATES, start=0))
        assert len(list(function(STATES, report="image", start=0))) == 0


def test_progress_is_told_in_steps_that_add_up(tmp_path):
    path = tmp_path / "frames.hex"
    path.write_bytes(hex_lines(*[frame(i) for i in range(5_000)]))
    size = path.stat().st_size
    for source in (path, path.read_bytes(), io.BytesIO(path.read_bytes())):
        steps = []
        vesk_report.read(source, progress=steps.append)
        assert sum(steps) == size and all(step > 0 for step in steps)
    steps = []
    for _ in vesk_report.batches([path, path], rows=1000, progress=steps.append):
        pass
    assert sum(steps) == 2 * size


def test_what_a_progress_raises_ends_the_read():
    class Stop(Exception):
        pass

    def stop(step):
        raise Stop

    with pytest.raises(Stop):
        vesk_report.read(TOUR, progress=stop)


def test_batches():
    content = hex_lines(*[frame(i, i) for i in range(10)], STATE)
    found = list(vesk_report.batches(content, rows=4))
    assert [len(batch) for batch in found] == [4, 4, 3]
    assert [batch.image["FRAME_NUMBER"].tolist() for batch in found] == [
        [0, 1, 2, 3], [4, 5, 6, 7], [8, 9]]
    assert [batch.image.frames[:, 0, 0].tolist() for batch in found][1] == [4, 5, 6, 7]
    assert [batch.image["place"].tolist()[0] for batch in found] == [1, 5, 9]
    assert [list(batch.image["source"])[0] for batch in found] == ["<bytes>"] * 3
    assert [len(batch) for batch in vesk_report.batches(content, rows=11)] == [11]
    assert [len(batch) for batch in vesk_report.batches(b"", rows=11)] == []


def test_errors_of_batches():
    told = []
    found = list(vesk_report.batches(MIXED * 2, rows=2, on_error=told.append))
    assert [len(batch) for batch in found] == [2, 2]
    assert [batch.errors.total for batch in found] == [3, 3]
    assert [error.code for error in told] == ["bad_hex", "unknown_report", "short_report"] * 2
    last = list(vesk_report.batches(b"de 01\nzz\n", rows=1))
    assert [(len(batch), batch.errors.total) for batch in last] == [(1, 0), (0, 1)]


@pytest.mark.parametrize("rows, error", [(0, ValueError), (-1, ValueError), (1.5, TypeError)])
def test_sizes_of_batches(rows, error):
    with pytest.raises(error):
        vesk_report.batches(TOUR, rows=rows)


def test_reports_one_by_one():
    found = list(vesk_report.reports(FORMS / "tour-usbmon.pcap"))
    assert [report.id for report in found[:8]] == [
        0xD0, 0xD2, 0xDF, 0xA9, 0x76, 0xDC, 0xDE, 0x77]
    first = found[0]
    assert (first.name, first.type, first.value) == ("version", "feature", "4.12.0")
    assert first.device == "device 1:5, endpoint 0" and first.direction == "from_device"
    assert first.where.endswith("tour-usbmon.pcap: packet 4")
    assert str(first.time).startswith("2023-11-14T22:13:20")
    assert first.lines == ["4.12.0"]
    assert "0xD0 version at " in repr(first)


def test_errors_of_single_reports():
    told = []
    found = vesk_report.reports(MIXED, on_error=told.append)
    assert next(found).value == "SINGLE" and found.errors.total == 0
    assert next(found).value == "CONTINUOUS"
    assert [error.code for error in found.errors] == ["bad_hex", "unknown_report", "short_report"]
    assert told == list(found.errors)
    with pytest.raises(StopIteration):
        next(found)
    with pytest.raises(StopIteration):
        next(found)


def test_iterators_can_be_closed(tmp_path):
    path = tmp_path / "states.hex"
    path.write_bytes(STATES)
    before = set(os.listdir("/proc/self/fd"))
    with vesk_report.reports(path) as found:
        assert next(found).value == "SINGLE"
    assert next(found, None) is None
    with vesk_report.batches(path, rows=1) as parts:
        assert len(next(parts)) == 1
    assert next(parts, None) is None
    del found, parts
    assert set(os.listdir("/proc/self/fd")) == before


def test_nothing_stays_open(tmp_path):
    path = tmp_path / "states.hex"
    path.write_bytes(STATES)
    before = len(os.listdir("/proc/self/fd"))
    for _ in range(20):
        vesk_report.read(path)
        list(vesk_report.reports(path))
        list(vesk_report.batches(path))
        path.write_bytes(b"PK\x03\x04....")
        with pytest.raises(ValueError):
            vesk_report.read(path)
        path.write_bytes(STATES)
    assert len(os.listdir("/proc/self/fd")) == before


def test_pipes_are_followed():
    """A report comes out of an endless pipe as soon as it is in it."""
    reading, writing = os.pipe()
    with os.fdopen(reading, "rb", buffering=0) as pipe, os.fdopen(writing, "wb", buffering=0) as into:
        into.write(b"feature de 01\n")
        found = vesk_report.reports(pipe)
        assert next(found).value == "SINGLE"
        into.write(b"feature de 02\n")
        assert next(found).value == "CONTINUOUS"


def test_named_pipes(tmp_path):
    path = tmp_path / "pipe"
    os.mkfifo(path)
    writer = threading.Thread(target=path.write_bytes, args=(STATES,))
    writer.start()
    assert states(path) == ["SINGLE", "CONTINUOUS"]
    writer.join()


def test_what_a_host_writes_is_shown_when_asked_for(tmp_path):
    usb = FORMS / "two-links.pcapng"
    assert {report.direction for report in vesk_report.reports(usb)} <= {"from_device"}


def test_nothing_prints():
    code = """
import vesk_report, sys
vesk_report.read(b"zz\\n" * 20 + b"de 01\\n").image.frames
list(vesk_report.reports(b"de\\nde 01\\n"))
try:
    vesk_report.read("nothing")
except OSError:
    pass
"""
    done = run_python(code)
    assert (done.returncode, done.stdout, done.stderr) == (0, "", "")


def test_the_examples_of_the_docstrings_name_what_there_is():
    for name in ("read", "batches", "reports"):
        doc = getattr(vesk_report, name).__doc__
        assert ">>> " in doc
    assert vesk_report.__version__ == os.environ["VESK_VERSION"]
    assert pathlib.Path(vesk_report.Plugin().path).name == "libvesk-report.so"
    assert ROOT.is_dir() and SAMPLES.is_dir() and sys.version_info >= (3, 9)
