"""Reports of the Vesk touch controller as numpy arrays.

    import vesk_report

    capture = vesk_report.read("bench.pcap")   # or bytes, a file object, a device
    capture.image["D_SCAN_I"]                  # numpy, (n, 48) int32, no copy
    capture.image.frames                       # (n, 4, 48), a view of four neighbouring arrays
    capture[0xE1]                              # the table of a report ID
    capture.errors                             # what could not be decoded: code, message, place
    capture.image.to_pandas()                  # pandas, xarray: imported when asked for

    for batch in vesk_report.batches("night.pcap", rows=50_000):
        ...                                    # tables of bounded size
    for report in vesk_report.reports("bench.hid"):
        ...                                    # one at a time: id, type, time, value, lines
    live = vesk_report.read("hid:touch")       # a live device: follow=, every=, duration=
    vesk_report.Plugin().decode(b"\\xde\\x01")   # a report that is at hand

A table has a row a report and a column a key of the report's object; numbers keep the kinds of the
report's fields. What the fields mean, and their units, is in vesk-reports(5), and at a glance in
docs/reports.md of the sources. Times are datetime64[us].

These are the tables, and their columns behind time, report_id, source, device and place:

{tables}

These are the forms of input, each also packed by gzip, xz or zstd:

{forms}

What can't be read at all raises: OSError, ValueError or TypeError, with the place in the message. What
is wrong within an input is in ``capture.errors``, in the words of vesk-decode; the rest is decoded.
"""

from __future__ import annotations

from . import _help, _native
from ._capture import Capture
from ._devices import Device, devices
from ._errors import Error, Errors
from ._library import REPORTS, ReportInfo
from ._plugin import Plugin
from ._reading import Batches, Reports, batches, read, reports
from ._report import Report
from ._table import Column, Table
from ._texts import TextColumn

__all__ = [
    "read",
    "batches",
    "reports",
    "devices",
    "Plugin",
    "Capture",
    "Table",
    "TextColumn",
    "Column",
    "Report",
    "Error",
    "Errors",
    "Batches",
    "Reports",
    "Device",
    "ReportInfo",
    "REPORTS",
    "FORMS",
]

for _public in (Capture, Table, TextColumn, Column, Report, Error, Errors, Batches, Reports, Plugin,
                Device, ReportInfo, devices, read, batches, reports):
    _public.__module__ = __name__  # where people find them, whatever file they stand in

__doc__ = (__doc__ or "").format(tables=_help.tables(), forms=_help.forms())

__version__: str = _native.version

FORMS: dict[str, str] = dict(_native.forms())
"""The forms of input by their names, for form=."""
