#!/usr/bin/env python3
"""Which folder includes headers of which: the arrows of HACKING.md. A new arrow is a decision, and is
written down here."""

import re
import unittest
from collections import defaultdict
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]

# A folder, and those that it may include, besides itself. "host" are the files right in it.
ALLOWED = {
    "text": "",
    "model": "text",
    "plugin": "text model",
    "reports": "text model plugin",
    "host": "text plugin inputs run",
    "host/changes": "host",
    "host/columns": "host outputs plugin",
    "host/inputs": "text host",
    "host/layout": "host",
    "host/limits": "text host outputs plugin writing",
    "host/live": "text host writing",
    "host/outputs": "text host changes layout limits writing",
    "host/read": "host inputs",
    "host/run": "text host inputs outputs changes limits live writing",
    "host/writing": "text",
    "emulate": "text host inputs writing run",
    "python/native": "host plugin columns inputs live outputs read run",
    "viewer/native": "host changes columns inputs layout outputs writing",
}


def folder_of(file):
    parts = Path(file).parts
    if parts[0] == "host":
        return "/".join(parts[:2]) if len(parts) > 2 else "host"
    return "/".join(parts[:2]) if parts[0] in ("python", "viewer") else parts[0]


def files_under(folders):
    files = (file for folder in folders for file in (ROOT / folder).rglob("*"))
    return [str(file.relative_to(ROOT)) for file in files if file.suffix in (".h", ".cpp", ".c")]


def includes(file):
    return re.findall(r'^#include "([^"]+)"', (ROOT / file).read_text(), re.MULTILINE)


class Includes(unittest.TestCase):
    def setUp(self):
        folders = {folder.split("/")[0] for folder in ALLOWED}
        self.found = defaultdict(set)  # by folder, what its files include of others
        for file in files_under(sorted(folders)):
            for header in includes(file):
                if folder_of(file) != folder_of(header):
                    self.found[folder_of(file)].add((file, header))

    def test_the_arrows(self):
        self.assertEqual(set(self.found), {folder for folder, others in ALLOWED.items() if others})
        for folder, pairs in self.found.items():
            others = {self.named(other) for other in ALLOWED[folder].split()}
            for file, header in sorted(pairs):
                with self.subTest(file=file):
                    self.assertIn(folder_of(header), others, f"{file} includes {header}")
            with self.subTest(folder=folder):
                taken = {folder_of(header) for _, header in pairs}
                self.assertEqual(taken, others, "an arrow that nothing needs")

    def named(self, other):
        return f"host/{other}" if f"host/{other}" in ALLOWED else other

    def test_the_plugin_is_seen_by_its_interface(self):
        for folder, pairs in self.found.items():
            if folder in ("plugin", "reports"):
                continue
            for file, header in pairs:
                if folder_of(header) == "plugin":
                    self.assertEqual(header, "plugin/vesk_plugin.h", file)

    def test_outputs_know_of_limits_the_verdict(self):
        known = {header for _, header in self.found["host/outputs"] if folder_of(header) == "host/limits"}
        self.assertEqual(known, {"host/limits/Verdict.h"})


if __name__ == "__main__":
    unittest.main()
