#!/usr/bin/env python3
"""Hand the same calls to the built plug-in and to the reference decoder, and compare everything.

    python3 differential.py [--seed SEED] [--count SEQUENCES] LIBRARY

A sequence is one instance that gets a number of calls: options, mode switches, reports to print and
reports to decode. Compared after each call are the result to the byte and to the kind of each
number, what was printed, and the mode. Reports stand right in front of an unreadable page, so that
a decoder that reads more than its layout crashes instead of reading on unnoticed.

Exits with 1 and a description of the first difference.
"""

import argparse
import ctypes
import difflib
import math
import mmap
import os
import pprint
import random
import signal
import struct
import sys
import tempfile
from dataclasses import dataclass
from pathlib import Path

import recipe

sys.path.insert(0, str(Path(__file__).resolve().parent / "reference"))
import vesk_reference  # noqa: E402 - only found through the line above
from vesk_reference import FEATURE, Layout, Lines, Obj, PlatformError, ReferencePlugin  # noqa: E402

libc = ctypes.CDLL(None, use_errno=True)


# The plug-in's C interface, as vesk_plugin.h declares it.

OK, DECODER_FAILED = 0, 4
NIL, LINES, DICTIONARY, STRING = range(4)
ABI_VERSION = 1

# A row for each vesk_kind: the name, the member of the number's union, the type in arrays.
KINDS = [
    ("bool", "u", ctypes.c_bool),
    ("unsigned char", "u", ctypes.c_uint8),
    ("unsigned short", "u", ctypes.c_uint16),
    ("unsigned int", "u", ctypes.c_uint32),
    ("int", "i", ctypes.c_int32),
    ("long long", "i", ctypes.c_int64),
    ("unsigned long long", "u", ctypes.c_uint64),
    ("float", "d", ctypes.c_float),
    ("double", "d", ctypes.c_double),
]


class NumberValue(ctypes.Union):
    _fields_ = [("u", ctypes.c_uint64), ("i", ctypes.c_int64), ("d", ctypes.c_double)]


class Number(ctypes.Structure):
    _fields_ = [("kind", ctypes.c_int32), ("value", NumberValue)]


NilFunction = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p)
BeginFunction = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_size_t)
TextFunction = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t)
NumberFunction = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(Number))
ArrayFunction = ctypes.CFUNCTYPE(
    ctypes.c_int, ctypes.c_void_p, ctypes.c_int32, ctypes.c_void_p, ctypes.c_size_t
)


class Visitor(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("context", ctypes.c_void_p),
        ("nil", NilFunction),
        ("dictionary_begin", BeginFunction),
        ("key", TextFunction),
        ("number", NumberFunction),
        ("string", TextFunction),
        ("array", ArrayFunction),
        ("dictionary_end", NilFunction),
    ]


class ReportInfo(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("report_id", ctypes.c_uint32),
        ("report_type", ctypes.c_int32),
        ("decoder", ctypes.c_char_p),
        ("display_name", ctypes.c_char_p),
        ("smallest_buffer", ctypes.c_uint64),
        ("exact_length", ctypes.c_int32),
        ("nul_terminated", ctypes.c_int32),
        ("counter_key", ctypes.c_char_p),
        ("counter_offset", ctypes.c_uint64),
    ]


def function(result, *arguments):
    return ctypes.CFUNCTYPE(result, *arguments)


PLUGIN = RESULT = BUFFER = ctypes.c_void_p
STATUS = ctypes.c_int
INT_OUT = ctypes.POINTER(ctypes.c_int)
POINTER_OUT = ctypes.POINTER(ctypes.c_void_p)
SIZE_OUT = ctypes.POINTER(ctypes.c_size_t)
REPORT = (BUFFER, ctypes.c_uint32, ctypes.c_int32, ctypes.c_int64)


