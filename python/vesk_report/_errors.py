"""What could not be decoded."""

from __future__ import annotations

from dataclasses import dataclass
from typing import Any, Mapping, Sequence, overload

import numpy as np

from . import _native


def encoded(name: str) -> bytes:
    """The name of an input for the native module. It may have lone surrogates, which stand for bytes
    that are no UTF-8."""
    return name.encode("utf-8", "surrogateescape")


def where(source: str, unit: str, place: int) -> str:
    """ "bench.hex:12", "bench.pcap: packet 7" """
    return _native.where(encoded(source), unit, place)


def time_of(microseconds: int | None) -> np.datetime64:
    return np.datetime64("NaT", "us") if microseconds is None else np.datetime64(microseconds, "us")


@dataclass(frozen=True)
class Error:
    """Something in an input that gives no report, or a report that can't be decoded. ``str(error)``
    is what vesk-decode tells: where, and what."""

    code: str
    """As in the records of vesk-decode: "bad_hex", "short_report", "truncated_capture", ..."""
    message: str
    """One line, without the place."""
    source: str
    """The input's name."""
    unit: str
    """What `place` counts: "line" and "packet" from 1, "byte" from 0; "file" for the whole."""
    place: int
    microseconds: int | None
    """Its time, where the input tells one."""
    report_id: int | None
    """Of the report, where it is known which one it is."""
    type: str | None
    """ "input", "output" or "feature", where that is known."""
    device: str
    """Who sent it; empty where the input doesn't tell."""
    expected: int | None
    """What was expected and what came, in numbers, where the message says so."""
    got: int | None
    offset: int | None
    """A byte in the input, where the message names one."""

    @property
    def where(self) -> str:
        """ "bench.hex:12", "bench.pcap: packet 7" """
        return where(self.source, self.unit, self.place)

    @property
    def time(self) -> np.datetime64:
        """In microseconds; NaT where the input tells none."""
        return time_of(self.microseconds)

    def __str__(self) -> str:
        return f"{self.where}: {self.message}"


class Errors(Sequence[Error]):
    """The errors of an input, in its order: a sequence of Error.

    Of a file that is something else every line is an error. So no more than the first ten thousand
    are kept; `total` and `counts` have all of them.
    """

    LIMIT = 10_000

    def __init__(self) -> None:
        self._kept: list[Error] = []
        self._counts: dict[str, int] = {}

    def _add(self, problems: list[tuple[Any, ...]], counts: Mapping[str, int]) -> None:
        room = max(0, self.LIMIT - len(self._kept))
        self._kept.extend(Error(*problem[1:]) for problem in problems[:room])
        for code, count in counts.items():
            self._counts[code] = self._counts.get(code, 0) + count

    @property
    def total(self) -> int:
        """How many there were."""
        return sum(self._counts.values())

    @property
    def counts(self) -> dict[str, int]:
        """How many there were of each code."""
        return dict(self._counts)

    def __len__(self) -> int:
        return len(self._kept)

    @overload
    def __getitem__(self, index: int) -> Error: ...

    @overload
    def __getitem__(self, index: slice) -> list[Error]: ...

    def __getitem__(self, index: int | slice) -> Error | list[Error]:
        return self._kept[index]

    def __repr__(self) -> str:
        counts = ", ".join(f"{count} {code}" for code, count in self._counts.items())
        kept = "" if self.total == len(self) else f", the first {len(self)} are kept"
        return f"<Errors: {counts or 'none'}{kept}>"
