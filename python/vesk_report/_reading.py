"""Reading inputs: whole, in batches, or report by report."""

from __future__ import annotations

import datetime
import errno
import os
import stat
from typing import (
    Any, Callable, Generic, Iterable, Iterator, Mapping, Protocol, Sequence, TypeVar, Union)

import numpy as np

from . import _native
from ._capture import Capture, take
from ._devices import Live, device_of
from ._errors import Error, Errors, encoded
from ._library import REPORTS, SHAPES, decoder_of, library
from ._plugin import decoder as plugin_decoder
from ._report import Report, from_native
from ._table import COMMON


class BinaryFile(Protocol):
    """A file object that gives bytes."""

    def read(self, size: int = ..., /) -> bytes: ...


Input = Union[str, "os.PathLike[str]", bytes, bytearray, memoryview, BinaryFile]
"""What can be read: the path of a file or pipe, a live device, bytes, a binary file object."""
Inputs = Union[Input, Sequence[Input]]
Ids = Union[int, str, Iterable[Union[int, str]]]
Columns = Mapping[Union[int, str], Iterable[str]]
Moment = Union[float, str, np.datetime64, datetime.datetime]
Progress = Callable[[int], object]

_ALL = 2**63 - 1
_EPOCH = datetime.datetime(1970, 1, 1, tzinfo=datetime.timezone.utc)


def read(
    source: Inputs,
    *,
    form: str | None = None,
    report: Ids | None = None,
    type: str | None = None,
    device: str | tuple[int, int] | None = None,
    endpoint: int | None = None,
    start: Moment | None = None,
    end: Moment | None = None,
    columns: Columns | None = None,
    follow: bool = False,
    wait: bool = False,
    every: float | None = None,
    duration: float | None = None,
    progress: Progress | None = None,
) -> Capture:
    """Reads all of an input and gives its reports as tables.

    >>> capture = read("bench.pcap")
    >>> capture.image["D_SCAN_I"]                # (n, 48) int32
    >>> capture.image.frames                     # (n, 4, 48) int32
    >>> capture[0xE1], capture.errors

    Parameters
    ----------
    source
        what is read: the path of a file or a pipe, bytes in memory, or a binary file object; a live
        device, by its node or as vesk-decode names it, "hid:1209:0001", "hid:serial=A0042",
        "hid:touch"; or a list of such, one after another, but all devices at once and last. What gzip,
        xz or zstd has compressed is read as what it was.
    form
        the form of the input, where its content doesn't tell: one of ``vesk_report.FORMS``
    report
        only reports of this ID or these, 0x76, "0x76" or "image"
    type
        only "input", "output" or "feature" reports
    device
        only what this device of a USB capture sends: "1:5" or (1, 5), bus and address
    endpoint
        only what this endpoint of it sends, 0 to 15; 0 is for feature reports
    start, end
        only what came from this moment on, and up to that one, both included: in seconds as the input
        counts them, as ISO 8601 with its zone, "2023-11-14T22:13:20Z", as numpy.datetime64, which is
        UTC, or as a datetime that knows its zone
    columns
        the columns to keep of some reports, ``{0x76: ["FRAME_NUMBER", "D_SCAN_I"]}``; of the others
        all are kept
    follow, wait, every, duration
        of live devices. A device is asked for each feature report that is chosen, once; with `follow`
        its input reports are read, too, without an end; `wait` waits for a device that isn't there,
        or not any more; `every` asks again after so many seconds, and `duration` ends it all after
        so many.
    progress
        called now and then with the number of bytes that were read since the last call, as
        ``tqdm.tqdm(total=os.path.getsize(path), unit="B", unit_scale=True).update``

    Memory holds the tables and little more. A pipe is read to its end; for one that has none there
    are batches() and reports(). Other threads run meanwhile, and Ctrl-C ends it.

    Raises
    ------
    OSError
        for a file that can't be opened: FileNotFoundError, PermissionError, ...
    ValueError
        for an input that can't be read at all, with its name, and for parameters that make no sense
    TypeError
        for a source that is nothing of the above, or gives no bytes

    What is wrong within an input is in ``capture.errors``, and the rest is decoded.
    """
    live = Live(follow, wait, every, duration)
    reading = _Reading(
        source, form, report, type, device, endpoint, start, end, columns, False, False, live, progress)
    if (follow or every) and duration is None:
        raise ValueError(
            "follow= and every= have no end without duration=; batches() and reports() need none")
    while reading.open_next():
        while reading.stream.fill(_ALL, None):
            pass
    return reading.take()