class Api(ctypes.Structure):
    _fields_ = [
        ("abi_version", ctypes.c_uint32),
        ("size", ctypes.c_uint32),
        ("plugin_version", ctypes.c_char_p),
        ("create", function(STATUS, POINTER_OUT)),
        ("destroy", function(None, PLUGIN)),
        ("error_message", function(ctypes.c_char_p, PLUGIN)),
        (
            "parse_args",
            function(STATUS, PLUGIN, ctypes.c_int32, ctypes.POINTER(ctypes.c_char_p), INT_OUT),
        ),
        ("parse_report", function(STATUS, PLUGIN, *REPORT, INT_OUT)),
        ("report_to_object", function(STATUS, PLUGIN, *REPORT, POINTER_OUT)),
        ("set_use_strings", function(STATUS, PLUGIN, ctypes.c_int)),
        ("use_strings", function(ctypes.c_int, PLUGIN)),
        ("result_free", function(None, RESULT)),
        ("result_form", function(ctypes.c_int32, RESULT)),
        ("result_count", function(ctypes.c_size_t, RESULT)),
        ("result_line", function(STATUS, RESULT, ctypes.c_size_t, POINTER_OUT, SIZE_OUT)),
        ("result_text", function(STATUS, RESULT, POINTER_OUT, SIZE_OUT)),
        ("result_visit", function(STATUS, RESULT, ctypes.POINTER(Visitor))),
        ("report_count", function(ctypes.c_size_t, PLUGIN)),
        (
            "report_info",
            function(STATUS, PLUGIN, ctypes.c_size_t, ctypes.POINTER(ReportInfo)),
        ),
    ]


class Difference(Exception):
    """What the plug-in does differently from what is expected of it."""


def expect(condition, complaint):
    if not condition:
        raise Difference(complaint)


class GuardedBuffer:
    """Memory that ends at a page that can be neither read nor written."""

    PAGES = 2

    def __init__(self):
        self.readable = self.PAGES * mmap.PAGESIZE
        self.memory = mmap.mmap(-1, self.readable + mmap.PAGESIZE)
        self.address = ctypes.addressof(ctypes.c_char.from_buffer(self.memory))
        guard = ctypes.c_void_p(self.address + self.readable)
        if libc.mprotect(guard, ctypes.c_size_t(mmap.PAGESIZE), 0) != 0:
            raise OSError(ctypes.get_errno(), "mprotect")

    def hold(self, content):
        """The address of the content, whose last byte is the last one that can be read."""
        start = self.readable - len(content)
        self.memory[start : self.readable] = content
        return self.address + start


class CapturedOutput:
    """Standard output sent to a file, to be asked for what was added to it since last time."""

    def __init__(self):
        self.file = tempfile.TemporaryFile()
        self.seen = 0

    def __enter__(self):
        sys.stdout.flush()
        self.original = os.dup(1)
        os.dup2(self.file.fileno(), 1)
        return self

    def __exit__(self, *_):
        libc.fflush(None)
        os.dup2(self.original, 1)
        os.close(self.original)

    def take(self):
        libc.fflush(None)
        end = os.fstat(self.file.fileno()).st_size
        added = os.pread(self.file.fileno(), end - self.seen, self.seen)
        self.seen = end
        return added


