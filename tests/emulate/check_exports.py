#!/usr/bin/env python3
"""Check the preloaded library: it takes the place of functions of the C library, and of nothing else;
it needs nothing but the C library; and no sanitizer is in it.

    check_exports.py LIBRARY
"""

import re
import subprocess
import sys


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def main(library):
    failures = []
    names = {line.split()[-1] for line in run("nm", "-D", "--defined-only", library).splitlines()}
    linked = run("ldd", library)
    libc = re.search(r"libc\.so\.6 => (\S+)", linked)[1]
    known = {
        line.split()[-1].partition("@")[0]
        for line in run("nm", "-D", "--defined-only", libc).splitlines()
    }
    if len(names) < 40 or not {"open", "read", "ioctl", "poll", "stat", "opendir"} <= names:
        failures.append(f"it takes the place of too few: {sorted(names)}")
    if names - known:
        failures.append(f"it exports what the C library has not: {sorted(names - known)}")
    needed = re.findall(r"NEEDED.*\[(.*)\]", run("readelf", "--dynamic", library))
    foreign = [name for name in needed if not re.fullmatch(r"(libc|ld-linux.*)\.so\..*", name)]
    if foreign:
        failures.append(f"it depends on {foreign}")
    for failure in failures:
        print(failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
