"""What the tests of vesk-emulate share. VESK_EMULATE and VESK_DECODE name the programs."""

import glob
import io
import os
import subprocess
import sys
import tempfile
import unittest
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

HERE = Path(__file__).resolve().parent
ROOT = HERE.parents[1]
SAMPLES = ROOT / "samples"
EMULATOR = os.environ["VESK_EMULATE_PROGRAM"]
DECODER = os.environ["VESK_DECODE"]
PROBE = os.environ["VESK_PROBE"]

BAD_USAGE, CANNOT_EMULATE = 2, 3

# Three feature reports of one ID, one of another, and input reports that count.
FEATURES = "feature de 01\nfeature de 02\nfeature de 03\nfeature d0 34 2e 31 00\n"


def inputs(count, size=4):
    """Input reports with their numbers, from 0, in their second and third byte."""
    return "".join(
        f"input 76 {number & 255:02x} {number >> 8:02x}{' aa' * (size - 3)}\n"
        for number in range(count))


class EmulateTest(unittest.TestCase):
    """A test with a folder of its own, in which the emulator makes its own."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.environment = {
            **os.environ, "TMPDIR": str(self.folder), "PYTHONPATH": str(HERE),
            "PYTHONDONTWRITEBYTECODE": "1", "LC_ALL": "C.UTF-8"}

    def file(self, name, content):
        path = self.folder / name
        path.write_bytes(content if isinstance(content, bytes) else content.encode())
        return path

    def start(self, *words, **options):
        return subprocess.Popen(
            [EMULATOR, *map(str, words)], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
            stderr=subprocess.PIPE, text=True, env=self.environment, **options)

    def run_words(self, *words):
        with self.start(*words) as process:
            try:
                out, err = process.communicate(timeout=600)
            except subprocess.TimeoutExpired:
                process.terminate()
                raise
            return process.returncode, out, err

    def emulate(self, capture, script, *options, status=0, err=""):
        """What a script prints that runs under emulation of one capture, or of several."""
        captures = capture if isinstance(capture, list) else [capture]
        files = [
            one if isinstance(one, Path) else self.file(f"capture{index}", one)
            for index, one in enumerate(captures)]
        command = [sys.executable, "-c", "from node import *\n" + script]
        got, out, messages = self.run_words(*options, *files, "--", *command)
        self.assertEqual((got, messages.replace(f"{self.folder}/", "")), (status, err), out)
        return out.splitlines()

    def left_behind(self):
        return glob.glob(f"{self.folder}/vesk-emulate.*")


def run_side_by_side():
    """As unittest.main(), but that the classes of a program's tests, which mostly wait, do so together."""
    loaded = unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"])
    suites = [suite for suite in loaded if suite.countTestCases()]
    shown = [io.StringIO() for _ in suites]

    def run(suite, stream):
        return unittest.TextTestRunner(stream).run(suite).wasSuccessful()

    with ThreadPoolExecutor(len(suites)) as threads:
        passed = list(threads.map(run, suites, shown))
    for stream in shown:
        sys.stderr.write(stream.getvalue())
    sys.exit(not (passed and all(passed)))


def counts(requests=0, sent=0, dropped=0, writes=0, node="/dev/hidraw9"):
    """The line of --stats."""
    return (f"vesk-emulate: {node}: {requests} requests, {sent} reports sent, {dropped} dropped, "
            f"{writes} writes\n")

