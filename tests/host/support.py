"""What the tests of vesk-decode share: how to run it, and reports to run it on."""

import base64
import gzip
import importlib.util
import json
import os
import re
import resource
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
SAMPLES = ROOT / "samples"
FORMS = SAMPLES / "forms"
PROGRAM = os.environ["VESK_DECODE"]

# A sanitizer reserves terabytes of addresses.
SANITIZED = bool(os.environ.get("VESK_SANITIZE"))

ALL_DECODED, SOME_REFUSED, BAD_USAGE, CANNOT_READ_OR_WRITE, NO_PLUGIN, LIMIT_NOT_KEPT = range(6)


def load_maker():
    location = importlib.util.spec_from_file_location("make_forms", FORMS / "make_forms.py")
    module = importlib.util.module_from_spec(location)
    location.loader.exec_module(module)
    return module


maker = load_maker()
TOUR = list(maker.read_reports(SAMPLES / "tour.hex"))

STATE = bytes([0xDE, 1])
STATE_LINES = b"\nADC Dump State: SINGLE\n\n"


def image(frame):
    return struct.pack("<BBHIII", 0x76, 1, 2, frame, 3, 4) + bytes(4 * 192) + struct.pack("<If", 5, 25.5)


def packet(number):
    return struct.pack("<B3sIII", 0x77, b"ADC", number, 2048, 4096) + bytes(range(256)) * 8


def hex_lines(*reports):
    return "".join(report.hex(" ") + "\n" for report in reports).encode()


class Run:
    """One run of the program, to its end."""

    def __init__(self, *arguments, stdin=b"", limit=None, environment=None, cwd=None):
        def set_limit():
            resource.setrlimit(resource.RLIMIT_AS, (limit, limit))

        done = subprocess.run(
            [PROGRAM, *map(str, arguments)],
            input=stdin,
            capture_output=True,
            timeout=600,
            check=False,
            cwd=cwd,
            env={**os.environ, **(environment or {})},
            preexec_fn=set_limit if limit and not SANITIZED else None,
        )
        self.status, self.out, self.err = done.returncode, done.stdout, done.stderr.decode()

    def records(self):
        return [json.loads(line) for line in self.out.splitlines()]


def forms(option):
    """The names of all forms of input or output, as the program tells them."""
    return Run(option, "?").err.split("choose one of ")[1].split(";")[0].split(", ")


def output(form):
    """The options for a form of output, with limits where it needs them."""
    limits = ["--limits", SAMPLES / "limits" / "open-short.json"]
    return ["-o", form, *(limits if form in ("tap", "results", "junit") else [])]


def page_with(version, title="stand-in"):
    """What the program needs of the viewer's page: the place for reports, and its end."""
    return (f'<!doctype html>\n<html><title>{title}</title>\n<script type="text/plain" id="carried" '
            f'data-version="{version}"></script>\n<script>go()</script>\n</html>\n')


def stand_in(version=None, title="stand-in"):
    """A page in the place of the viewer's, of the program's version."""
    return page_with(version or Run("--version").out.decode().split()[1], title).encode()


def contents_of(page):
    """What a page with reports says of them, and its recordings by the names of their blocks."""
    blocks = re.findall(rb'<script type="text/plain" id="(carried|capture-\d+)".*?>(.*?)</script>', page)
    (_, told), *captures = blocks
    told = json.loads(base64.b64decode(told, validate=True))
    captures = {
        name.decode(): gzip.decompress(base64.b64decode(content, validate=True)) for name, content in captures}
    assert list(captures) == sorted(row["block"] for row in told["captures"] if "block" in row)
    return told, captures


class HostTest(unittest.TestCase):
    """A test with a folder of its own."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content)
        return path

    def expect(self, run, status, out=None, err=None):
        """Messages may name the test's folder, which is left away to compare them."""
        messages = run.err.replace(str(self.folder) + "/", "")
        if err is not None:
            self.assertEqual(messages, err)
        if out is not None:
            self.assertEqual(run.out, out)
        self.assertEqual(run.status, status, messages)
