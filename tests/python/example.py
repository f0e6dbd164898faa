"""A program as users write it, for the checker of types."""

from __future__ import annotations

import numpy as np
import numpy.typing as npt

import vesk_report


def noise(path: str) -> npt.NDArray[np.float64]:
    """Of each channel, over all frames."""
    total, squares, count = np.zeros((4, 48)), np.zeros((4, 48)), 0
    for batch in vesk_report.batches(path, rows=10_000, columns={0x76: ["D_SCAN_I", "D_SCAN_Q"]}):
        frames = batch.image.frames.astype(np.float64)
        total[: frames.shape[1]] += frames.sum(axis=0)
        squares[: frames.shape[1]] += (frames**2).sum(axis=0)
        count += len(frames)
    return np.sqrt(squares / count - (total / count) ** 2)


def first_error(path: str) -> str | None:
    capture: vesk_report.Capture = vesk_report.read(path, report=[0x76, "0xE1"], device=(1, 5))
    errors: vesk_report.Errors = capture.errors
    return f"{errors[0].code}: {errors[0]}" if errors else None


def versions(path: str) -> list[str]:
    column = vesk_report.read(path).version["value"]
    assert isinstance(column, vesk_report.TextColumn)
    return list(column)


def states() -> list[object]:
    found = []
    with vesk_report.reports(b"de 01\n", on_error=lambda error: found.append(error.code)) as reports:
        for report in reports:
            found.append(report.name)
    plugin = vesk_report.Plugin(decimal=True)
    return [*found, plugin.decode(b"\xde\x01").value, vesk_report.__version__]


if __name__ == "__main__":
    print(states())
