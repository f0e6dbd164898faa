"""Reports of the Vesk touch controller as numpy arrays.

    import vesk_report

    capture = vesk_report.read("bench.pcap")   # or bytes, a file object
    capture.image["D_SCAN_I"]                  # numpy, (n, 48) int32, no copy
    capture.image.frames                       # (n, 4, 48), a view of four neighbouring arrays
    capture[0xE1]                              # the table of a report ID
    capture.errors                             # what could not be decoded: code, message, place
    capture.image.to_pandas()                  # pandas, xarray: imported when asked for

    for batch in vesk_report.batches("night.pcap", rows=50_000):
        ...                                    # tables of bounded size
    for report in vesk_report.reports("bench.hid"):
        ...                                    # one at a time: id, type, time, value, lines
    vesk_report.Plugin().decode(b"\\xde\\x01")   # a report that is at hand
"""

from __future__ import annotations

from . import _native
from ._capture import Capture
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
    "ReportInfo",
    "REPORTS",
    "FORMS",
]

__version__: str = _native.version

FORMS: dict[str, str] = dict(_native.forms())
"""The forms of input by their names, for form=."""
