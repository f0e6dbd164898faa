#!/usr/bin/env python3
"""Write the cases: reports of our own making with the output that they must give.

    python3 make_cases.py           write those that are made here
    python3 make_cases.py --check   write nothing

Either way the cases that are written by hand, which are all the others, are compared with what the
reference decoder gives for their reports, and the differences are shown. case_file.py tells what the
files look like. The length handed to a decoder is the number of bytes of the report.
"""

import argparse
import difflib
import struct
import sys
from dataclasses import dataclass

from case_file import CASES, CaseFile, barred, read
from vesk_reference import (
    CHANNELS,
    FEATURE,
    INPUT,
    PlatformError,
    ReferencePlugin,
    dump_lines,
    dump_object,
)

POSITIVE_NAN = 0x7FC00000
NEGATIVE_NAN = 0xFFC00000
INFINITY = 0x7F800000
NEGATIVE_INFINITY = 0xFF800000
LARGEST_FLOAT = 0x7F7FFFFF
SMALLEST_FLOAT = 0x00000001
NEGATIVE_ZERO = 0x80000000


@dataclass
class Case:
    name: str
    shows: str
    report: bytes
    report_type: int = FEATURE
    decimal: bool = False


def u16(value):
    return value.to_bytes(2, "little")


def u32(value):
    return (value & 0xFFFFFFFF).to_bytes(4, "little")


def u64(value):
    return value.to_bytes(8, "little")


def u32s(values):
    return b"".join(u32(value) for value in values)


def single(value):
    return struct.pack("<f", value)


def report_of(report_id, size, fill=0, **fields):
    """A report filled with one byte, and bytes put over it at offsets: at_5=b"..."."""
    report = bytearray([fill]) * size
    report[0] = report_id
    for offset, content in fields.items():
        at = int(offset.removeprefix("at_"))
        report[at : at + len(content)] = content
    return bytes(report)


def spread(first, step, count):
    """Numbers that differ from one to the next, so that a misplaced one shows."""
    return [first + step * i for i in range(count)]


EXTREME_SAMPLES = [0, 1, -1, 0x7FFFFFFF, -0x80000000, 0x80, -0x80, 0xFFFF]


def version_cases():
    six = b"P-4.1\nS-2.10.0\nT-17.0.6\nQ-9.3\nV-118\nA-5.5.2"
    texts = [
        ("version-plain", "one version string", b"1.2.3"),
        ("version-empty", "a text that begins with NUL is empty", b""),
        ("version-newlines", "newlines in the one version string stay in it", b"1.2\n3.4\n"),
        ("version-escapes", "quotes, tabs and control bytes", b'a"b\\c\td\x01e\x7f f'),
        ("version-multibyte", "characters of two, three and four bytes", "\u00e9\u20ac\U0001f600"),
        ("version-highest-code-point", "the last character that is valid", "\U0010ffff"),
        ("version-bytes-after-nul", "bytes behind the first NUL do not matter", b"9.9\0\xff\xff"),
        ("version-invalid-byte", "a byte that UTF-8 never uses", b"1.2.\xff"),
        ("version-lone-continuation", "a continuation byte without a start", b"1\x802"),
        ("version-cut-sequence", "NUL in the middle of a character", b"1.2\xe2\x82"),
        ("version-overlong", "a slash in two bytes instead of one", b"\xc0\xaf"),
        ("version-surrogate", "half of a surrogate pair is no character", b"\xed\xa0\x80"),
        ("version-beyond-last-code-point", "one beyond the last character", b"\xf4\x90\x80\x80"),
    ]
    extended_texts = [
        ("version-extended-plain", "the six lines", six),
        ("version-extended-trailing-newline", "a closing newline makes an empty line", six + b"\n"),
        ("version-extended-eight-lines", "objects leave two out", six + b"\nseven\neight"),
        ("version-extended-five-lines", "one line too few for an object", b"a\nb\nc\nd\ne"),
        ("version-extended-empty-lines", "adjacent newlines make empty lines", b"\n\nT\n\n\n\n"),
        ("version-extended-empty", "no text is one empty line", b""),
        ("version-extended-invalid-utf8", "a bad byte in the last line", six + b"\xc3"),
    ]
    for report_id, cases in ((0xD0, texts), (0xD2, extended_texts)):
        for name, shows, text in cases:
            encoded = text if isinstance(text, bytes) else text.encode("utf-8")
            yield Case(name, shows, bytes([report_id]) + encoded + b"\0")