class LibraryPlugin:
    """An instance of the built plug-in, with the operations of the reference's plug-in object."""

    buffer = GuardedBuffer()

    def __init__(self, api):
        self.api = api
        self.instance = ctypes.c_void_p()
        self._succeed(api.create(ctypes.byref(self.instance)))

    def close(self):
        self.api.destroy(self.instance)

    @property
    def use_strings(self):
        return bool(self.api.use_strings(self.instance))

    @use_strings.setter
    def use_strings(self, on):
        self._succeed(self.api.set_use_strings(self.instance, on))

    def parse_args(self, args, count):
        accepted = ctypes.c_int(-1)
        strings = (ctypes.c_char_p * len(args))(*(arg.encode("utf-8") for arg in args))
        self._succeed(
            self.api.parse_args(
                self.instance, count, strings if args else None, ctypes.byref(accepted)
            )
        )
        expect(accepted.value in (0, 1), "*accepted is %d" % accepted.value)
        return bool(accepted.value)

    def parse_report(self, content, report_id, report_type, length):
        printed = ctypes.c_int(-1)
        address = self.buffer.hold(content)
        self._succeed(
            self.api.parse_report(
                self.instance, address, report_id, report_type, length, ctypes.byref(printed)
            )
        )
        expect(printed.value in (0, 1), "*printed is %d" % printed.value)
        return bool(printed.value)

    def report_to_object(self, content, report_id, report_type, length):
        handle = ctypes.c_void_p()
        address = self.buffer.hold(content)
        self._succeed(
            self.api.report_to_object(
                self.instance, address, report_id, report_type, length, ctypes.byref(handle)
            )
        )
        # A result owns its bytes: it must not notice that the report is gone.
        self.buffer.hold(bytes(len(content)))
        try:
            return self._result(handle)
        finally:
            self.api.result_free(handle)

    def _succeed(self, status):
        if status == DECODER_FAILED:
            message = self.api.error_message(self.instance)
            expect(message and b"\n" not in message, "a failure is told as %r" % message)
            raise PlatformError(message.decode("utf-8"))
        expect(status == OK, "unexpected status %d" % status)

    def _result(self, handle):
        form = self.api.result_form(handle)
        count = self.api.result_count(handle)
        visited = self._visit(handle)
        if form == NIL:
            expect((count, visited) == (0, ["nil"]), "nil has contents")
            return None
        if form == LINES:
            lines = self._lines(handle, count)
            expect(visited == [("string", line) for line in lines], "visited lines differ")
            return Lines(lines)
        if form == STRING:
            expect(count == 1 and len(visited) == 1, "a string is one string")
            return Obj(visited[0][1])
        expect(form == DICTIONARY, "unexpected form %d" % form)
        expect(visited[0] == ("begin", count) and visited[-1] == "end", "open dictionary")
        keys, values = visited[1:-1:2], visited[2:-1:2]
        expect(len(keys) == len(values) == count, "the number of entries is wrong")
        expect(all(key[0] == "key" for key in keys), "a key is missing")
        return Obj([(key, value) for (_, key), value in zip(keys, values)])

    def _lines(self, handle, count):
        """The lines one by one, which the block of text must repeat."""
        text, length = ctypes.c_void_p(), ctypes.c_size_t()
        lines = []
        for index in range(count):
            status = self.api.result_line(handle, index, ctypes.byref(text), ctypes.byref(length))
            expect(status == OK, "line %d has status %d" % (index, status))
            lines.append(ctypes.string_at(text, length.value).decode("utf-8"))
        status = self.api.result_line(handle, count, ctypes.byref(text), ctypes.byref(length))
        expect(status != OK, "there is a line beyond the last")
        status = self.api.result_text(handle, ctypes.byref(text), ctypes.byref(length))
        expect(status == OK, "the block of text has status %d" % status)
        block = ctypes.string_at(text, length.value)
        expect(block == vesk_reference.dump_lines(Lines(lines)), "the block of text differs")
        return lines

    def _visit(self, handle):
        """What a visitor sees, in order. Texts are decoded afterwards, as no exception leaves a
        function that C calls."""
        seen = []

        def see(thing):
            seen.append(thing)
            return 0

        def text(kind, address, length):
            return see((kind, ctypes.string_at(address, length) if length else b""))

        def number(_, pointer):
            kind, member, _ = KINDS[pointer.contents.kind]
            return see((kind, getattr(pointer.contents.value, member)))

        def array(_, kind, address, count):
            name, _, element = KINDS[kind]
            return see(("array", name, list((element * count).from_address(address))))

        visitor = Visitor(
            size=ctypes.sizeof(Visitor),
            nil=NilFunction(lambda _: see("nil")),
            dictionary_begin=BeginFunction(lambda _, entries: see(("begin", entries))),
            key=TextFunction(lambda _, *place: text("key", *place)),
            number=NumberFunction(number),
            string=TextFunction(lambda _, *place: text("string", *place)),
            array=ArrayFunction(array),
            dictionary_end=NilFunction(lambda _: see("end")),
        )
        status = self.api.result_visit(handle, ctypes.byref(visitor))
        expect(status == OK, "visiting has status %d" % status)
        return [
            (thing[0], thing[1].decode("utf-8")) if thing[0] in ("key", "string") else thing
            for thing in seen
        ]


# Calls


@dataclass
class Options:
    args: list
    count: int

    def apply(self, plugin):
        return plugin.parse_args(self.args, self.count)

    def describe(self):
        return "the first %d options of %r" % (self.count, self.args)


