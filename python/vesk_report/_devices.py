"""Live devices: which there are, and how they are read."""

from __future__ import annotations

import os
from typing import Any, NamedTuple

from . import _native
from ._errors import encoded
from ._library import REPORTS, library


class Device(NamedTuple):
    """A HID device of this machine."""

    node: str
    """What read(), batches() and reports() take: "/dev/hidraw3"."""
    bus: str
    """ "usb", "bluetooth", ..."""
    vendor: int
    product: int
    name: str
    serial: str
    known: int
    """How many of the reports that can be decoded it declares; of a Vesk controller, more than none."""
    failure: str
    """Why it can't be opened; empty if it can."""


def devices() -> list[Device]:
    """All HID devices of this machine.

    >>> [device.node for device in devices() if device.known]
    ['/dev/hidraw3']
    """
    return [Device(*row) for row in _native.devices(library)]


def device_of(source: object) -> _native.NamedDevice | None:
    """The live device that an input is: its node, or "hid:" and what it is known by. It may be open
    from here on."""
    if not isinstance(source, (str, os.PathLike)):
        return None
    name = os.fspath(source)
    return _native.device_named(encoded(name)) if isinstance(name, str) else None


class Live(NamedTuple):
    """How devices are read, as the parameters of read() say."""

    follow: bool
    wait: bool
    every: float | None
    duration: float | None

    def check(self, names: list[str], ids: list[int], type: str | None, options: dict[str, Any]) -> None:
        """Raises ValueError for what makes no sense, in the words of vesk-decode."""
        for key in ("every", "duration"):
            seconds = getattr(self, key)
            if seconds is not None and not (isinstance(seconds, (int, float)) and 0 < seconds < 1e9):
                raise ValueError(f"{key}={seconds!r}: a number of seconds, such as 0.5")
        if not names:
            for key, value in self._asdict().items():
                if value:
                    raise ValueError(f"{key}=: no live device is named; devices() shows them")
            return
        for key, value in options.items():
            if value is not None:
                raise ValueError(f"{key}= is for files, and {names[0]} is a live device")
        if len(set(names)) != len(names):
            raise ValueError(f"{names[0]}: named twice")
        chosen = [info for info in REPORTS if not ids or info.id in ids]
        asks = type in (None, "feature") and any(info.type == "feature" for info in chosen)
        comes = type in (None, "input") and any(info.type == "input" for info in chosen)
        if self.every is not None and not asks:
            raise ValueError("every= asks for feature reports, and none is chosen")
        if self.follow and not comes:
            raise ValueError(
                "follow= goes on with input reports, and none is chosen; every= asks for feature "
                "reports again")
        if not self.follow and not asks:
            raise ValueError(
                f"no feature report is chosen that {names[0]} could be asked for; follow= shows input "
                "reports")