def watchdog_cases():
    def watchdog(name, shows, timestamp, count=42, register=0xAB, wake=7, sleep=6):
        record = u32(count) + u64(timestamp) + u32s([register, wake, sleep])
        return Case("watchdog-" + name, shows, b"\xdf" + record)

    yield watchdog("plain", "last fed after one second", 1_000_000)
    yield watchdog("zero", "never fed", 0, 0, 0, 0, 0)
    yield Case("watchdog-all-ones", "every field at its maximum", report_of(0xDF, 25, fill=0xFF))
    yield watchdog("timestamp-all-ones", "unsigned in text, -1 in the object", 2**64 - 1)
    yield watchdog("timestamp-sign-bit", "the lowest negative number in the object", 2**63)
    yield watchdog("timestamp-over-24-bits", "rounded in single precision", 2**24 + 1)
    yield watchdog("timestamp-tie", "halfway, to the even neighbour above", 2**24 + 3)
    yield watchdog("timestamp-rounded-once", "a tie only to a double", 2**60 + 2**36 + 1)


def power_cases():
    plain = [1500, 1, 86_400_000, 1234, 9000, 17, 120_000, 300, 3_600_000, 299]
    signs = [0x80000000, 0x7FFFFFFF] * 5
    yield Case("power-plain", "a day of use", b"\xa9" + u32s(plain))
    yield Case("power-all-zero", "nothing counted yet", report_of(0xA9, 41))
    yield Case("power-all-ones", "every field at its maximum", report_of(0xA9, 41, fill=0xFF))
    yield Case("power-init-maximum", "no sign", report_of(0xA9, 41, at_1=u32(2**32 - 1)))
    yield Case("power-sign-bits", "times and counts are unsigned", b"\xa9" + u32s(signs))


def image_cases():
    def image(name, shows, size=792, decimal=False, fill=0, **fields):
        report = report_of(0x76, size, fill, **fields)
        return Case("image-" + name, shows, report, INPUT, decimal)

    plain = {
        "at_1": b"\x5a",
        "at_2": u16(0x0102),
        "at_4": u32s([70_000, 0x00030201, 1_234_567]),
        "at_16": u32s(spread(-900, 37, CHANNELS)),
        "at_208": u32s(spread(10_000, -411, CHANNELS)),
        "at_400": u32s(spread(3, 1, CHANNELS)),
        "at_592": u32s(spread(-3, -1, CHANNELS)),
        "at_784": u32(0x00C0FFEE),
        "at_788": single(31.25),
    }
    yield image("plain", "every field a value of its own", decimal=True, **plain)
    yield image("all-zero", "every field zero", decimal=True)
    yield image("all-ones", "every bit set; a negative NaN", decimal=True, fill=0xFF)
    yield image(
        "extreme-samples",
        "samples at the ends of their range",
        decimal=True,
        at_16=u32s(EXTREME_SAMPLES * 24),
    )
    yield image("sample-minus-one", "one negative sample", decimal=True, at_16=u32(-1))
    yield image("small-cookie-and-flags", "zero-filled to their widths", at_1=b"\x07", at_2=u16(1))
    yield image("header-maximum", "the header's numbers at their maximum", at_1=b"\xff" * 15)
    temperatures = [
        ("temperature-25-5", "six decimals", single(25.5)),
        ("temperature-below-zero", "a cold panel", single(-12.0625)),
        ("nan-temperature", "a NaN is passed through", u32(POSITIVE_NAN)),
        ("negative-nan-temperature", "the text shows a NaN's sign", u32(NEGATIVE_NAN)),
        ("infinite-temperature", "infinity", u32(INFINITY)),
        ("negative-infinite-temperature", "infinity below zero", u32(NEGATIVE_INFINITY)),
        ("negative-zero-temperature", "zero keeps its sign", u32(NEGATIVE_ZERO)),
        ("largest-temperature", "all the digits of the largest float", u32(LARGEST_FLOAT)),
        ("smallest-temperature", "the smallest float is not quite zero", u32(SMALLEST_FLOAT)),
    ]
    for name, shows, temperature in temperatures:
        yield image(name, shows, at_788=temperature)
    yield image("short-791", "one byte too few is refused", size=791)
    yield image("long-793", "one byte too many is refused", size=793)