@dataclass
class Mode:
    use_strings: bool

    def apply(self, plugin):
        plugin.use_strings = self.use_strings

    def describe(self):
        return "mode: " + ("text" if self.use_strings else "object")


@dataclass
class Report:
    printed: bool
    content: bytes
    report_id: int
    report_type: int
    length: int

    def apply(self, plugin):
        operation = plugin.parse_report if self.printed else plugin.report_to_object
        return operation(self.content, self.report_id, self.report_type, self.length)

    def describe(self):
        return "%s ID 0x%02X, type %d, length %d, bytes:\n%s" % (
            "print" if self.printed else "decode",
            self.report_id,
            self.report_type,
            self.length,
            self.content.hex(" "),
        )


@dataclass
class Outcome:
    result: object
    printed: bytes
    use_strings: bool

    def describe(self):
        if isinstance(self.result, Lines):
            shown = vesk_reference.dump_lines(self.result).decode("utf-8").splitlines()
        elif self.result is None or isinstance(self.result, Obj):
            shown = vesk_reference.dump_object(self.result).splitlines()
        else:
            shown = [str(self.result)]
        printed = self.printed.decode("utf-8", "backslashreplace").splitlines()
        mode = "text" if self.use_strings else "object"
        return ["result:", *shown, "printed:", *printed, "mode afterwards: " + mode]


def outcome(plugin, call, printed):
    """What a call gives; printed tells what it put on standard output."""
    try:
        result = call.apply(plugin)
    except PlatformError:
        result = "the decoder fails"
    return Outcome(result, printed(), plugin.use_strings)


def comparable(thing):
    """A copy in which floats are texts: equal NaNs are equal, zeros of unlike sign are not."""
    if isinstance(thing, float):
        return "%+.0f %s" % (math.copysign(1, thing), thing.hex())
    if isinstance(thing, (list, tuple)):
        return [comparable(element) for element in thing]
    if isinstance(thing, Obj):
        return Obj(comparable(thing.content))
    return thing


def run_sequence(api, calls, output, notes):
    """Give the calls to both sides; a difference tells all the calls up to it."""
    library = LibraryPlugin(api)
    reference = ReferencePlugin()

    def reference_output():
        printed = bytes(reference.printed)
        reference.printed.clear()
        return printed

    story = []
    for call in calls:
        story.append(call.describe())
        notes.write("\n".join(story))
        expected = outcome(reference, call, reference_output)
        try:
            actual = outcome(library, call, output.take)
        except (Difference, UnicodeDecodeError) as difference:
            raise Difference("\n".join([*story, "", str(difference)])) from None
        if (
            comparable(expected.result) != comparable(actual.result)
            or expected.printed != actual.printed
            or expected.use_strings != actual.use_strings
        ):
            raise Difference("\n".join([*story, "", *diff(expected, actual)]))
    library.close()


def diff(expected, actual):
    """The lines in which two outcomes differ."""
    before, after = expected.describe(), actual.describe()
    if before == after:  # they differ in what a listing leaves out, such as the sign of a NaN
        before, after = (
            pprint.pformat(comparable(side.result)).splitlines() for side in (expected, actual)
        )
    return difflib.unified_diff(before, after, "reference", "plug-in", lineterm="")


# Making reports

BOUNDARY_WORDS = [
    0, 1, 0x7F, 0x80, 0xFF, 0x7FFF, 0x8000, 0xFFFF, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFF,
    0x00800000, 0x3F800000, 0xBF800000, 0x3FC00000, 0x4CEB79A3, 0x7F7FFFFF, 0xFF7FFFFF,
    0x7F800000, 0xFF800000, 0x7FC00000, 0xFFC00000, 0x7F800001, 0xFFBFFFFF,
]

TEXT_PIECES = [
    b"", b"\n", b"\n\n", b"1.2.3", b"a", b" ", b"\t", b"\r", b'"', b"\\", b"\x01", b"\x7f",
    b"\xc3\xa9", b"\xe2\x82\xac", b"\xf0\x9f\x98\x80", b"\xef\xbb\xbf", b"\xef\xbf\xbf",
    b"\xf4\x8f\xbf\xbf", b"%s%n%d",
]

