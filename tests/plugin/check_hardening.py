#!/usr/bin/env python3
"""Check that a released program or library is hardened.

    check_hardening.py FILE...
"""

import re
import subprocess
import sys


def readelf(option, file):
    done = subprocess.run(["readelf", "--wide", option, file], check=True, capture_output=True, text=True)
    return done.stdout


def missing(file):
    """What a file lacks, in words."""
    dynamic = readelf("--dynamic", file)
    segments = readelf("--segments", file)
    symbols = readelf("--dyn-syms", file)
    if not re.search(r"Type: +DYN ", readelf("--file-header", file)):
        yield "it does not run at any address"
    if not re.search(r"GNU_RELRO", segments):
        yield "its relocations stay writable"
    if not re.search(r"BIND_NOW|FLAGS.*\bNOW\b", dynamic):
        yield "its functions are bound when they are called"
    if not re.search(r"GNU_STACK .* RW +0x", segments):
        yield "its stack is executable"
    if "__stack_chk_fail" not in symbols:
        yield "its stack is not protected"


def main(files):
    failures = [f"{file}: {what}" for file in files for what in missing(file)]
    print("\n".join(failures))
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
