"""The ways that one would go without the package, each written as well as it can be: from the same
captures to the same arrays, or from a report to the same values."""

import ctypes
import json
import struct

import captures
import numpy as np
from captures import ALIGNED, KEYS, PACKED, PCAP_HEADER, USB_HEADER

SCALARS = [name for name in PACKED.names if name != "report_id" and name not in KEYS]
PLACES = [1, 2, 3, 4, 5, 198, 199]  # of these among the numbers of a report
FIRST_SAMPLE = 6
SIZE = PACKED.itemsize


def numpy_limit(path):
    """A file of nothing but frames, whose layout is known: no more than reading and copying it."""
    return np.fromfile(path, PACKED).astype(ALIGNED)


# Plain Python.


def binary_reports(path):
    with path.open("rb") as file:
        while report := file.read(SIZE):
            yield report


def usbmon_reports(path):
    header = struct.Struct("<IIII").unpack
    with path.open("rb") as file:
        file.read(len(PCAP_HEADER))
        while head := file.read(16):
            packet = file.read(header(head)[2])
            # Completions of interrupt transfers from the device that hold an image frame.
            if packet[8] == 67 and packet[9] == 1 and packet[10] & 0x80:
                report = packet[USB_HEADER:]
                if len(report) == SIZE and report[0] == 0x76:
                    yield report


def hex_reports(path):
    with path.open() as file:
        for line in file:
            yield bytes.fromhex(line)


REPORTS = {"binary": binary_reports, "usbmon": usbmon_reports, "hex": hex_reports}
unpack = struct.Struct("<BBHIII192iIf").unpack


def struct_values(path, form):
    """Numbers of Python, which are thrown away."""
    for report in REPORTS[form](path):
        values = unpack(report)
    return values


def struct_table(path, form, count):
    table = np.empty(count, ALIGNED)
    columns = [table[name] for name in SCALARS]
    places = list(zip(columns, PLACES))
    samples = np.empty((count, len(KEYS) * captures.SENSORS), np.int32)
    for row, report in enumerate(REPORTS[form](path)):
        values = unpack(report)
        for column, place in places:
            column[row] = values[place]
        samples[row] = values[FIRST_SAMPLE:FIRST_SAMPLE + samples.shape[1]]
    return with_samples(table, samples)


def json_values(path):
    with path.open("rb") as file:
        for line in file:
            record = json.loads(line)
    return record


def json_table(path, count):
    table = np.empty(count, ALIGNED)
    columns = [(name, table[name]) for name in SCALARS]
    arrays = [(name, table[name]) for name in KEYS]
    with path.open("rb") as file:
        for row, line in enumerate(file):
            value = json.loads(line)["value"]
            for name, column in columns:
                column[row] = value[name]
            for name, array in arrays:
                array[row] = value[name]
    table["report_id"] = 0x76
    return table


def with_samples(table, samples):
    for number, key in enumerate(KEYS):
        begin = number * captures.SENSORS
        table[key] = samples[:, begin:begin + captures.SENSORS]
    table["report_id"] = 0x76
    return table


# The plug-in's C interface through ctypes: no more of it than this needs.

TYPES = [np.bool_, np.uint8, np.uint16, np.uint32, np.int32, np.int64, np.uint64, np.float32, np.float64]
MEMBERS = "uuuuiiudd"
SIZES = [np.dtype(one).itemsize for one in TYPES]


class Value(ctypes.Union):
    _fields_ = [("u", ctypes.c_uint64), ("i", ctypes.c_int64), ("d", ctypes.c_double)]


class Number(ctypes.Structure):
    _fields_ = [("kind", ctypes.c_int32), ("value", Value)]


Begin = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_size_t)
End = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p)
Text = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.c_void_p, ctypes.c_size_t)
OneNumber = ctypes.CFUNCTYPE(ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(Number))
Array = ctypes.CFUNCTYPE(
    ctypes.c_int, ctypes.c_void_p, ctypes.c_int32, ctypes.c_void_p, ctypes.c_size_t)


class Visitor(ctypes.Structure):
    _fields_ = [
        ("size", ctypes.c_uint32),
        ("context", ctypes.c_void_p),
        ("nil", End),
        ("dictionary_begin", Begin),
        ("key", Text),
        ("number", OneNumber),
        ("string", Text),
        ("array", Array),
        ("dictionary_end", End),
    ]


class Api(ctypes.Structure):
    _fields_ = [
        ("abi_version", ctypes.c_uint32),
        ("size", ctypes.c_uint32),
        ("plugin_version", ctypes.c_char_p),
        ("create", ctypes.CFUNCTYPE(ctypes.c_int, ctypes.POINTER(ctypes.c_void_p))),
        ("destroy", ctypes.c_void_p),
        ("error_message", ctypes.c_void_p),
        ("parse_args", ctypes.c_void_p),
        ("parse_report", ctypes.c_void_p),
        ("report_to_object", ctypes.CFUNCTYPE(
            ctypes.c_int, ctypes.c_void_p, ctypes.c_char_p, ctypes.c_uint32, ctypes.c_int32,
            ctypes.c_int64, ctypes.POINTER(ctypes.c_void_p))),
        ("set_use_strings", ctypes.c_void_p),
        ("use_strings", ctypes.c_void_p),
        ("result_free", ctypes.CFUNCTYPE(None, ctypes.c_void_p)),
        ("result_form", ctypes.c_void_p),
        ("result_count", ctypes.c_void_p),
        ("result_line", ctypes.c_void_p),
        ("result_text", ctypes.c_void_p),
        ("result_visit", ctypes.CFUNCTYPE(
            ctypes.c_int, ctypes.c_void_p, ctypes.POINTER(Visitor))),
    ]


class CtypesPlugin:
    INPUT = 0

    def __init__(self, path):
        library = ctypes.CDLL(path)
        library.vesk_plugin_entry.restype = ctypes.POINTER(Api)
        api = library.vesk_plugin_entry().contents
        self._library, self._api = library, api
        self._report_to_object = api.report_to_object
        self._visit, self._free = api.result_visit, api.result_free
        self._plugin, self._result = ctypes.c_void_p(), ctypes.c_void_p()
        if api.create(self._plugin) != 0:
            raise MemoryError
        self._functions = {
            "key": Text(self._key), "number": OneNumber(self._number), "array": Array(self._array)}
        self._visitor = Visitor(size=ctypes.sizeof(Visitor), **self._functions)

    def _key(self, _context, text, length):
        self._name = ctypes.string_at(text, length).decode()
        return 0

    def _number(self, _context, pointer):
        number = pointer[0]
        kind = number.kind
        self._value[self._name] = TYPES[kind](getattr(number.value, MEMBERS[kind]))
        return 0

    def _array(self, _context, kind, values, count):
        copy = ctypes.string_at(values, count * SIZES[kind])
        self._value[self._name] = np.frombuffer(copy, TYPES[kind])
        return 0

    def decode(self, report):
        """The values of an input report."""
        status = self._report_to_object(
            self._plugin, report, report[0], self.INPUT, len(report), self._result)
        if status != 0:
            raise ValueError(status)
        self._value = {}
        self._visit(self._result, self._visitor)
        self._free(self._result)
        return self._value