def adc_cases():
    def config(name, shows, *fields):
        """The fields: start address, mask (low, high), samples, timer compare, trigger."""
        return Case("adc-config-" + name, shows, b"\xdc" + u32s(fields))

    yield config("plain", "all 48 channels", 0x20001000, 0xFFFFFFFF, 0xFFFF, 4096, 250, 0)
    yield config("first-and-last-channel", "the mask's ends", 0x1000, 1, 0x8000, 512, 10, 0)
    yield config("wide-mask", "a high word of eight digits", 0, 0x89ABCDEF, 0x01234567, 1, 2, 3)
    yield config("trigger-second-byte", "any bit of the trigger counts", 0, 0, 0, 0, 0, 0x100)
    yield config("trigger-top-bit", "also the highest", 0, 0, 0, 0, 0, 0x80000000)
    yield Case("adc-config-all-ones", "every bit set", report_of(0xDC, 25, fill=0xFF))
    yield Case("adc-config-all-zero", "every bit clear", report_of(0xDC, 25))
    names = {"standby": 0, "single": 1, "continuous": 2, "invalid-3": 3, "invalid-255": 255}
    for name, code in names.items():
        yield Case("adc-state-" + name, "capture state code %d" % code, bytes([0xDE, code]))


def packet_cases():
    def packet(name, shows, size=2064, decimal=False, fill=0, **fields):
        report = report_of(0x77, size, fill, **fields)
        return Case("packet-" + name, shows, report, INPUT, decimal)

    words = u32s(spread(0x00010002, 0x00030005, 512))
    yield packet(
        "plain",
        "the payload is hexadecimal with -decimal too",
        decimal=True,
        at_1=b"\xab\xcd\xef",
        at_4=u32s([3, 2048, 65_536]),
        at_16=words,
    )
    yield packet("all-zero", "every field zero")
    yield packet("all-ones", "every bit set", decimal=True, fill=0xFF)
    yield packet("magic-010203", "the object's magic value is 7", at_1=b"\x01\x02\x03")
    yield packet("magic-ffffff", "the object's largest magic value", at_1=b"\xff\xff\xff")
    yield packet("payload-size-zero", "all words are shown whatever the size says", at_16=words)
    yield packet("short-2063", "one byte too few is refused", size=2063)
    yield packet("long-2065", "one byte too many is refused", size=2065)


def baseline_cases():
    plain = b"".join(single(412.5 + 1.375 * channel) for channel in range(CHANNELS))
    signs = [single(1.5), single(-2.25), single(0.0), u32(NEGATIVE_ZERO)]
    smallest = [u32(SMALLEST_FLOAT), u32(NEGATIVE_ZERO | SMALLEST_FLOAT)]
    tiny = [single(0.0004), single(-0.0004)] + smallest
    ties = [single(0.0625), single(0.1875), single(-0.0625), single(2.0005)]
    wide = [single(123456789.0), single(-99999999.0), single(9999999.0), single(-999999.0)]
    extremes = [
        u32(bits)
        for bits in (
            POSITIVE_NAN,
            NEGATIVE_NAN,
            INFINITY,
            NEGATIVE_INFINITY,
            LARGEST_FLOAT,
            NEGATIVE_ZERO | LARGEST_FLOAT,
            0x00800000,
            0x7F800001,
        )
    ]
    for name, shows, content in (
        ("plain", "some hundred counts with drift", plain),
        ("signs", "a blank stands where a minus sign would", b"".join(signs * 12)),
        ("tiny", "small negative values keep their sign", b"".join(tiny * 12)),
        ("ties", "rounding to three decimals", b"".join(ties * 12)),
        ("wide", "values wider than their column push the rest", b"".join(wide * 12)),
        ("extremes", "NaN, infinity and the ends of the range", b"".join(extremes * 6)),
        ("all-zero", "no baseline yet", bytes(192)),
        ("all-ones", "nothing but negative NaNs", b"\xff" * 192),
    ):
        yield Case("baseline-" + name, shows, b"\xa2" + content)


def summary_cases():
    def summary(name, shows, severity=0, count=22, flags=0):
        fields = bytes([severity]) + u16(count) + flags.to_bytes(3, "little")
        return Case("summary-" + name, shows, b"\xe0" + fields)

    yield summary("plain", "a warning with some modules flagged", severity=3, flags=0x0280C3)
    yield summary("all-zero", "every module is listed all the same", count=0)
    yield summary("all-ones", "every bit set", severity=0xFF, count=0xFFFF, flags=0xFFFFFF)
    yield summary("critical", "the highest severity with a name", severity=5)
    yield summary("upper-severity-bits", "shown by the object only", severity=0x0D)
    yield summary("severity-6", "a severity without a name", severity=6)
    yield summary("severity-7", "a severity without a name", severity=7)
    yield summary("module-count", "the count is not compared with anything", count=0x1234)
    yield summary("hidspi-slave", "its line is not where its bit is", flags=1 << 18)
    yield summary("unused-flags", "bits 6 and 7 of the third byte", flags=0xC00000)
    yield summary("alternating-flags", "every second module", flags=0x2AAAAA)


