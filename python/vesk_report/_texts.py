"""Columns of text."""

from __future__ import annotations

from typing import Any, Iterator, Sequence, overload

import numpy as np
import numpy.typing as npt


class TextColumn(Sequence[str]):
    """A column of texts, each of which is kept once however often it occurs.

    It is a sequence of ``str``; ``column == "x"`` is an array of bool; ``column.to_numpy()`` and
    ``numpy.asarray(column)`` make an array of ``str`` objects, a copy. Without a copy there are

    codes: numpy.ndarray of uint32
        for each row, the number of its text
    texts: tuple of str
        the texts by their number, perhaps more than this column has
    """

    __slots__ = ("codes", "texts")

    def __init__(self, codes: npt.NDArray[np.uint32], texts: tuple[str, ...]) -> None:
        self.codes = codes
        self.texts = texts

    def __len__(self) -> int:
        return len(self.codes)

    @overload
    def __getitem__(self, index: int) -> str: ...

    @overload
    def __getitem__(self, index: slice) -> TextColumn: ...

    def __getitem__(self, index: int | slice) -> str | TextColumn:
        if isinstance(index, slice):
            return TextColumn(self.codes[index], self.texts)
        text: str = self.texts[self.codes[index]]
        return text

    def __iter__(self) -> Iterator[str]:
        return map(self.texts.__getitem__, self.codes.tolist())

    def __eq__(self, other: object) -> Any:
        if isinstance(other, str):
            if other not in self.texts:
                return np.zeros(len(self), bool)
            return self.codes == self.texts.index(other)
        if isinstance(other, TextColumn):
            return self.to_numpy() == other.to_numpy()
        return NotImplemented

    def __ne__(self, other: object) -> Any:
        equal = self.__eq__(other)
        return equal if equal is NotImplemented else ~equal

    __hash__ = None  # type: ignore[assignment]

    def unique(self) -> list[str]:
        """The texts that occur, in the order of their numbers."""
        return [self.texts[code] for code in np.unique(self.codes)]

    def to_numpy(self) -> npt.NDArray[np.object_]:
        """An array of str objects, which is a copy."""
        return np.array(self.texts, dtype=object)[self.codes]

    def __array__(self, dtype: npt.DTypeLike = None) -> npt.NDArray[Any]:
        texts = self.to_numpy()
        return texts if dtype is None else texts.astype(dtype)

    def __repr__(self) -> str:
        shown = ", ".join(map(repr, self[:5]))
        return f"<TextColumn of {len(self)}: [{shown}{', ...' if len(self) > 5 else ''}]>"
