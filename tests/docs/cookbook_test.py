#!/usr/bin/env python3
"""Run the commands of docs/cookbook.md, and compare their output with what the page shows.

Blocks marked `sh` are run in bash with `set -euo pipefail`, those of one task in one scratch folder
that has samples/. A block behind one, of another kind and with nothing between them, is its standard
output. What they call ssh runs its command on this machine. VESK_DECODE names the program. With --show, print what each block gives.
"""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PAGE = ROOT / "docs" / "cookbook.md"
NEEDED = ["bash", "diff", "find", "jq", "parallel", "python3", "sed"]

# The blocks that are not run, by their first word: these and no others.
LEFT_OUT = ["import"]  # pandas is large

SSH = """#!/bin/sh
while [ "${1#-}" != "$1" ]; do shift; done
shift
[ "$1" != -- ] || shift
SHELL=/bin/sh exec sh -c "$*"  # as at a login: parallel's own part over there wants to know it
"""

BLOCK = re.compile(r"^```(\w+)\n(.*?)^```\n", re.M | re.S)


class Block:
    def __init__(self, match):
        self.language, self.text = match.groups()
        self.expected = None


def blocks_of(section):
    blocks = []
    end_of_commands = None
    for match in BLOCK.finditer(section):
        if match.start() == end_of_commands:
            blocks[-1].expected = match[2]
            end_of_commands = None
            continue
        blocks.append(Block(match))
        end_of_commands = match.end() if match[1] == "sh" else None
    return blocks


def tasks():
    sections = re.split(r"^## ", PAGE.read_text(encoding="utf-8"), flags=re.M)[1:]
    return [(section.split("\n", 1)[0], blocks_of(section)) for section in sections]


def run(block, folder):
    program = Path(os.environ["VESK_DECODE"]).resolve().parent
    path = f"{folder / 'bin'}:{program}:{os.environ['PATH']}"
    environment = {**os.environ, "PATH": path, "LC_ALL": "C.UTF-8", "HOME": str(folder)}
    return subprocess.run(
        ["bash", "-c", "set -euo pipefail\n" + block.text], cwd=folder, env=environment,
        capture_output=True, text=True, stdin=subprocess.DEVNULL, timeout=600)


def in_scratch(blocks, use):
    """Call use(block, its outcome) for those that run."""
    with tempfile.TemporaryDirectory() as folder:
        shutil.copytree(ROOT / "samples", Path(folder) / "samples")
        ssh = Path(folder) / "bin" / "ssh"
        ssh.parent.mkdir()
        ssh.write_text(SSH)
        ssh.chmod(0o755)
        for block in blocks:
            if block.language == "sh":
                use(block, run(block, Path(folder)))


class Cookbook(unittest.TestCase):
    maxDiff = None

    def test_tools_are_there(self):
        self.assertEqual([tool for tool in NEEDED if not shutil.which(tool)], [])

    def test_commands(self):
        for title, blocks in tasks():
            with self.subTest(title):
                self.assertTrue([block for block in blocks if block.language == "sh"])
                in_scratch(blocks, self.check)

    def check(self, block, outcome):
        self.assertEqual(outcome.returncode, 0, block.text + outcome.stderr)
        self.assertEqual(outcome.stderr, "", block.text)
        if block.expected is not None:
            self.assertEqual(outcome.stdout, block.expected, block.text)
        else:
            self.assertEqual(outcome.stdout, "", "the page does not show the output of\n" + block.text)

    def test_tasks_have_numbers(self):
        numbers = [title.split(".")[0] for title, _ in tasks()]
        self.assertEqual(numbers, [str(i + 1) for i in range(len(numbers))])
        self.assertGreaterEqual(len(numbers), 12)

    def test_nothing_else_is_left_out(self):
        left_out = [b for _, blocks in tasks() for b in blocks if b.language != "sh"]
        self.assertEqual([block.text.split()[0] for block in left_out], LEFT_OUT)


if __name__ == "__main__":
    if sys.argv[1:] == ["--show"]:
        def show(block, outcome):
            print(f"{block.text}--> {outcome.returncode}\n{outcome.stdout}{outcome.stderr}")

        for task, its_blocks in tasks():
            print("##", task)
            in_scratch(its_blocks, show)
    else:
        unittest.main()