def full_report_cases():
    def full(name, shows, report_id=0xE1, fill=0, **fields):
        return Case("full-report-" + name, shows, report_of(report_id, 991, fill, **fields))

    distinct = u32s(spread(0x00020016, 0x01030107, 248))[:990]
    plain = {
        "at_1": u16(22),
        "at_3": u16(0x0100) + u16(5) + u32s([0, 2]),
        "at_415": u16(0x0E00) + u16(17) + u32s([120_000, 3]),
        "at_487": u16(0x0F00) + u16(70),
        "at_579": u32s(spread(0, 3, CHANNELS)),
        "at_827": u16(0x1200) + u16(26) + u32s([88_000]),
        "at_959": u16(0x1500) + u16(7) + u32s([1]),
    }
    yield full("plain", "a box with little in it", **plain)
    yield full("distinct-e1", "every field a value of its own", at_1=distinct)
    yield full("distinct-ea", "the other report ID decodes alike", report_id=0xEA, at_1=distinct)
    yield full("all-zero", "every module is listed whatever the count says")
    yield full("all-ones", "counters of all ones are -1 in text", fill=0xFF)
    yield full(
        "counter-sign",
        "counters are signed in text and unsigned in the object",
        at_7=u32s([0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF, 0]),
        at_931=u32(0x80000000),
    )
    yield full("algs-three-events", "counters stand at fixed places", at_489=u16(3), at_767=u32(9))
    yield full("blob-header", "a blob's ID and number of events", at_127=u16(0x1234) + u16(7))
    yield full("last-record", "a blob after PMGR", at_951=u32s([0xAAAA0014, 5, 0x00070015]))


def configuration_cases():
    def configuration(name, shows, fill=0, **fields):
        return Case("configuration-" + name, shows, report_of(0xE2, 232, fill, **fields))

    upwards = bytes(range(231))
    downwards = bytes(255 - option for option in upwards)
    levels = bytes(range(8))
    events_of_the_master = bytes([0x00, 0x10, 0x20, 0x30, 0x18, 0x50, 0xA0, 0xF0, 0x3F])
    yield configuration("every-option", "most option bytes that there are", at_1=upwards)
    yield configuration("every-option-backwards", "the rest of them", at_1=downwards)
    yield configuration("all-zero", "no options anywhere")
    yield configuration("all-ones", "every option everywhere", fill=0xFF)
    yield configuration("gpio-selectors", "the three outputs and none", at_96=events_of_the_master)
    yield configuration("severities", "levels alone are no options", at_1=levels, at_12=levels)
    yield configuration("flags-in-order", "not in bit order", at_7=b"\xf8\xfd\x88\xc8\x48")
    yield configuration("double-open", "the byte of both open events", at_25=b"\x48")
    yield configuration("single-open", "a byte that is never shown", at_26=b"\x48")
    yield configuration("weak-open-short", "the event behind the open ones", at_27=b"\x48")
    yield configuration(
        "blob-sections",
        "the first and the last blob",
        at_33=b"\x08" * 7,
        at_225=b"\x80" * 7,
    )


