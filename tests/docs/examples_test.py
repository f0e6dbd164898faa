#!/usr/bin/env python3
"""The programs of README.md do what it says: each is saved under the name that the page gives it, and
the commands that stand below it are run as they stand, in a folder that looks like the repository.

VESK_PLUGIN names the library; CC and CXX name the compilers that the commands call cc and c++.
"""

import os
import re
import subprocess
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PROGRAM = re.compile(
    r"^```(?:c|cpp)\n(?P<text>.*?)^```\n\nSaved as `(?P<name>[^`]+)` in this folder, it prints "
    r"`(?P<output>[^`]+)`(?P<framed> between two empty lines)?:\n\n(?P<commands>(?:    [^\n]*\n)+)",
    re.M | re.S)

# The program prints through the library, which prints a report between two empty lines.
FRAME = "\n{}\n\n"


class Examples(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.folder = Path(scratch.name)
        for name in ("model", "plugin"):
            (self.folder / name).symlink_to(ROOT / name)
        (self.folder / "build/decode").mkdir(parents=True)
        (self.folder / "build/decode/lib").symlink_to(Path(os.environ["VESK_PLUGIN"]).parent)
        tools = self.folder / "tools"
        tools.mkdir()
        for name, variable in (("cc", "CC"), ("c++", "CXX")):
            (tools / name).write_text(f'#!/bin/sh\nexec {os.environ[variable]} "$@"\n')
            (tools / name).chmod(0o755)
        self.env = {**os.environ, "PATH": f"{tools}:{os.environ['PATH']}"}

    def run_program(self, program):
        (self.folder / program["name"]).write_text(program["text"])
        done = subprocess.run(["sh", "-e", "-c", program["commands"]], cwd=self.folder, env=self.env,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False)
        self.assertEqual(done.returncode, 0, done.stdout)
        return done.stdout

    def test_programs(self):
        page = (ROOT / "README.md").read_text(encoding="utf-8")
        programs = list(PROGRAM.finditer(page))
        self.assertEqual(len(programs), len(re.findall(r"^```(?:c|cpp)$", page, re.M)),
                         "a program without its name, output and commands")
        self.assertGreater(len(programs), 1)
        for program in programs:
            with self.subTest(program["name"]):
                expected = FRAME if program["framed"] else "{}\n"
                self.assertEqual(self.run_program(program), expected.format(program["output"]))


if __name__ == "__main__":
    unittest.main()
