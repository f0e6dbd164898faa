"""All reports of one decoder, as columns."""

from __future__ import annotations

from dataclasses import dataclass
from typing import TYPE_CHECKING, Any, Iterator

import numpy as np
import numpy.typing as npt

from . import _html, _native
from ._texts import TextColumn

if TYPE_CHECKING:
    import pandas
    import xarray

# By the kinds' numbers.
_TYPES = ("?", "u1", "u2", "u4", "i4", "i8", "u8", "f4", "f8")
COMMON = 5  # columns in front of those of the report


@dataclass(frozen=True)
class Column:
    """What a table says of one of its columns."""

    name: str
    dtype: np.dtype[Any]
    """Of a number; of a text's number where it is text."""
    count: int | None
    """How many numbers a row has; None unless it is an array."""
    is_text: bool
    offset: int
    """In a row of Table.array, in bytes."""


def columns_of(native: list[_native.Column]) -> tuple[Column, ...]:
    return tuple(
        Column(
            name,
            np.dtype("M8[us]" if index == 0 else _TYPES[kind]),
            count if is_array else None,
            is_text,
            offset,
        )
        for index, (name, kind, count, is_array, is_text, offset) in enumerate(native)
    )


def row_type(columns: tuple[Column, ...], row_size: int) -> np.dtype[np.void]:
    return np.dtype(
        {
            "names": [column.name for column in columns],
            "formats": [
                column.dtype if column.count is None else (column.dtype, (column.count,))
                for column in columns
            ],
            "offsets": [column.offset for column in columns],
            "itemsize": row_size,
        }
    )


