#!/usr/bin/env python3
"""Put the tests of several builds into one, so that one run of ctest has one summary.

    join_tests.py PRESET... > CTestTestfile.cmake

The tests are those that the test preset of that name chooses. A test goes by its build's name and its
own, as "dev: Buffer.IsRead", and has the build's name as a label. A build that has no tests to show
adds one that fails.
"""

import json
import subprocess
import sys
from pathlib import Path

# Names that are known within one build only.
OWN = {"DEPENDS", "FIXTURES_SETUP", "FIXTURES_CLEANUP", "FIXTURES_REQUIRED"}


def quoted(text):
    assert "]=]" not in text, text
    return f"[=[{text}]=]"


def value_of(name, value, preset):
    values = value if isinstance(value, list) else [value]
    if name in OWN:
        values = [f"{preset}: {one}" for one in values]
    assert not any(isinstance(one, dict) for one in values), name
    return ";".join("ON" if one is True else "OFF" if one is False else str(one) for one in values)


def tests_of(preset):
    listed = subprocess.run(
        ["ctest", "--preset", preset, "--show-only=json-v1"],
        stdout=subprocess.PIPE, check=False)
    return json.loads(listed.stdout)["tests"] if listed.returncode == 0 else []


def joined(test, preset):
    name = quoted(f"{preset}: {test['name']}")
    # A program that was not built has no command; that must fail, not go by unseen.
    command = test.get("command", [f"{test['name']}: not built"])
    yield f"add_test({name} {' '.join(map(quoted, command))})"
    properties = {one["name"]: one["value"] for one in test.get("properties", [])}
    properties["LABELS"] = [*properties.get("LABELS", []), preset]
    # What ctest knows as one test takes longer than one of a program's hundreds: it goes first.
    properties.setdefault("COST", 0 if any("--gtest_filter" in word for word in command) else 10)
    for key, value in properties.items():
        yield f"set_tests_properties({name} PROPERTIES {key} {quoted(value_of(key, value, preset))})"


def main():
    for preset in sys.argv[1:]:
        nothing = {"name": "tests", "command": ["ctest", "--preset", preset],  # says why there are none
                   "properties": [{"name": "WORKING_DIRECTORY", "value": str(Path.cwd())}]}
        for test in tests_of(preset) or [nothing]:
            print("\n".join(joined(test, preset)))


if __name__ == "__main__":
    main()
