"""Reports and inputs that the tests make by hand."""

import os
import struct
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SAMPLES = ROOT / "samples"
FORMS = SAMPLES / "forms"
TOUR = SAMPLES / "tour.hex"

STATE = b"\xde\x01"


def frame(number=0, first=0, last=0):
    """An image frame: its number, and the first and the last of its 4 times 48 samples."""
    samples = [first, *[0] * 190, last]
    return (
        struct.pack("<BBHIII", 0x76, 1, 2, number, 3, 4)
        + struct.pack("<192i", *samples)
        + struct.pack("<If", 5, 25.5)
    )


def hex_lines(*reports):
    return "".join(report.hex(" ") + "\n" for report in reports).encode()


def run_python(code, *arguments, timeout=600, **options):
    """Runs a program of Python's in a process of its own; `code` finds the package."""
    environment = {**os.environ, "PYTHONPATH": os.environ["VESK_PACKAGE"]}
    return subprocess.run(
        [sys.executable, "-B", "-c", code, *map(str, arguments)],
        capture_output=True, text=True, timeout=timeout, check=False, env=environment, **options)
