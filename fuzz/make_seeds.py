#!/usr/bin/env python3
"""Write seeds for the fuzzers, a folder each, from the samples and the cases of tests/.

    make_seeds.py FOLDER

The layouts of the seeds for plugin, format and json are those in which the programs take what they
are given apart.
"""

import struct
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "reference"))
import case_file  # noqa: E402 - only found through the line above

SAMPLES = ROOT / "samples"
FORMS = SAMPLES / "forms"
LONGEST = 1500  # of the reports that are taken over: a few long ones are enough

# The calls of plugin.cpp, by their place in its list.
TO_OBJECT, PRINT, OPTIONS, MODES, CONFIG, TABLE, ROWS, ARRAYS, PIECES, BLOBS, UNKNOWN = range(11)

# The records of json.cpp.
FILE, PROBLEM, REPORT = range(3)


def case_reports():
    """The report of every case: name, bytes."""
    for case in case_file.read_all():
        yield case.name, case.report


def short(data):
    return bytes([len(data)]) + data


def long(data):
    return struct.pack("<H", len(data)) + data


def call(number, report):
    """A call of plugin.cpp with a report, its length as it is."""
    return bytes([number, report[0]]) + long(report) + b"\0"


def plugin_seeds():
    for name, report in case_reports():
        if len(report) > LONGEST and not name.endswith("plain"):
            continue
        yield name, b"".join(
            [call(TO_OBJECT, report), bytes([MODES, 3]), call(TO_OBJECT, report),
             call(PRINT, report)])
    state = b"\xde\x01"
    yield "options", (bytes([OPTIONS, 1, 1]) + bytes([OPTIONS, 1, 0]) + short(b"-nonsense")
                      + bytes([OPTIONS, 2, 1, 0]) + short(b"\xff") + call(TO_OBJECT, state))
    yield "config", (bytes([CONFIG, 2, 0, 0, 1, 1, 1, 1]) + bytes([CONFIG, 1, 4]) + short(b"YES")
                     + call(TO_OBJECT, state) + bytes([ROWS]))
    # Another table: 0x05 is a state, the fourth of the list, by an unsigned key, 0x06 what no decoder
    # does.
    yield "table", (bytes([TABLE, 5, 2, 0, 5, 3, 0, 6, 255]) + short(b"parseNothing")
                    + call(TO_OBJECT, b"\x05\x01") + call(TO_OBJECT, b"\x06\x01")
                    + call(PRINT, b"\x06\x01") + bytes([TABLE, 4]) + call(PRINT, state))
    words = struct.pack("<9I", 0, 1, 10, 99999, 2**31 - 1, 2**31, 2**32 - 1, 123456, 7)
    for number, form in enumerate([b"%08x ", b"%14d ", b"% -13.3f ", b"%+#12X", b"%d", b"%.9f"]):
        yield f"array-{number}", bytes([ARRAYS, number % 3]) + short(form) + short(words)
    yield "pieces", (bytes([PIECES, 0xFB]) + short(b"NAME") + struct.pack("<Q", 2**47 | 5)
                     + bytes([UNKNOWN, 1, 0, 0, 0, 4, 1, 0, 0, 0]) + bytes(8))
    full = next(data for _, data in case_reports() if data[0] == 0xE1)
    config = next(data for _, data in case_reports() if data[0] == 0xE2)
    blobs = bytes([BLOBS, 0]) + short(b"OTHER") + bytes([BLOBS, 1]) + short(b"OTHER")
    yield "blobs", (blobs + call(TO_OBJECT, full) + bytes([MODES, 1]) + call(TO_OBJECT, full)
                    + call(PRINT, config))


