#!/usr/bin/env python3
"""Check what the plug-in exports: the class, the entry and blob_names, and nothing else; that it
needs nothing but the C++ standard library and libc; and that it does not read the environment.

    check_exports.py LIBRARY
"""

import re
import subprocess
import sys


def run(*command):
    return subprocess.run(command, check=True, capture_output=True, text=True).stdout


def main(library):
    names = {}  # symbol -> its letter in nm's listing
    for line in run("nm", "-D", "--defined-only", library).splitlines():
        _, letter, symbol = line.split()
        names[symbol] = letter
    members = [name for name in names if re.match(r"_ZNK?4vesk19HIDReportVeskPlugin", name)]
    others = sorted(set(names) - set(members))

    failures = []
    if others != ["blob_names", "vesk_plugin_entry"]:
        failures.append(f"exported besides the class: {others}")
    if len(members) < 30:
        failures.append(f"only {len(members)} members of the class are exported")
    if names.get("blob_names") != "D":
        failures.append(f"blob_names is {names.get('blob_names')}, not writable data (D)")

    # The section that holds blob_names, by its number in the symbol table.
    symbols = run("readelf", "--dyn-syms", "--wide", library)
    section = re.search(r"(\d+) +OBJECT +GLOBAL +DEFAULT +(\d+) blob_names$", symbols, re.M)
    if not section:
        failures.append("blob_names is no data symbol")
    else:
        if int(section[1]) != 10 * 8:
            failures.append(f"blob_names has {section[1]} bytes, not those of ten pointers")
        headers = run("readelf", "--sections", "--wide", library)
        if not re.search(rf"\[ *{section[2]}\] \.data ", headers):
            failures.append(f"blob_names is in section {section[2]}, which is not .data")

    needed = re.findall(r"NEEDED.*\[(.*)\]", run("readelf", "--dynamic", library))
    allowed = r"(libstdc\+\+|libgcc_s|libc|libm|ld-linux.*|libasan|libubsan|libtsan)\.so\..*"
    foreign = [name for name in needed if not re.fullmatch(allowed, name)]
    if foreign:
        failures.append(f"depends on {foreign}")

    # What a report looks like never depends on who decodes it.
    imported = {
        line.split()[-1].partition("@")[0]
        for line in run("nm", "-D", "--undefined-only", library).splitlines()
    }
    environment = imported & {"getenv", "secure_getenv", "__secure_getenv", "environ", "__environ"}
    if environment:
        failures.append(f"reads the environment by {sorted(environment)}")

    for failure in failures:
        print(failure)
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