def batches(
    source: Inputs,
    *,
    rows: int = 50_000,
    seconds: float | None = None,
    form: str | None = None,
    report: Ids | None = None,
    type: str | None = None,
    device: str | tuple[int, int] | None = None,
    endpoint: int | None = None,
    start: Moment | None = None,
    end: Moment | None = None,
    columns: Columns | None = None,
    follow: bool = False,
    wait: bool = False,
    every: float | None = None,
    duration: float | None = None,
    progress: Progress | None = None,
    on_error: Callable[[Error], object] | None = None,
) -> Batches:
    """Reads an input of any length in parts: an iterator of Captures, each of which has `rows` reports
    in its tables, the last one fewer. Memory is that of the parts that are still in use, and of one
    more.

    >>> for batch in batches("night.pcap", rows=50_000, columns={0x76: ["D_SCAN_I"]}):
    ...     noise.add(batch.image["D_SCAN_I"])

    With `seconds` a part is handed out when it is so old, too, if there is anything in it: of a live
    device on time, of a pipe with the next report.

    The errors of a part are those up to its last report. `on_error` is called with each that is kept
    when its part is handed out. The other parameters, and what is raised, are those of read().
    """
    if not isinstance(rows, int):
        raise TypeError(f"rows= is a number, not {rows.__class__.__name__}")
    if rows < 1:
        raise ValueError(f"rows={rows}: a batch has at least one row")
    live = Live(follow, wait, every, duration)
    if seconds is not None and not (isinstance(seconds, (int, float)) and seconds > 0):
        raise ValueError(f"seconds={seconds!r}: a number of seconds, such as 0.5")
    reading = _Reading(
        source, form, report, type, device, endpoint, start, end, columns, False, False, live, progress)
    return Batches(reading, rows, seconds, on_error)


def reports(
    source: Inputs,
    *,
    form: str | None = None,
    report: Ids | None = None,
    type: str | None = None,
    device: str | tuple[int, int] | None = None,
    endpoint: int | None = None,
    start: Moment | None = None,
    end: Moment | None = None,
    host_writes: bool = False,
    decimal: bool = False,
    follow: bool = False,
    wait: bool = False,
    every: float | None = None,
    duration: float | None = None,
    progress: Progress | None = None,
    on_error: Callable[[Error], object] | None = None,
) -> Reports:
    """Reads an input report by report: an iterator of Report, which gives each as soon as it has come.

    >>> for report in reports("bench.hid"):
    ...     print(report.time, report.name, report.value)

    What could not be decoded is in the iterator's `errors`; `on_error` is called with each as it
    comes. With ``host_writes=True`` there is also what a host sends to the device, whose `direction`
    is "to_device"; with ``decimal=True`` samples in `lines` are in decimal. The other parameters, and
    what is raised, are those of read().
    """
    reading = _Reading(
        source, form, report, type, device, endpoint, start, end, None, host_writes, decimal,
        Live(follow, wait, every, duration), progress)
    return Reports(reading, decimal, on_error)


_Part = TypeVar("_Part", bound=Union[Capture, Report])


class _Parts(Iterator[_Part], Generic[_Part]):
    """An input that is being read. Use it in one thread at a time; ``with`` closes it."""

    def __init__(self, reading: _Reading, on_error: Callable[[Error], object] | None) -> None:
        self._reading: _Reading | None = reading
        self._on_error = on_error
        self._is_open = reading.open_next()

    def close(self) -> None:
        """Reads no further."""
        self._reading = None

    def __enter__(self: _Self) -> _Self:
        return self

    def __exit__(self, *failure: object) -> None:
        self.close()


_Self = TypeVar("_Self", bound="_Parts[Any]")


class Batches(_Parts[Capture]):
    """An iterator of the parts of an input, made by batches()."""

    def __init__(
        self,
        reading: _Reading,
        rows: int,
        seconds: float | None,
        on_error: Callable[[Error], object] | None,
    ) -> None:
        super().__init__(reading, on_error)
        self._rows = rows
        self._seconds = seconds

    def __next__(self) -> Capture:
        reading = self._reading
        if reading is None:
            raise StopIteration
        while self._is_open and not reading.stream.fill(self._rows, self._seconds):
            self._is_open = reading.open_next()
        if not self._is_open:
            self.close()
        batch = reading.take()
        if self._on_error:
            for error in batch.errors:
                self._on_error(error)
        if not self._is_open and not len(batch) and not batch.errors.total:
            raise StopIteration
        return batch