def format_seeds():
    numbers = [0, 1, 9, 10, 2**31 - 1, 2**31, 2**32 - 1, 2**63, 2**64 - 1]
    numbers += [struct.unpack("<I", struct.pack("<f", real))[0]
                for real in (0.5, -0.0005, 1234.5678, 4.2e9, 1e-40, 3.4e38, float("inf"),
                             float("nan"), 0.0625, 16777216.5)]
    numbers += [struct.unpack("<Q", struct.pack("<d", real))[0]
                for real in (0.5, -0.0005, 2**52 + 0.5, 1e300, 5e-324, float("-inf"))]
    forms = [b"%08x ", b"%14d ", b"% -13.3f ", b"%s", b"%.3s|", b"%40s: ", b"%lli", b"%016llX",
             b"%#x", b"%+d", b"% i", b"%-12u ms", b"%012.3f", b"%#.0f", b"%.999f", b"%999d",
             b"%.20llu", b"a%ub", b"%5.3x", b"%f", b"%%", b"%1000d", b"%ls", b"%"]
    for i, form in enumerate(forms):
        yield f"form-{i}", struct.pack("<Q", numbers[i % len(numbers)]) + short(b"text") + form
    for i, number in enumerate(numbers):
        yield f"number-{i}", struct.pack("<Q", number) + short(b"") + forms[i % len(forms)]


def rows_seeds():
    yield "whole", struct.pack("<16I", 0, 1, 9, 10, 99, 9999, 10000, 99999999, 100000000, 999999999,
                               10**9, 2**31 - 1, 2**31, 2**31 + 1, 2**32 - 10, 2**32 - 1)
    yield "real", struct.pack("<16f", 0.0, -0.0, 0.0005, -0.0625, 1.5, 9.9995, -999.9995, 12345.678,
                              99998.99, 99999.0, -100000.0, 2.0**31, -4.2e9, 3.4e38, float("inf"),
                              float("nan"))
    for name, report in case_reports():
        if report[0] in (0x76, 0xA2, 0xE4):
            yield name, report[1:257]


def json_report(report):
    """A report from line 7, at 12.345678 s, of no given type."""
    return bytes([REPORT, 1 + 4, 7, 4]) + struct.pack("<I", 12345678) + b"\3" + long(report)


def json_problem(code, text):
    return (bytes([PROBLEM, 2 + 4, 9, code]) + short(text) + b"\0" + bytes([31, 0xE1, 2])
            + struct.pack("<3Q", 991, 100, 2**64 - 1))


def json_seeds():
    for number, (name, report) in enumerate(case_reports()):
        if len(report) > LONGEST and not name.endswith("plain"):
            continue
        yield name, bytes([number % 16]) + json_report(report)
    yield "problems", (b"\x0c" + json_problem(4, b"short") + json_problem(15, b'\xff"\\\n\x00\xe2')
                       + bytes([FILE]) + short(b"a\xffb\"") + json_report(b"\xde\x01"))
    yield "array", (b"\x0e" + json_report(b"\xd0caf\xc3\xa9\0") + json_report(b"\x99")
                    + json_report(b"\xd0\xff\0") + json_report(b"\xe1"))


def some_lines(path, lines):
    return b"".join(path.read_bytes().splitlines(keepends=True)[:lines])


def capture_seeds():
    """Small captures in either byte order: a pcap of nanoseconds, and a pcapng of two link types
    with a packet of each kind of block."""
    for name, order in (("little", "<"), ("big", ">")):
        def pack(form, *values, order=order):
            return struct.pack(order + form, *values)

        def block(kind, body, pack=pack):
            body += bytes(-len(body) % 4)
            size = pack("I", len(body) + 12)
            return pack("I", kind) + size + body + size

        state = pack("QBBBBHBBqiiII8s", 1, ord("C"), 1, 0x81, 5, 1, ord("-"), 0, 1, 0, 0, 2, 2,
                     b"") + b"\xde\x01"
        size = len(state)
        yield f"capture-{name}.pcap", (
            pack("IHHiIII", 0xA1B23C4D, 2, 4, 0, 0, 262144, 189)
            + pack("IIII", 1, 999_999_999, size, size) + state)
        options = pack("HHB3xHHqHH", 9, 1, 9, 14, 8, 1_700_000_000, 0, 0)
        yield f"capture-{name}.pcapng", (
            block(0x0A0D0D0A, pack("IHHq", 0x1A2B3C4D, 1, 0, -1))
            + block(1, pack("HHI", 189, 0, 0) + options) + block(1, pack("HHI", 1, 0, 64))
            + block(5, bytes(12)) + block(6, pack("IIIII", 0, 0, 5, size, size) + state)
            + block(2, pack("HHIIII", 1, 0, 0, 5, 5, 5) + b"ether")
            + block(3, pack("I", size) + state)
            + block(0x0A0D0D0A, pack("IHHq", 0x1A2B3C4D, 1, 0, -1))
            + block(1, pack("HHI", 189, 0, 0)) + block(3, pack("I", size) + state))