def open_short_cases():
    def open_short(name, shows, *masks):
        padded = list(masks) + [0] * (7 - len(masks))
        return Case("open-short-" + name, shows, b"\xe3" + b"".join(u64(mask) for mask in padded))

    yield open_short("plain", "two weak channels", 0, 0, 0, 0, 0, 0, 0x0000_0004_0010_0000)
    yield open_short("short-on-channel-1", "the example with one mark", 2)
    yield open_short(
        "one-mask-each",
        "each mask in its own row",
        *(0xFF << 8 * row for row in range(6)),
        0x8000_0000_0001,
    )
    yield open_short("beyond-channel-47", "in the object only", 2**63, 2**48, 0xFFFF << 48)
    yield open_short("alternating", "every second channel", *[2**64 // 3, 2**64 // 3 * 2] * 3)
    yield Case("open-short-all-ones", "every channel faulty", report_of(0xE3, 57, fill=0xFF))
    yield Case("open-short-all-zero", "a sound panel", report_of(0xE3, 57))


def scan_data_cases():
    def scan(name, shows, report_id=0xE4, decimal=False, fill=0, **fields):
        report = report_of(report_id, 401, fill, **fields)
        return Case("scan-data-" + name, shows, report, decimal=decimal)

    plain = {
        "at_1": u64(0x0000_8000_0000_0100),
        "at_9": u32s(spread(2_000, 17, CHANNELS)),
        "at_201": u32s(spread(90_000, 1_111, CHANNELS)),
    }
    yield scan("d-scan", "the D-SCAN", decimal=True, **plain)
    yield scan(
        "p-scan-brownout",
        "the P-SCAN with a brownout",
        report_id=0xE5,
        decimal=True,
        at_393=b"\x01",
        **plain,
    )
    yield scan(
        "extreme-samples",
        "unsigned samples are signed under -decimal",
        decimal=True,
        at_9=u32s(EXTREME_SAMPLES * 12),
    )
    yield scan("all-ones", "every bit set", decimal=True, fill=0xFF)
    yield scan("p-scan-all-zero", "every bit clear", 0xE5, decimal=True)
    yield scan("status-fe", "only bit 0 tells of a brownout", at_393=b"\xfe")
    yield scan("status-ff", "a brownout among other bits", at_393=b"\xff")
    yield scan(
        "saturation-beyond-channel-47",
        "upper bits are in the object only",
        at_1=u64(0xFFFF_0000_0000_0001),
    )
    yield scan("last-bytes", "the last seven bytes are not used", at_394=b"\xff" * 7)


def dispatch_cases():
    image = report_of(0x76, 792)
    version = b"\xd0\x31\0"
    yield Case("dispatch-image-as-feature", "an input report's ID among the features", image)
    yield Case("dispatch-version-as-input", "the other way round", version, INPUT)
    yield Case("dispatch-unknown-feature", "an ID that no decoder knows", b"\xd1\x31\0")
    yield Case("dispatch-unknown-input", "an ID that no decoder knows", b"\x78" + bytes(791), INPUT)


def all_cases():
    for cases in (
        version_cases,
        watchdog_cases,
        power_cases,
        image_cases,
        adc_cases,
        packet_cases,
        baseline_cases,
        summary_cases,
        full_report_cases,
        configuration_cases,
        open_short_cases,
        scan_data_cases,
        dispatch_cases,
    ):
        yield from cases()


def outcome(case, strings, decimal=False):
    """What a case must give, as the lines of its section."""
    plugin = ReferencePlugin()
    plugin.parse_args(["-decimal"] if decimal else [])
    plugin.use_strings = strings
    length = len(case.report)
    try:
        result = plugin.run_parser(case.report, case.report[0], case.report_type, length)
    except PlatformError:
        return ["throws"]
    if result is None:
        return ["nil"]
    if strings:
        return barred(dump_lines(result).decode("utf-8"))
    return dump_object(result).split("\n")[:-1]


def expected(case, decimal):
    sections = {"lines": outcome(case, strings=True)}
    if decimal:
        sections["decimal lines"] = outcome(case, strings=True, decimal=True)
    sections["object"] = outcome(case, strings=False)
    return sections


def made_files():
    """The content of every case that is made here, by file name."""
    files = {}
    for case in all_cases():
        made = CaseFile(case.name, case.shows, case.report_type, case.report)
        made.expected = expected(made, case.decimal)
        if case.name + ".txt" in files:
            raise ValueError("two cases are named " + case.name)
        files[case.name + ".txt"] = made.text()
    return files


def wanted_by_hand():
    """What the cases that are written by hand should hold, by file name."""
    for path in sorted(CASES.glob("*.txt")):
        case = read(path)
        case.expected = expected(case, "decimal lines" in case.expected)
        yield path.name, case.text()


def differences(files):
    """The lines of a diff from what is there to what should be."""
    for name, wanted in sorted(files.items()):
        path = CASES / name
        present = path.read_bytes().decode() if path.exists() else ""
        # A case that is written by hand may have its empty lines and its bytes elsewhere.
        if present != wanted and (not path.exists() or read(path).text() != wanted):
            yield "%s differs" % name
            before, after = present.split("\n"), wanted.split("\n")
            yield from difflib.unified_diff(before, after, "there", "expected", lineterm="")


def main():
    parser = argparse.ArgumentParser(description="Write or check the cases.")
    parser.add_argument("--check", action="store_true", help="write nothing, show differences")
    arguments = parser.parse_args()
    made = made_files()
    CASES.mkdir(exist_ok=True)
    if not arguments.check:
        for name, content in made.items():
            (CASES / name).write_bytes(content.encode())
        print("%d files" % len(made))
    found = list(differences({**dict(wanted_by_hand()), **made}))
    for line in found:
        print(line)
    sys.exit(1 if found else 0)


if __name__ == "__main__":
    main()
