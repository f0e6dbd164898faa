"""The plug-in, and what it says of the reports that it decodes."""

from __future__ import annotations

import re
from pathlib import Path
from typing import Dict, List, NamedTuple, Tuple

from . import _native

_FILE = "libvesk-report.so"


def _folders() -> list[Path]:
    """Where the plug-in may be: beside the package, in the library folders of the prefix that it was
    built or installed in, or where the system has libraries."""
    package = Path(__file__).resolve().parent
    prefixes = [*package.parents[:4], Path("/usr/local"), Path("/usr")]
    libraries = [prefix / "lib" / sub for prefix in prefixes for sub in ("", _native.multiarch)]
    return [package, *libraries, Path(_native.folder)]


def _load() -> _native.Library:
    folders = list(dict.fromkeys(_folders()))
    for folder in folders:
        if (folder / _FILE).exists():
            return _native.Library(str(folder / _FILE))
    looked = ", ".join(map(str, folders))
    raise ImportError(f"cannot find {_FILE} in {looked}; the package libvesk-report has it")


library = _load()


class ReportInfo(NamedTuple):
    """A report that can be decoded."""

    id: int
    """The report ID, its first byte."""
    type: str
    """"input", "output" or "feature"."""
    name: str
    """Of its table, as in ``capture.image``."""
    decoder: str
    """As messages and records of vesk-decode name it."""
    length: int
    """In bytes, its ID included: a shorter one is refused."""
    exact: bool
    """Whether a longer one is refused, too."""
    text: bool
    """Whether it is text from byte 1 to the first NUL."""


def table_name(decoder: str) -> str:
    """The name of a decoder's table: that of the decoder in small letters, without "parse" and
    "Vesk".

    >>> table_name("parseVeskImage"), table_name("parseAdcDumpPacket")
    ('image', 'adc_dump_packet')
    """
    words = re.sub(r"^parser?(?=[A-Z])", "", decoder)
    words = re.sub(r"^Vesk(?=[A-Z])", "", words)
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])", "_", words).lower()


REPORTS: tuple[ReportInfo, ...] = tuple(
    ReportInfo(id, type, table_name(decoder), decoder, length, exact, text)
    for id, type, decoder, length, exact, text in library.reports()
)
"""All reports that the plug-in decodes."""

NAMES: dict[str, str] = {report.name: report.decoder for report in REPORTS}
"""The decoder of each table, in the plug-in's order."""

Shapes = Dict[str, Tuple[List["_native.Column"], int]]

SHAPES: Shapes = library.shapes({})
"""The columns of each decoder's table, and the size of its rows."""


def decoder_of(key: object) -> str:
    """The decoder that is meant by an ID, by a table's name or by a decoder's. Raises KeyError."""
    if isinstance(key, str):
        if key in NAMES:
            return NAMES[key]
        if key in NAMES.values():
            return key
    else:
        for report in REPORTS:
            if report.id == key:
                return report.decoder
    raise KeyError(key)