def input_seeds():
    """Every sample of a form, text as far as its first lines, and short inputs by hand."""
    for path in [SAMPLES / "versions.hex", SAMPLES / "tour.hex", *sorted(FORMS.glob("t*"))]:
        yield path.name, path.read_bytes() if b"\0" in path.read_bytes() else some_lines(path, 120)
    yield from capture_seeds()
    for name, report in case_reports():
        if len(report) < 100:
            yield f"binary-{name}", report
    yield "hex-words", b"feature de 01\n0xDE, 0x01\r\ninput de:01\nde0\nzz\n# x\n\nfeature\n"
    yield "dump-repeated", b"00000000: de01 0000  ..\n*\n00000020: de01\n00000022\n"
    yield "recording-lines", (
        b"D: 0\nR: 3 06 00 ff\nN: name\nI: 3 1209 0001\nE: 000012.345678 2 de 01\n"
        b"F: 12.4 2 de 01\nO: -1.5 1 de\nE: 1.000000 3 de 01\nX: 1\n")


def limits_seeds():
    """The samples, and what they have not."""
    for path in sorted((SAMPLES / "limits").iterdir()):
        yield path.name, path.read_bytes()
    yield "parts", b'''{"reports": {
      "0xD2": {"schema": {"properties": {"SDK": {"anyOf": [{"pattern": "a+"}, {"not": {"minLength": 3}}]}}}},
      "0xD0": {"schema": {"enum": ["a", ""]}},
      "0xDF": {"schema": {"properties": {"Timestamp": {"minimum": -9223372036854775807, "multipleOf": 3},
        "Wallclock": {"exclusiveMaximum": 1.5e3}}}},
      "0x76": {"units": {"TMON_DEG_C": "K"}, "optional": true, "schema": {"required": ["TMON_DEG_C"],
        "patternProperties": {"^D": {"contains": {"if": {"const": 3}, "then": {"multipleOf": 2},
          "else": {"maximum": 5}}, "uniqueItems": true, "items": {"oneOf": [{"minimum": -3}, {"maximum": 3.5}]}}},
        "properties": {"TMON_DEG_C": {"const": 0}, "D_SCAN_I": {"items": {"enum": [0, 1]}}}}}}}'''


def descriptor_seeds():
    """Items as devices have them."""
    page, end = bytes.fromhex("0600ff0901a101"), b"\xc0"
    state, image = bytes.fromhex("85de75089501b102"), bytes.fromhex("857675089617038102")
    yield "state", page + state + end
    yield "two", page + state + image + end
    yield "without-ids", bytes.fromhex("050975019503810295058103750895029102")
    yield "pushed", page + bytes.fromhex("8501750895 01a4 8502 95028102 b4 8102") + end
    yield "long-item", bytes.fromhex("fe03f0010203") + state


def main():
    folder = Path(sys.argv[1])
    makers = {"plugin": plugin_seeds, "format": format_seeds, "rows": rows_seeds,
              "json": json_seeds, "input": input_seeds, "limits": limits_seeds,
              "columns": input_seeds, "descriptor": descriptor_seeds}
    for target, seeds in makers.items():
        (folder / target).mkdir(parents=True, exist_ok=True)
        for name, content in seeds():
            (folder / target / name).write_bytes(content)


if __name__ == "__main__":
    main()