BROKEN_PIECES = [
    b"\xff", b"\xfe", b"\x80", b"\xbf", b"\xc3", b"\xe2\x82", b"\xf0\x9f\x98", b"\xc0\x80",
    b"\xc1\xbf", b"\xe0\x9f\xbf", b"\xf0\x8f\xbf\xbf", b"\xed\xa0\x80", b"\xed\xbf\xbf",
    b"\xf4\x90\x80\x80", b"\xf5\x80\x80\x80", b"\xf8\x88\x80\x80\x80",
]

INVALID_OPTIONS = [
    "", "-", "-x", "decimal", "-Decimal", "-DECIMAL", "--decimal", "-decimal ", " -decimal",
    "-decima", "-decimals", "-decimal=1", "%s%d%@", "-d\u00e9cimal", "a\nb", 'say "no"', "x" * 300,
]

ODD_LENGTHS = [0, 1, -1, 2**31, 2**32, 2**63 - 1, -(2**63)]


def version_text(rng):
    pieces = rng.choices(TEXT_PIECES, k=rng.randrange(16))
    if rng.random() < 0.5:
        pieces = [piece + b"\n" for piece in pieces]
    if rng.random() < 0.25:
        pieces.insert(rng.randrange(len(pieces) + 1), rng.choice(BROKEN_PIECES))
    if rng.random() < 0.1:
        pieces.append(rng.randbytes(rng.randrange(1, 6)))
    return b"".join(pieces).replace(b"\0", b"")


