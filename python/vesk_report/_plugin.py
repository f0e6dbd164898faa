"""Decoding without an input."""

from __future__ import annotations

import functools

from . import _native
from ._library import library
from ._report import Report, from_native


@functools.lru_cache(maxsize=None)
def decoder(decimal: bool) -> _native.Decoder:
    """What decodes the lines of reports; it lives as long as the process."""
    return _native.Decoder(library, decimal)


class Plugin:
    """Decodes single reports.

    >>> Plugin().decode(b"\\xde\\x01").value
    'SINGLE'

    With ``decimal=True`` samples are in decimal in the lines. An instance may be used by several
    threads, one after another.
    """

    def __init__(self, *, decimal: bool = False) -> None:
        self._decimal = decimal
        self._decoder = _native.Decoder(library, decimal)

    @property
    def version(self) -> str:
        """Of the plug-in."""
        return library.version

    @property
    def path(self) -> str:
        """Of the plug-in's file."""
        return library.path

    def decode(self, data: bytes | bytearray | memoryview, type: str | None = None) -> Report:
        """Decodes a report, whose first byte is its ID. Its type, "input", "output" or "feature", is
        the one that is known of this ID unless it is said. Raises ValueError, in the words of
        vesk-decode, for a report that is unknown, too short or refused, and TypeError for what holds
        no bytes."""
        found = self._decoder.decode(_bytes(data), type)
        return from_native(found, self._decoder)

    def __reduce__(self) -> tuple[object, ...]:
        return functools.partial(Plugin, decimal=self._decimal), ()


def _bytes(data: object) -> bytes:
    if isinstance(data, bytes):
        return data
    if isinstance(data, (int, str)):
        raise TypeError(f"a report is bytes, not {type(data).__name__}")
    return bytes(memoryview(data).cast("B"))  # type: ignore[arg-type]
