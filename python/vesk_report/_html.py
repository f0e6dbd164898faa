"""What notebooks show. No script: an exported notebook looks the same."""

from __future__ import annotations

import base64
import html
import struct
import zlib
from typing import TYPE_CHECKING, Any, Iterable

import numpy as np
import numpy.typing as npt

if TYPE_CHECKING:
    from ._capture import Capture
    from ._report import Report
    from ._table import Table

_ROWS = 10  # of a table
_COLUMNS = 12
_ERRORS = 10
_CELL = 8, 16  # pixels, width and height
_LONGEST = 1024  # numbers in a row of a picture

# From dark and low to bright and high, for every kind of colour vision.
_STOPS = ((0, 9, 40), (42, 42, 110), (120, 60, 130), (205, 85, 100), (250, 150, 70), (255, 240, 180))


def _palette() -> bytes:
    places = np.linspace(0, len(_STOPS) - 1, 256)
    colours = [np.interp(places, range(len(_STOPS)), channel) for channel in zip(*_STOPS)]
    return np.stack(colours, axis=1).astype(np.uint8).tobytes()


def _chunk(name: bytes, content: bytes) -> bytes:
    checksum = zlib.crc32(name + content)
    return struct.pack(">I", len(content)) + name + content + struct.pack(">I", checksum)


def png(numbers: npt.NDArray[Any]) -> bytes:
    """Rows of numbers as a picture of a pixel a number. Each row has all colours, from its least to
    its greatest number; what is no number is dark."""
    values = numbers.astype(np.float64)
    is_number = np.isfinite(values)
    low = np.min(values, axis=1, keepdims=True, initial=np.inf, where=is_number)
    high = np.max(values, axis=1, keepdims=True, initial=-np.inf, where=is_number)
    with np.errstate(all="ignore"):
        share = (values - low) / (high - low)
    indexes = np.round(255 * np.nan_to_num(np.clip(share, 0, 1))).astype(np.uint8)
    height, width = indexes.shape
    rows = np.zeros((height, width + 1), np.uint8)  # each row behind the number of its filter, none
    rows[:, 1:] = indexes
    return b"".join(
        [
            b"\x89PNG\r\n\x1a\n",
            _chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 3, 0, 0, 0)),
            _chunk(b"PLTE", _palette()),
            _chunk(b"IDAT", zlib.compress(rows.tobytes())),
            _chunk(b"IEND", b""),
        ]
    )


def _picture(numbers: npt.NDArray[Any], title: str) -> str:
    """Rows of numbers as an image in the page."""
    rows = np.atleast_2d(numbers)[:, :_LONGEST]
    height, width = rows.shape
    if not rows.size:
        return ""
    data = base64.b64encode(png(rows)).decode()
    cell_width = max(1, min(_CELL[0], 640 // width))
    return (
        f'<img alt="{_text(title)}" title="{_text(title)}" '
        f'style="image-rendering: pixelated; width: {cell_width * width}px; '
        f'height: {_CELL[1] * height}px; max-width: none" src="data:image/png;base64,{data}">'
    )


def _text(value: object) -> str:
    """Escaped, and without what breaks a page: lone surrogates stand for bytes that are no UTF-8."""
    return html.escape(str(value).encode("utf-8", "replace").decode())


def _cell(value: object) -> str:
    return f"<td>{_text(value)}</td>"


def _grid(head: Iterable[object], rows: Iterable[Iterable[object]]) -> str:
    titles = "".join(f"<th>{_text(title)}</th>" for title in head)
    body = "".join(f"<tr>{''.join(map(_cell, row))}</tr>" for row in rows)
    return f"<table><thead><tr>{titles}</tr></thead><tbody>{body}</tbody></table>"


def _block(title: str, *parts: str) -> str:
    return f"<div><p><b>{_text(title)}</b></p>{''.join(parts)}</div>"


def _range(numbers: npt.NDArray[Any]) -> str:
    return f"{numbers.dtype} × {len(numbers)}, {numbers.min()} to {numbers.max()}"


def of_table(table: Table) -> str:
    """Its latest frame, and its first and last rows without arrays."""
    shown = [name for name in table if table.dtype[name].shape == ()]
    left_out = len(table.columns) - len(shown[:_COLUMNS])
    count = len(table)
    indexes = range(count) if count <= _ROWS else [
        *range(_ROWS // 2), *range(count - _ROWS // 2, count)]
    rows = [[index, *(table[index][name] for name in shown[:_COLUMNS])] for index in indexes]
    if count > _ROWS:
        rows.insert(_ROWS // 2, ["…"])
    parts = [_grid(["", *shown[:_COLUMNS]], rows)]
    if left_out:
        parts.append(f"<p>and {left_out} more columns</p>")
    if count and table.frame_keys:
        title = ", ".join(table.frame_keys)
        parts.append(f"<p>the last one: {_text(title)}</p>" + _picture(table.frames[-1], title))
    return _block(f"{table.name}: {count} reports", *parts)


def of_capture(capture: Capture) -> str:
    """How many reports of each kind there are, and the first errors."""
    rows = [
        (
            table.name,
            len(table),
            np.fmin.reduce(table["time"]),  # of those that have one
            np.fmax.reduce(table["time"]),
            len(table.columns),
        )
        for table in capture]
    parts = [_grid(["table", "reports", "from", "to", "columns"], rows)]
    errors = capture.errors
    if errors.total:
        parts.append(f"<p>{errors.total} errors</p>")
        parts.append(_grid(["code", "message"], ((e.code, e) for e in errors[:_ERRORS])))
        if errors.total > _ERRORS:
            parts.append(f"<p>and {errors.total - _ERRORS} more</p>")
    return _block(f"{len(capture)} reports", *parts)


def of_report(report: Report) -> str:
    """Its fields, arrays as pictures; or its lines, where it has no fields."""
    head = f"report 0x{report.id:02X} {report.name}"
    if report.source:
        head += f", {report.where}"
    if report.value is None:
        return _block(head, f"<pre>{_text(chr(10).join(report.lines))}</pre>")
    if isinstance(report.value, str):
        return _block(head, f"<p>{_text(report.value)}</p>")
    rows = []
    for key, value in report.value.items():
        if isinstance(value, np.ndarray) and value.size:
            kind, shown = _text(_range(value)), f"<td>{_picture(value, key)}</td>"
        else:
            kind = _text(getattr(value, "dtype", "text"))
            shown = _cell(value)
        rows.append(f"<tr>{_cell(key)}<td>{kind}</td>{shown}</tr>")
    return _block(head, f"<table><tbody>{''.join(rows)}</tbody></table>")