def payload(rng, size):
    """Bytes of one of several characters: noise, one byte, a few bits, boundary words, a ramp."""
    style = rng.randrange(6)
    if style == 0:
        return rng.randbytes(size)
    if style == 1:
        return bytes([rng.choice([0x00, 0xFF, 0x80, 0x7F, rng.randrange(256)])]) * size
    if style == 2:
        content = bytearray(size)
        for _ in range(rng.randrange(1, 9)):
            content[rng.randrange(size)] |= 1 << rng.randrange(8)
        return bytes(content)
    if style == 3:
        words = struct.pack("<%dI" % (size // 4 + 2), *rng.choices(BOUNDARY_WORDS, k=size // 4 + 2))
        shift = rng.randrange(4)
        return words[shift : shift + size]
    if style == 4:
        start, step = rng.randrange(256), rng.randrange(256)
        return bytes((start + step * i) % 256 for i in range(size))
    words = [rng.getrandbits(rng.randrange(1, 33)) for _ in range(size // 4 + 1)]
    return struct.pack("<%dI" % len(words), *words)[:size]


def watchdog_timestamp(rng):
    """A timestamp of any magnitude, often at or next to a tie of its 24-bit rounding."""
    bits = rng.randrange(1, 65)
    timestamp = rng.getrandbits(bits)
    if bits > 25 and rng.random() < 0.7:
        dropped = bits - 24
        timestamp = (1 << bits - 1) | timestamp >> dropped << dropped
        timestamp += (1 << dropped - 1) + rng.randint(-1, 1)
    return min(timestamp, 2**64 - 1).to_bytes(8, "little")


def baseline_values(rng):
    """Floats whose decimals are near the middle between two texts, and of all magnitudes."""
    values = []
    for _ in range(48):
        if rng.random() < 0.5:
            values.append((rng.randrange(-200_000, 200_000) + 0.5) / 1000)
        else:
            values.append(math.ldexp(rng.uniform(-1, 1), rng.randrange(-40, 100)))
    return struct.pack("<48f", *values)


def report_content(rng, layout):
    """A whole report with random content."""
    if layout.text:
        body = version_text(rng) + b"\0" + rng.randbytes(rng.randrange(4))
    elif layout.report_id == 0xA2 and rng.random() < 0.5:
        body = baseline_values(rng)
    else:
        body = payload(rng, layout.size - 1)
        if layout.report_id == 0xDF:
            body = body[:4] + watchdog_timestamp(rng) + body[12:]
    first = layout.report_id if rng.random() < 0.9 else rng.randrange(256)
    return bytes([first]) + body


def known_report(rng, layouts):
    layout = rng.choice(layouts)
    content = report_content(rng, layout)
    length = len(content)
    if layout.exact and rng.random() < 0.3:
        wrong = [length - 1, length + 1, length + 2**32, -length, rng.randrange(length)]
        length = rng.choice(ODD_LENGTHS + wrong)
        content = content[: max(0, length)]  # a refused report is not read
    elif not layout.exact and rng.random() < 0.5:
        length = rng.choice(ODD_LENGTHS)
    return Report(rng.random() < 0.5, content, layout.report_id, layout.report_type, length)


def unknown_report(rng, layouts):
    known = {(layout.report_id, layout.report_type) for layout in layouts}
    report_type = rng.choice([-1, 0, 1, 2, 3, 2**31 - 1, -(2**31)])
    ids = [layout.report_id for layout in layouts]
    report_id = rng.choice([*ids, rng.randrange(256), 0x1D0, 0x10076, 2**32 - 1, 2**31 + 0xD0])
    if (report_id, report_type) in known:
        report_type = 1
    content = rng.randbytes(rng.randrange(4))
    return Report(rng.random() < 0.5, content, report_id, report_type, rng.choice(ODD_LENGTHS))


def random_call(rng, layouts):
    kind = rng.random()
    if kind < 0.15:
        args = rng.choices(["-decimal"] * 4 + [rng.choice(INVALID_OPTIONS)], k=rng.randrange(4))
        return Options(args, rng.choice([len(args)] * 4 + [0, -1, -(2**31)]))
    if kind < 0.20:
        return Mode(rng.random() < 0.5)
    if kind < 0.28:
        return unknown_report(rng, layouts)
    return known_report(rng, layouts)


def random_sequences(layouts, seed, count):
    for number in range(count):
        rng = random.Random("%s/%d" % (seed, number))
        yield [random_call(rng, layouts) for _ in range(rng.randrange(1, 13))]


def every_id_and_type(layouts, seed):
    """Every ID of one byte with every type: in both modes, printed too, also with -decimal."""
    rng = random.Random("%s/every" % seed)
    known = {(layout.report_id, layout.report_type): layout for layout in layouts}
    for report_id in range(256):
        for report_type in range(-1, 4):
            if (report_id, report_type) in known:
                content = report_content(rng, known[report_id, report_type])
            else:
                content = rng.randbytes(8)
            report = (content, report_id, report_type, len(content))
            yield [
                Report(False, *report),
                Options(["-decimal"], 1),
                Report(False, *report),
                Report(True, *report),
                Report(False, *report),
                Options([], 0),
                Report(True, *report),
                Report(False, *report),
            ]


def sizes_around_the_exact_ones(layouts, seed):
    rng = random.Random("%s/sizes" % seed)
    for layout in layouts:
        if not layout.exact:
            continue
        for length in (*range(17), *range(layout.size - 9, layout.size + 10)):
            content = bytes([layout.report_id]) + payload(rng, layout.size)
            report = (content[:length], layout.report_id, layout.report_type, length)
            yield [Report(False, *report), Report(True, *report)]


def compare_tables(api):
    """The tables of reports, and how much of a buffer the plug-in asks for. Gives the layouts."""
    library = LibraryPlugin(api)
    layouts, names = [], {}
    for index in range(api.report_count(library.instance)):
        info = ReportInfo(size=ctypes.sizeof(ReportInfo))
        status = api.report_info(library.instance, index, ctypes.byref(info))
        expect(status == OK, "row %d of the report tables has status %d" % (index, status))
        key = None if info.counter_key is None else info.counter_key.decode()
        layouts.append(
            Layout(
                info.report_type,
                info.report_id,
                info.decoder.decode(),
                info.smallest_buffer,
                exact=bool(info.exact_length),
                text=bool(info.nul_terminated),
                counter=(key, info.counter_offset),
            )
        )
        if info.display_name is not None:
            names[info.report_id] = info.display_name.decode()
    library.close()

    types = [layout.report_type for layout in layouts]
    expect(types == sorted(types, reverse=True), "feature reports come first: %r" % types)
    expected = {(row.report_type, row.report_id): row for row in vesk_reference.LAYOUTS}
    for layout in layouts:
        row = expected.pop((layout.report_type, layout.report_id), None)
        expect(row is not None, recipe.lacks(layout.report_id, "reference"))
        expect(layout == row, "a row of the report tables:\n%r\n%r" % (row, layout))
    expect(not expected, "the report tables lack %r" % list(expected.values()))
    expect(names == ReferencePlugin().report_id_names, "the display names: %r" % names)
    return layouts


def compare_blob_names(library, api, layouts, output, notes, seed):
    """The exported names, and that changed ones show wherever the table is used."""
    rows = (ctypes.c_void_p * len(vesk_reference.blob_names)).in_dll(library, "blob_names")
    pointers = list(rows)
    names = [ctypes.string_at(pointer).decode("utf-8") for pointer in pointers]
    expect(names == vesk_reference.blob_names, "blob_names: %r" % names)
    rng = random.Random("%s/blobs" % seed)
    for name in ("OTHER", "", "B" * 30, "B" * 31, "B" * 45, "%s%d", None):
        row = rng.randrange(len(names))
        encoded = None if name is None else name.encode("utf-8")
        rows[row] = ctypes.cast(ctypes.c_char_p(encoded), ctypes.c_void_p).value
        vesk_reference.blob_names[row] = name
        for layout in layouts:
            if layout.report_id not in (0xE0, 0xE1, 0xE2):
                continue
            content = report_content(rng, layout)
            report = Report(False, content, layout.report_id, FEATURE, len(content))
            run_sequence(api, [report, Mode(True), report], output, notes)
        rows[row] = pointers[row]
        vesk_reference.blob_names[row] = names[row]


class Notes:
    """The story of the calls so far, where it outlives a crash of the process that tells it."""

    def __init__(self):
        self.memory = mmap.mmap(-1, 1 << 20)

    def write(self, text):
        encoded = text.encode("utf-8", "backslashreplace")[: len(self.memory) - 1]
        self.memory[: len(encoded) + 1] = encoded + b"\0"

    def read(self):
        return self.memory[: self.memory.find(b"\0")].decode("utf-8", "replace")


def compare_everything(path, seed, count, notes):
    """Exit status: 1 after a difference, which is described on standard output."""
    library = ctypes.CDLL(path)
    library.vesk_plugin_entry.restype = ctypes.POINTER(Api)
    api = library.vesk_plugin_entry().contents
    sequences = 0
    try:
        expect(api.abi_version == ABI_VERSION, "ABI version %d" % api.abi_version)
        expect(api.size >= ctypes.sizeof(Api), "the table of functions has %d bytes" % api.size)
        with CapturedOutput() as output:
            layouts = compare_tables(api)
            compare_blob_names(library, api, layouts, output, notes, seed)
            for calls in (
                *every_id_and_type(layouts, seed),
                *sizes_around_the_exact_ones(layouts, seed),
                *random_sequences(layouts, seed, count),
            ):
                run_sequence(api, calls, output, notes)
                sequences += 1
    except Difference as difference:
        print("difference after %d sequences:\n%s" % (sequences, difference))
        return 1
    print("%d sequences, no difference" % sequences)
    return 0


def main():
    parser = argparse.ArgumentParser(description="Compare the plug-in with the reference decoder.")
    parser.add_argument("library", metavar="LIBRARY", help="the built plug-in")
    parser.add_argument("--seed", default=str(random.SystemRandom().randrange(2**32)))
    parser.add_argument("--count", type=int, default=3000, help="number of random sequences")
    arguments = parser.parse_args()
    print("seed %s" % arguments.seed, flush=True)

    # In a process of its own, so that a crash can still be told with the calls that led to it.
    notes = Notes()
    child = os.fork()
    if child == 0:
        path = os.path.abspath(arguments.library)
        sys.exit(compare_everything(path, arguments.seed, arguments.count, notes))
    _, ended = os.waitpid(child, 0)
    if os.WIFSIGNALED(ended):
        name = signal.Signals(os.WTERMSIG(ended)).name
        print("the plug-in ends with %s in the last of:\n%s" % (name, notes.read()))
        sys.exit(1)
    sys.exit(os.WEXITSTATUS(ended))


if __name__ == "__main__":
    main()
