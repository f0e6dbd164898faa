"""One report."""

from __future__ import annotations

from typing import Any

import numpy as np

from . import _html, _native
from ._errors import time_of, where
from ._library import table_name


class Report:
    """A decoded report.

    Attributes
    ----------
    id: int
        the report ID, the first byte of `data`
    type: str
        "input", "output" or "feature"
    decoder: str
        as messages and records of vesk-decode name it
    value: dict, str or None
        what it says: numbers as numpy's scalars, arrays of them as numpy arrays, whose kinds are those
        of the report's fields; a bare string for some reports; None for those that have only lines
    data: bytes
        the report itself, its ID included
    source: str
        the input's name
    unit: str
        what `place` counts: "line" and "packet" from 1, "byte" from 0; "file" for the whole
    place: int
        where in the input it stands
    device: str
        who sent it, "device 1:5, endpoint 1"; empty where the input doesn't tell
    direction: str
        "from_device", or "to_device" for what a host writes
    """

    __slots__ = (
        "id",
        "type",
        "decoder",
        "_microseconds",
        "value",
        "data",
        "source",
        "unit",
        "place",
        "device",
        "direction",
        "_plugin",
    )

    def __init__(
        self,
        id: int,
        type: str,
        decoder: str,
        microseconds: int | None,
        value: dict[str, Any] | str | None,
        data: bytes,
        source: str,
        unit: str,
        place: int,
        device: str,
        direction: str,
    ) -> None:
        self.id = id
        self.type = type
        self.decoder = decoder
        self._microseconds = microseconds
        self.value = value
        self.data = data
        self.source = source
        self.unit = unit
        self.place = place
        self.device = device
        self.direction = direction
        self._plugin: _native.Decoder | None = None

    @property
    def name(self) -> str:
        """Of its table, as in ``capture.image``."""
        return table_name(self.decoder)

    @property
    def time(self) -> np.datetime64:
        """When it came, in microseconds, as the input tells; NaT where it doesn't."""
        return time_of(self._microseconds)

    @property
    def where(self) -> str:
        """ "bench.hex:12", "bench.pcap: packet 7" """
        return where(self.source, self.unit, self.place)

    @property
    def lines(self) -> list[str]:
        """What people read of it, line by line; decoded when it is asked for. Raises ValueError if
        its decoder gives none."""
        from ._plugin import decoder

        return (self._plugin or decoder(False)).lines(self.data, self.type)

    def __getitem__(self, key: str) -> Any:
        """A value by its key. Raises KeyError where there is none."""
        if not isinstance(self.value, dict):
            raise KeyError(f"{self.name} has no keys")
        return self.value[key]

    def __reduce__(self) -> Any:
        return Report, tuple(getattr(self, name) for name in self.__slots__[:-1])

    def __repr__(self) -> str:
        where = f" at {self.where}" if self.source else ""
        return f"<Report 0x{self.id:02X} {self.name}{where}>"

    def _repr_html_(self) -> str:
        return _html.of_report(self)


def from_native(found: tuple[Any, ...], plugin: _native.Decoder) -> Report:
    """What a stream or a decoder has found; `plugin` decodes its lines."""
    report = Report(*found[1:])
    report._plugin = plugin
    return report
