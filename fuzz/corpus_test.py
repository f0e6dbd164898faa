#!/usr/bin/env python3
"""What is packed into fuzz/corpus comes out as it went in, and packs into the same file again."""

import hashlib
import tempfile
import unittest
from pathlib import Path

import corpus

CORPUS = Path(__file__).resolve().parent / "corpus"


class Corpus(unittest.TestCase):
    def setUp(self):
        self.scratch = Path(self.enterContext(tempfile.TemporaryDirectory()))

    def test_folder_to_file_and_back(self):
        inputs = [b"\0", b"\n", b"\r\n", b"\xff" * 1024, b"text", bytes(range(256))]
        found = self.scratch / "found"
        found.mkdir()
        for number, content in enumerate(inputs):
            (found / f"input {number}").write_bytes(content)
        (found / "text again").write_bytes(b"text")
        (found / "nothing").write_bytes(b"")
        corpus.pack(found, self.scratch / "packed")

        unpacked = self.scratch / "unpacked"
        unpacked.mkdir()
        (unpacked / "left from before").write_bytes(b"old")
        corpus.unpack(self.scratch / "packed", unpacked)
        files = {path.name: path.read_bytes() for path in unpacked.iterdir()}
        self.assertEqual(files, {hashlib.sha1(content).hexdigest(): content for content in inputs})

    def test_file_is_lines_of_base64(self):
        (self.scratch / "found").mkdir()
        for name, content in {"1": b"Man", "2": b"Ma", "3": b"\xfb\xff"}.items():
            (self.scratch / "found" / name).write_bytes(content)
        corpus.pack(self.scratch / "found", self.scratch / "packed")
        self.assertEqual((self.scratch / "packed").read_text(), "+/8=\nTWE=\nTWFu\n")

    def test_damaged_file_is_refused(self):
        (self.scratch / "packed").write_text("TWFu\nTW!Fu\n")
        with self.assertRaises(ValueError):
            corpus.unpack(self.scratch / "packed", self.scratch / "unpacked")

    def test_what_is_kept_packs_into_the_same_file(self):
        kept = sorted(CORPUS.iterdir())
        self.assertGreater(len(kept), 0)
        for file in kept:
            with self.subTest(file.name):
                corpus.unpack(file, self.scratch / file.stem)
                corpus.pack(self.scratch / file.stem, self.scratch / file.name)
                self.assertEqual((self.scratch / file.name).read_bytes(), file.read_bytes())
                count = len(file.read_text().splitlines())
                self.assertEqual(len(list((self.scratch / file.stem).iterdir())), count)


if __name__ == "__main__":
    unittest.main()
