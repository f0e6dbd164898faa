#!/usr/bin/env python3
"""Pack a folder of inputs for a fuzzer into one file of text, and unpack it.

    corpus.py pack FOLDER FILE
    corpus.py unpack FILE FOLDER

An input is a line in base64, and the lines are sorted: the same inputs always make the same file, and
a new one adds a line. Unpacked, an input is named by its SHA-1, as libFuzzer names what it finds;
what the folder held before goes away.
"""

import base64
import hashlib
import shutil
import sys
from pathlib import Path


def pack(folder, file):
    inputs = {path.read_bytes() for path in folder.iterdir()} - {b""}  # every fuzzer tries none
    lines = sorted(base64.b64encode(content).decode() for content in inputs)
    file.write_text("".join(f"{line}\n" for line in lines))


def unpack(file, folder):
    inputs = [base64.b64decode(line, validate=True) for line in file.read_text().splitlines()]
    if folder.exists():
        shutil.rmtree(folder)
    folder.mkdir(parents=True)
    for content in inputs:
        (folder / hashlib.sha1(content).hexdigest()).write_bytes(content)


def main():
    match sys.argv[1:]:
        case ["pack", folder, file]:
            pack(Path(folder), Path(file))
        case ["unpack", file, folder]:
            unpack(Path(file), Path(folder))
        case _:
            sys.exit(__doc__)


if __name__ == "__main__":
    main()
