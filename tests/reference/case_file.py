"""The files of tests/cases: a report of our own making, and what it must decode to.

    # a state that has a name

    [report]
    feature de 01

    [lines]
    |ADC Dump State: SINGLE|

    [object]
    string "SINGLE"

The bytes of the report may go on in further lines. Each line of text stands between bars: blanks at
its end are seen, and no editor takes them away. `nil` stands for nothing, `throws` for an exception.
[decimal lines], the text under -decimal, is there in the cases that are about it.
"""

from dataclasses import dataclass, field
from pathlib import Path

CASES = Path(__file__).resolve().parent.parent / "cases"
TYPES = {"input": 0, "feature": 2}
SECTIONS = ["report", "lines", "decimal lines", "object"]
BYTES_PER_ROW = 32


@dataclass
class CaseFile:
    """A case; its expectations are the lines of their sections, by the sections' names."""

    name: str
    shows: str
    report_type: int
    report: bytes
    expected: dict = field(default_factory=dict)

    def text(self):
        """The content of the file."""
        word = {number: word for word, number in TYPES.items()}[self.report_type]
        rows = [
            self.report[start : start + BYTES_PER_ROW].hex(" ")
            for start in range(0, len(self.report), BYTES_PER_ROW)
        ]
        sections = {"report": [word + " " + rows[0], *rows[1:]], **self.expected}
        return "# %s\n" % self.shows + "".join(
            "\n[%s]\n%s\n" % (heading, "\n".join(lines)) for heading, lines in sections.items()
        )


def read(path):
    """The case in a file. Raises ValueError if there is none."""
    shows, sections = [], {}
    lines = shows
    # Not splitlines(): the text of a report may hold what that takes for an end of a line.
    for number, line in enumerate(path.read_bytes().decode().split("\n"), 1):
        if line.startswith("[") and line.endswith("]"):
            heading = line[1:-1]
            if heading not in SECTIONS or heading in sections:
                raise ValueError("%s:%d: %s is no section, or there twice" % (path, number, line))
            lines = sections[heading] = []
        elif line:
            lines.append(line)
    try:
        word, *digits = " ".join(sections.pop("report")).split()
        report = bytes(int(byte, 16) for byte in digits)
        return CaseFile(path.stem, " ".join(shows).lstrip("# "), TYPES[word], report, sections)
    except (KeyError, ValueError) as error:
        raise ValueError("%s: no report: %s" % (path, error)) from None


def read_all():
    """Every case, by name."""
    return [read(path) for path in sorted(CASES.glob("*.txt"))]


def barred(text):
    """The lines of a text, each of which ends with a newline, as they stand in a file."""
    return ["|%s|" % line for line in text.split("\n")[:-1]]
