#!/usr/bin/env python3
"""Every report that the plug-in knows has what belongs to a report: a case, a second decoder, a
reference of the benchmarks, a sample, its place in the documents. Whoever adds one and leaves something out
is told what, and where it is described.

VESK_DECODE names the program.
"""

import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
sys.path.insert(0, str(ROOT / "tests" / "reference"))
import case_file  # noqa: E402 - only found through the line above
import recipe  # noqa: E402
import vesk_reference  # noqa: E402

TYPES = case_file.TYPES
SAMPLES = ROOT / "samples"


def listed_reports():
    """(type, report ID) of each report, as the program lists them."""
    listing = subprocess.run(
        [os.environ["VESK_DECODE"], "--list-reports"], capture_output=True, text=True, check=True
    ).stdout
    rows = re.findall(r"^(input|feature) +0x([0-9A-F]{2}) ", listing, re.M)
    assert len(rows) == len(listing.splitlines()) - 1, listing  # a heading, and nothing else
    return [(TYPES[word], int(digits, 16)) for word, digits in rows]


LISTED = listed_reports()


def reports_with_a_case():
    """Those of which a case has lines or an object: what is refused shows nothing of a decoder."""
    for case in case_file.read_all():
        if any(lines not in (["nil"], ["throws"]) for lines in case.expected.values()):
            yield case.report_type, case.report[0]


def reports_of_the_tour():
    for line in (SAMPLES / "tour.hex").read_text().splitlines():
        if not line.startswith("#"):
            word, first = line.split()[:2]
            yield TYPES[word], int(first, 16)


def reports_of_the_readme():
    rows = re.findall(r"^\| (0x[^|]*) \| (\w+) \|", (ROOT / "README.md").read_text(), re.M)
    for digits, word in rows:
        for report_id in digits.split(","):
            yield TYPES[word], int(report_id, 16)


def reports_of_the_page():
    text = (ROOT / "docs" / "reports.md").read_text(encoding="utf-8")
    sections = re.findall(r"^## (0x[^:]*):.*\n\n(\w+) report", text, re.M)
    for digits, word in sections:
        for report_id in digits.split(","):
            yield TYPES[word.lower()], int(report_id, 16)


def reports_of_the_benchmarks():
    known = {report_id: report_type for report_type, report_id in LISTED}
    for path in (ROOT / "bench" / "references").glob("*.cpp"):
        for digits in re.findall(r"\.ids = \{([^}]*)\}", path.read_text()):
            for report_id in digits.split(","):
                yield known.get(int(report_id, 16)), int(report_id, 16)


class EveryReport(unittest.TestCase):
    def expect_all(self, what, found):
        found = set(found)
        lacking = [recipe.lacks(report_id, what) for kind, report_id in LISTED
                   if (kind, report_id) not in found]
        for kind, report_id in sorted(found - set(LISTED), key=str):
            lacking.append("the plug-in does not list report 0x%02X of type %s, of which there is "
                           "what others are asked for" % (report_id, kind))
        if lacking:
            self.fail("\n".join(["", *lacking]))

    def test_has_a_case(self):
        self.expect_all("case", reports_with_a_case())

    def test_has_a_second_decoder(self):
        layouts = vesk_reference.LAYOUTS
        self.expect_all("reference", [(row.report_type, row.report_id) for row in layouts])

    def test_has_a_reference_of_the_benchmarks(self):
        self.expect_all("bench", reports_of_the_benchmarks())

    def test_has_a_sample(self):
        self.expect_all("sample", reports_of_the_tour())

    def test_has_a_row_in_the_readme(self):
        self.expect_all("readme", reports_of_the_readme())

    def test_has_a_section_in_the_page(self):
        self.expect_all("page", reports_of_the_page())


class Samples(unittest.TestCase):
    def test_are_what_their_program_writes(self):
        checked = subprocess.run(
            [sys.executable, "-B", SAMPLES / "make_samples.py", "--check"],
            capture_output=True,
            text=True,
        )
        self.assertEqual(checked.stdout + checked.stderr, "")


if __name__ == "__main__":
    unittest.main()
