"""What an input held: a table a decoder, and the errors."""

from __future__ import annotations

from typing import Iterator

import numpy as np
import numpy.typing as npt

from . import _html, _native
from ._errors import Errors
from ._library import NAMES, Shapes, decoder_of, table_name
from ._table import Table, columns_of, row_type


class Capture:
    """What an input held, or a part of it: a Table for each decoder, and the errors.

    ``capture.image`` is the table of image frames; ``dir(capture)`` and ``capture.tables`` have all
    names. ``capture[0xE1]`` is the table of a report ID: of a decoder that reads two IDs, the rows of
    this one. A table of which no report came has no rows, and the columns that it would have.
    Iteration gives the tables that have rows; ``len(capture)`` is the number of reports.
    """

    def __init__(self, tables: dict[str, Table], errors: Errors, remarks: list[str]) -> None:
        self._tables = tables
        self._errors = errors
        self._remarks = remarks

    @property
    def tables(self) -> dict[str, Table]:
        """All tables by their names, with those that have no rows."""
        return dict(self._tables)

    @property
    def errors(self) -> Errors:
        """What could not be decoded: a sequence of Error."""
        return self._errors

    @property
    def remarks(self) -> list[str]:
        """What people should know of how live devices were read; empty for files."""
        return list(self._remarks)

    def __getattr__(self, name: str) -> Table:
        tables: dict[str, Table] = self.__dict__.get("_tables", {})
        if name in tables:
            return tables[name]
        raise AttributeError(f"no table {name!r}; there are {', '.join(tables)}")

    def __dir__(self) -> list[str]:
        return [*super().__dir__(), *self._tables]

    def __getitem__(self, key: int | str) -> Table:
        """The table of a report ID, of a decoder, or by its name. Raises KeyError."""
        try:
            table = self._tables[table_name(decoder_of(key))]
        except KeyError:
            known = f"0x{key:02X}" if isinstance(key, int) else repr(key)
            raise KeyError(f"no decoder reads {known}") from None
        return table if isinstance(key, str) else table.of_id(key)

    def __iter__(self) -> Iterator[Table]:
        return (table for table in self._tables.values() if len(table))

    def __len__(self) -> int:
        return sum(map(len, self._tables.values()))

    def __repr__(self) -> str:
        counts = ", ".join(f"{len(table)} {table.name}" for table in self)
        return f"<Capture: {counts or 'no reports'}; {self._errors.total} errors>"

    def _repr_html_(self) -> str:
        return _html.of_capture(self)


def take(stream: _native.Stream, empty: Shapes, errors: Errors) -> Capture:
    """What a stream has gathered, which begins anew. `empty` has the columns of the tables that have
    no rows."""
    native, text_list = stream.take()
    texts = tuple(text_list)
    errors._add(*stream.take_problems())
    tables: dict[str, Table] = {}
    for name, decoder in NAMES.items():
        array: npt.NDArray[np.void]
        if decoder in native:
            raw, row_size, rows, memory = native[decoder]
            columns = columns_of(raw)
            array = np.ndarray((rows,), row_type(columns, row_size), memory)
        else:
            raw, row_size = empty[decoder]
            columns = columns_of(raw)
            array = np.empty(0, row_type(columns, row_size))
        tables[name] = Table(name, decoder, columns, array, texts)
    return Capture(tables, errors, stream.take_remarks())