class Reports(_Parts[Report]):
    """An iterator of the reports of an input, made by reports()."""

    def __init__(
        self, reading: _Reading, decimal: bool, on_error: Callable[[Error], object] | None
    ) -> None:
        super().__init__(reading, on_error)
        self._errors = Errors()
        self._decoder = plugin_decoder(decimal)

    @property
    def errors(self) -> Errors:
        """What could not be decoded so far."""
        return self._errors

    @property
    def remarks(self) -> list[str]:
        """What people should know of how live devices are read, since it was asked for last."""
        return self._reading.stream.take_remarks() if self._reading else []

    def __next__(self) -> Report:
        reading = self._reading
        while reading is not None and self._is_open:
            found = reading.stream.next()
            if found is None:
                self._is_open = reading.open_next()
            elif found[0]:
                return from_native(found, self._decoder)
            else:
                self._errors._add([found], {found[1]: 1})
                if self._on_error:
                    self._on_error(Error(*found[1:]))
        self.close()
        raise StopIteration


class _Reading:
    """Inputs, and the stream that reads them one after another."""

    def __init__(
        self,
        source: Inputs,
        form: str | None,
        report: Ids | None,
        type: str | None,
        device: str | tuple[int, int] | None,
        endpoint: int | None,
        start: Moment | None,
        end: Moment | None,
        columns: Columns | None,
        host_writes: bool,
        decimal: bool,
        live: Live,
        progress: Progress | None,
    ) -> None:
        if progress is not None and not callable(progress):
            raise TypeError("progress= is something to call with a number of bytes")
        sources = [(one, device_of(one)) for one in _sources(source)]
        files = [one for one, live_one in sources if live_one is None]
        self._sources = iter(files)
        self._devices = [live_one for _, live_one in sources if live_one is not None]
        for live_one in self._devices if files else ():
            live_one.close()  # nobody reads it while files are read
        self._live = live
        chosen = _chosen(columns)
        self._empty = library.shapes(chosen) if chosen else SHAPES
        first, last = _moment(start, "start="), _moment(end, "end=")
        if first is not None and last is not None and first > last:
            raise ValueError("start= is later than end=")
        ids = _ids(report)
        files_only = {"form": form, "device": device, "endpoint": endpoint}
        live.check([one.name for one in self._devices], ids, type, files_only)
        self.stream = _native.Stream(
            library=library,
            form=_optional(form, str, "form="),
            reports=ids,
            type=_optional(type, str, "type="),
            device=_device(device),
            endpoint=_endpoint(endpoint),
            start=first,
            end=last,
            host_writes=host_writes,
            decimal=decimal,
            columns=chosen,
            progress=progress,
        )

    def open_next(self) -> bool:
        """Begins the next input; false behind the last one."""
        for source in self._sources:
            _open(self.stream, source)
            return True
        if self._devices:
            devices, self._devices = self._devices, []
            self.stream.open_devices(devices, *self._live)
            return True
        return False

    def take(self) -> Capture:
        return take(self.stream, self._empty, Errors())


def _is_path(source: object) -> bool:
    return isinstance(source, (str, os.PathLike))


def _holds_bytes(source: object) -> bool:
    try:
        memoryview(source)  # type: ignore[arg-type]
        return True
    except TypeError:
        return False


def _check(source: object) -> None:
    if not (_is_path(source) or _holds_bytes(source) or callable(getattr(source, "read", None))):
        raise TypeError(
            "an input is a path, bytes, or a binary file object, or a list of such, not "
            + source.__class__.__name__)


def _sources(source: Any) -> list[Any]:
    """All inputs, of which none is opened yet."""
    sources = list(source) if isinstance(source, (list, tuple)) else [source]
    for one in sources:
        _check(one)
    return sources


def _open(stream: _native.Stream, source: Any) -> None:
    if _is_path(source):
        path = os.fspath(source)
        descriptor = os.open(path, os.O_RDONLY | os.O_CLOEXEC)
        if stat.S_ISDIR(os.fstat(descriptor).st_mode):
            os.close(descriptor)
            raise IsADirectoryError(errno.EISDIR, os.strerror(errno.EISDIR), path)
        stream.open_descriptor(descriptor, encoded(os.fsdecode(path)))
    elif _holds_bytes(source):
        stream.open_bytes(source, encoded(f"<{source.__class__.__name__}>"))
    else:
        name = getattr(source, "name", None)
        if not isinstance(name, str) or not name:
            name = f"<{source.__class__.__name__}>"
        stream.open_file(source, encoded(name))