class Table:
    """All reports of one decoder: a row a report, a column a key of its object.

    ``table["KEY"]`` is a column: a numpy array, or a TextColumn where the key's values are texts. An
    array is a view of the table's memory, which lives as long as any view of it, and is read-only:
    it is what the device said. ``table["KEY"].copy()`` is yours.

    An array has a value a row, shape (n,), or, where the report has m of them, shape (n, m). Its
    dtype is that of the report's field: bool, uint8, uint16, uint32, int32, int64, uint64, float32 or
    float64. In front of the report's own columns every table has

    time: datetime64[us]
        when it came, as the input tells; NaT where it doesn't
    report_id: uint8
        one decoder may read reports of two IDs
    source: text
        the input's name
    device: text
        who sent it, "device 1:5, endpoint 1"; empty where the input doesn't tell
    place: uint64
        where it stands in the input: the number of its line or packet, from 1, or of its first byte,
        from 0

    A report that is a bare string has the column ``value``; one that has no object has ``lines``, a
    text of all its lines.

    ``len(table)`` is the number of rows, ``table[10:20]`` a table of some of them, without a copy,
    ``table[7]`` one row as a dict, ``"KEY" in table`` and iteration are about the columns' names.
    """

    def __init__(
        self,
        name: str,
        decoder: str,
        columns: tuple[Column, ...],
        array: npt.NDArray[np.void],
        texts: tuple[str, ...],
    ) -> None:
        array.flags.writeable = False
        self._name = name
        self._decoder = decoder
        self._columns = {column.name: column for column in columns}
        self._array = array
        self._texts = texts

    @property
    def name(self) -> str:
        """As in ``capture.image``."""
        return self._name

    @property
    def decoder(self) -> str:
        """As messages and records of vesk-decode name it."""
        return self._decoder

    @property
    def columns(self) -> tuple[str, ...]:
        """The names of all columns."""
        return tuple(self._columns)

    @property
    def keys(self) -> tuple[str, ...]:
        """The names of the report's own columns."""
        return tuple(self._columns)[COMMON:]

    @property
    def array(self) -> npt.NDArray[np.void]:
        """The whole table as a structured array, without a copy. Texts are numbers in it, those of
        TextColumn.codes."""
        return self._array

    @property
    def dtype(self) -> np.dtype[np.void]:
        """Of `array`."""
        return self._array.dtype

    @property
    def nbytes(self) -> int:
        """How much memory the rows take, without the texts."""
        return self._array.nbytes

    def __len__(self) -> int:
        return len(self._array)

    def __contains__(self, key: object) -> bool:
        return key in self._columns

    def __iter__(self) -> Iterator[str]:
        return iter(self._columns)

    def __getitem__(self, key: Any) -> Any:
        """A column by its name, some rows by a slice, or a row by its number. Raises KeyError for a
        column that isn't there, and IndexError for a row."""
        if isinstance(key, str):
            return self._column(key)
        if isinstance(key, slice):
            return self._with(self._array[key])
        if isinstance(key, (int, np.integer)):
            return self._row(int(key))
        raise TypeError(
            "a table is indexed by a column's name, a row's number or a slice of rows, not by "
            f"{type(key).__name__}; table.array takes all that numpy does"
        )

    def _column(self, name: str) -> Any:
        if name not in self._columns:
            raise KeyError(f"{self._name} has no column {name!r}; it has {', '.join(self._columns)}")
        values = self._array[name]
        return TextColumn(values, self._texts) if self._columns[name].is_text else values

    def _row(self, index: int) -> dict[str, Any]:
        row = self._array[index]
        return {
            name: self._texts[row[name]] if column.is_text else row[name]
            for name, column in self._columns.items()
        }

    def _with(self, array: npt.NDArray[np.void]) -> Table:
        return Table(self._name, self._decoder, tuple(self._columns.values()), array, self._texts)

    def of_id(self, report_id: int) -> Table:
        """The rows of one report ID. It is this table if it has no others, and a copy if it has."""
        wanted = self._array["report_id"] == report_id
        return self if wanted.all() else self._with(self._array[wanted])

    @property
    def frame_keys(self) -> tuple[str, ...]:
        """The columns that `frames` is made of: arrays of one dtype and length that stand beside one
        another. Of several such groups the one of most columns; empty where there is none."""
        best: list[Column] = []
        group: list[Column] = []
        for column in self._columns.values():
            if group and not _is_next(group[-1], column):
                group = []
            if column.count is not None:
                group.append(column)
            if len(group) > max(1, len(best)):
                best = list(group)
        return tuple(column.name for column in best)

    @property
    def frames(self) -> npt.NDArray[Any]:
        """The neighbouring arrays of the report as one, without a copy. Of image frames its shape is
        (n, 4, 48), its dtype int32: D_SCAN_I, D_SCAN_Q, P_SCAN_I, P_SCAN_Q. Raises AttributeError
        where no arrays of the table stand beside one another."""
        keys = self.frame_keys
        if not keys:
            raise AttributeError(f"{self._name} has no arrays that stand beside one another")
        first = self._array[keys[0]]
        rows, count = first.shape
        return np.lib.stride_tricks.as_strided(
            first,
            (rows, len(keys), count),
            (first.strides[0], count * first.itemsize, first.itemsize),
            writeable=False,
        )

    def to_pandas(self) -> pandas.DataFrame:
        """A pandas.DataFrame: a column a number, of an array KEY_0, KEY_1, ... as in the form csv of
        vesk-decode; texts are categories. Numbers are not copied, but for times, which pandas has in
        nanoseconds. Raises ImportError without pandas."""
        import pandas

        columns: dict[str, Any] = {}
        for name, column in self._columns.items():
            values = self._array[name]
            if column.is_text:
                columns[name] = _categories(pandas, values, self._texts)
            elif column.count is None:
                columns[name] = values
            else:
                columns.update((f"{name}_{i}", values[:, i]) for i in range(column.count))
        return pandas.DataFrame(columns, copy=False)

    def to_xarray(self) -> xarray.Dataset:
        """An xarray.Dataset: a variable a column, along the dimension ``report`` and, where it is an
        array, ``channel_48`` or whatever its length is; `time`, `report_id`, `source`, `device` and
        `place` are coordinates. Numbers are not copied, but for times, which xarray has in
        nanoseconds; texts are. Raises ImportError without xarray."""
        import xarray

        variables: dict[str, Any] = {}
        for name, column in self._columns.items():
            if column.count is None:
                values = self[name]
                variables[name] = ("report", values.to_numpy() if column.is_text else values)
            else:
                variables[name] = (("report", f"channel_{column.count}"), self._array[name])
        common = self.columns[:COMMON]
        return xarray.Dataset(
            {name: variable for name, variable in variables.items() if name not in common},
            {name: variables[name] for name in common},
            {"decoder": self._decoder},
        )

    def __reduce__(self) -> Any:
        columns = tuple(self._columns.values())
        return Table, (self._name, self._decoder, columns, self._array.copy(), self._texts)

    def __repr__(self) -> str:
        return f"<Table {self._name}: {len(self)} reports, {len(self._columns)} columns>"

    def _repr_html_(self) -> str:
        return _html.of_table(self)


def _is_next(before: Column, column: Column) -> bool:
    """Whether a column is such an array as the one before it, and begins where that one ends."""
    return (
        before.count is not None
        and (column.dtype, column.count) == (before.dtype, before.count)
        and column.offset == before.offset + before.count * before.dtype.itemsize
    )


def _categories(pandas: Any, codes: npt.NDArray[np.uint32], texts: tuple[str, ...]) -> Any:
    used, numbers = np.unique(codes, return_inverse=True)
    return pandas.Categorical.from_codes(numbers, [texts[code] for code in used])
