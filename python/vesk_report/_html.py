"""What notebooks show."""

from __future__ import annotations

from typing import TYPE_CHECKING

if TYPE_CHECKING:
    from ._capture import Capture
    from ._report import Report
    from ._table import Table


def of_table(table: Table) -> str:
    return ""


def of_capture(capture: Capture) -> str:
    return ""


def of_report(report: Report) -> str:
    return ""