def _optional(value: Any, kind: Any, what: str) -> Any:
    if value is not None and not isinstance(value, kind):
        raise TypeError(f"{what} is {kind.__name__}, not {value.__class__.__name__}")
    return value


def _ids(report: Ids | None) -> list[int]:
    if report is None:
        return []
    wanted = [report] if isinstance(report, (int, str)) else list(report)
    if not wanted:
        raise ValueError("report=: an empty selection; None is for all reports")
    return [id for one in wanted for id in _meant(one)]


def _meant(report: object) -> list[int]:
    """The IDs that a number, "0x76" or the name of a table stand for."""
    if isinstance(report, bool) or not isinstance(report, (int, str)):
        raise TypeError(f"report= is an ID, such as 0x76, not {report.__class__.__name__}")
    if isinstance(report, str):
        named = [info.id for info in REPORTS if report in (info.name, info.decoder)]
        if named:
            return named
        try:
            number = int(report, 0)
        except ValueError:
            raise ValueError(f"report={report!r}: no decoder has this name") from None
    else:
        number = report
    if any(info.id == number for info in REPORTS):
        return [number]
    meant = [f"; did you mean 0x{number}?" for info in REPORTS if f"{info.id:x}" == str(number)]
    raise ValueError(f"report={report!r}: no decoder reads report 0x{number:02X}" + "".join(meant))


def _device(device: str | tuple[int, int] | None) -> tuple[int, int] | None:
    if device is None:
        return None
    if isinstance(device, str):
        parts: Sequence[Any] = device.split(":")
    elif isinstance(device, tuple):
        parts = device
    else:
        raise TypeError(f'device= is "1:5" or (1, 5), not {device.__class__.__name__}')
    try:
        bus, address = (int(part, 0) if isinstance(part, str) else int(part) for part in parts)
    except (TypeError, ValueError):
        bus = address = -1
    if not (0 <= bus <= 65535 and 0 <= address <= 65535):
        raise ValueError(f"device={device!r}: a device is BUS:DEV, such as 1:5")
    return bus, address


def _endpoint(endpoint: int | None) -> int | None:
    number = _optional(endpoint, int, "endpoint=")
    if number is None:
        return None
    if number < 0 or number & ~0x8F:
        raise ValueError(f"endpoint={endpoint}: an endpoint is 0 to 15, or 0x81 to 0x8F")
    return int(number) & 0x0F


def _moment(moment: object, what: str) -> int | None:
    """In microseconds."""
    if isinstance(moment, np.datetime64):
        found = None if np.isnat(moment) else int(moment.astype("M8[us]").astype(np.int64))
    elif isinstance(moment, datetime.datetime):
        zoned = moment.tzinfo is not None
        since = moment - _EPOCH if zoned else None
        found = None if since is None else since // datetime.timedelta(microseconds=1)
    elif isinstance(moment, str):
        found = _native.moment(moment)
    elif moment is None:
        return None
    elif isinstance(moment, (int, float, np.number)) and not isinstance(moment, bool):
        seconds = float(moment)
        found = round(seconds * 1e6) if abs(seconds) < 2**63 / 1e6 else None
    else:
        raise TypeError(f"{what} is a moment, not {moment.__class__.__name__}")
    if found is None:
        raise ValueError(
            f"{what}{moment!r}: a moment is seconds, such as 12.5, or a date and time with its zone, "
            "such as 2023-11-14T22:13:20Z")
    return found


def _chosen(columns: Columns | None) -> dict[str, tuple[str, ...]]:
    """The columns to keep, by decoder."""
    chosen: dict[str, tuple[str, ...]] = {}
    for key, names in (columns or {}).items():
        try:
            decoder = decoder_of(key)
        except KeyError:
            shown = f"0x{key:02X}" if isinstance(key, int) else repr(key)
            raise ValueError(f"columns=: no decoder reads {shown}") from None
        if isinstance(names, str):
            raise TypeError(f"columns=: a list of names, such as [{names!r}], not a string")
        wanted = tuple(names)
        known = [column[0] for column in SHAPES[decoder][0]]
        has_keys = len(known) > COMMON  # or nobody knows them before the first report
        for name in wanted:
            if has_keys and name not in known:
                raise ValueError(f"columns=: {key!r} has no {name!r}; it has {', '.join(known)}")
        chosen[decoder] = chosen.get(decoder, ()) + wanted
    return chosen
