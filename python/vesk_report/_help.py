"""The part of the package's help that is made of what the plug-in says."""

from __future__ import annotations

import textwrap

from . import _native
from ._library import NAMES, REPORTS, SHAPES
from ._table import COMMON, Column, columns_of

_MANY = 30  # columns of a table are listed up to here


def _column_text(column: Column) -> str:
    kind = "text" if column.is_text else column.dtype.name
    return f"{column.name} {kind}" + (f" (n, {column.count})" if column.count is not None else "")


def tables() -> str:
    """Each table with its report IDs, and its columns with their dtypes and shapes."""
    parts = []
    for name, decoder in NAMES.items():
        rows = [report for report in REPORTS if report.decoder == decoder]
        ids = ", ".join(f"0x{report.id:02X}" for report in rows)
        columns = columns_of(SHAPES[decoder][0])[COMMON:]
        if len(columns) > _MANY:
            text = f"{len(columns)} columns, listed by read(b'').{name}.columns"
        else:
            text = "; ".join(map(_column_text, columns))
        indent = " " * 8
        parts.append(f"    {name} ({ids}, {rows[0].type})")
        parts.append(textwrap.fill(text, 96, initial_indent=indent, subsequent_indent=indent))
    return "\n".join(parts)


def forms() -> str:
    """The forms of input."""
    return "\n".join(f"    {name:12} {description}" for name, description in _native.forms())
