#!/usr/bin/env python3
"""Make the man page docs/vesk-reports.5 of docs/reports.md.

    python3 scripts/make_reports_page.py [--check]

With --check, nothing is written: it exits with 1 if the man page is stale.

It knows as much Markdown as the page has: headings, paragraphs, lists of one level, tables, blocks of
code, `code`, **bold**, links and comments. Tables are laid out here, for a terminal of 80 columns: a
column "Meaning" that has no room beside the others goes below each row.
"""

import itertools
import re
import sys
import textwrap
from pathlib import Path

DOCS = Path(__file__).resolve().parents[1] / "docs"
SOURCE = DOCS / "reports.md"
PAGE = DOCS / "vesk-reports.5"

COLUMNS = 71  # of a man page's text: 78, less the margin
KIND_COLUMNS = len("unsigned long")  # of a kind that has to be on two lines
MEANING_COLUMNS = 24  # the fewest in which a meaning is readable
MEANING_MARGIN = 8  # of one below its row
TAB = 4  # in blocks of code: fewer than a terminal's, so that they have room

HEADER = r""".\" Made of reports.md by scripts/make_reports_page.py.
.TH VESK-REPORTS 5 "" "vesk-report" "File Formats"
.ad l
.\" For terminals that have no ellipsis.
.fchar \[u2026] ...
.SH NAME
vesk-reports \- fields of the HID reports of the Vesk controller
.SH DESCRIPTION
"""

UNBROKEN = "\0"  # in front of a word that is not to be hyphenated
SYMBOLS = {UNBROKEN: r"\%", "\\": r"\e", "…": r"\[u2026]", "×": r"\(mu", "—": r"\(em"}
INLINE = re.compile(r"`(?P<code>[^`]+)`|\*\*(?P<bold>.+?)\*\*|\[(?P<link>[^]]+)\]\([^)]+\)")
MAN_PAGE = re.compile(r"([\w-]+)(\(\d\))")


def escaped(text):
    return "".join(SYMBOLS.get(character, character) for character in text)


def literal(text):
    """Text whose hyphens are minus signs, as names and options have them."""
    return escaped(text).replace("-", r"\-")


def bold(text):
    return r"\fB%s\fR" % literal(text)


def unbroken(text):
    return re.sub(r"(?<!\S)(?=\S)", UNBROKEN, text)


def roff(text):
    """A run of Markdown in a paragraph."""
    made, end = [], 0
    for match in INLINE.finditer(text):
        made.append(escaped(text[end : match.start()]))
        end = match.end()
        page = MAN_PAGE.fullmatch(match["link"] or "")
        if page:
            made.append(bold(page[1]) + page[2])
        else:
            made.append(bold(unbroken(match["code"] or match["bold"] or match["link"])))
    return "".join(made) + escaped(text[end:])


def plain(text):
    """The same without its marks, for tables."""
    return INLINE.sub(lambda match: match["code"] or match["bold"] or match["link"], text)


def verbatim(lines):
    """Lines as they stand. One that begins with a dot or a quote would be taken for a request."""
    return [r"\&" + line if line[:1] in (".", "'") else line for line in lines]


def paragraph(lines):
    """Each sentence on a line of its own, so that what follows it is set apart as roff does."""
    text = " ".join(line.strip() for line in lines)
    return verbatim(re.split(r"(?<=\.) (?=[^a-z])", roff(text)))


def cells_of(line):
    return [plain(cell.strip()) for cell in line.strip().strip("|").split("|")]


def is_number(cell):
    return cell.isdigit() or cell == "—"


def laid_out(rows, gap, kind_columns):
    """Rows of equal columns, each a list of lines without blanks at their ends."""
    wrapped = [
        [
            textwrap.wrap(cell, kind_columns) if head == "Kind" else [cell]
            for head, cell in zip(rows[0], row)
        ]
        for row in rows
    ]
    widths = [max(len(line) for cell in column for line in cell) for column in zip(*wrapped)]
    numeric = [all(map(is_number, column)) for column in zip(*rows[1:])]
    made = []
    for row in wrapped:
        lines = itertools.zip_longest(*row, fillvalue="")
        made.append([
            (" " * gap).join(
                cell.rjust(width) if right else cell.ljust(width)
                for cell, width, right in zip(line, widths, numeric)
            ).rstrip()
            for line in lines
        ])
    return made


def width_of(rows):
    return max(len(line) for row in rows for line in row)


def fitting(rows):
    """The widest layout that has room."""
    layouts = (laid_out(rows, gap, kind) for kind in (COLUMNS, KIND_COLUMNS) for gap in (2, 1))
    return next(made for made in layouts if width_of(made) <= COLUMNS)


def table(lines):
    rows = [cells_of(line) for line in [lines[0], *lines[2:]]]
    if rows[0][-1] == "Meaning":
        meanings = [row.pop() for row in rows]
        made = fitting(rows)
        start = width_of(made) + 2
        if COLUMNS - start < MEANING_COLUMNS:
            made = below(made, meanings)
        else:
            made = beside(made, meanings, start)
    else:
        made = fitting(rows)
    head, *body = [line for row in made for line in row]
    return [".PP", ".EX", bold(head), *verbatim(map(literal, body)), ".EE"]


def beside(rows, meanings, start):
    made = []
    for row, meaning in zip(rows, meanings):
        pairs = itertools.zip_longest(row, textwrap.wrap(meaning, COLUMNS - start), fillvalue="")
        made.append([(left.ljust(start) + right).rstrip() for left, right in pairs])
    return made


def below(rows, meanings):
    made = [rows[0]]
    for row, meaning in zip(rows[1:], meanings[1:]):
        margin = " " * MEANING_MARGIN
        made.append(row + [margin + line for line in textwrap.wrap(meaning, COLUMNS - MEANING_MARGIN)])
    return made


def code(lines):
    return [".PP", ".EX", *verbatim(literal(line.expandtabs(TAB)) for line in lines), ".EE"]


def heading(line):
    marks, title = line.split(" ", 1)
    if marks == "##":
        return [".SH " + literal(title if title.startswith("0x") else title.upper())]
    return [".SS " + literal(title)]


def block(lines):
    first = lines[0]
    if first.startswith("#"):
        return heading(first)
    if first.startswith("|"):
        return table(lines)
    if first.startswith("```"):
        return code(lines[1:-1])
    if first.startswith("- "):
        items = re.split(r"^- ", "\n".join(lines), flags=re.M)[1:]
        return [made for item in items for made in [r".IP \(bu 2", *paragraph(item.splitlines())]]
    return [".PP", *paragraph(lines)]


def blocks_of(text):
    """Lines between empty ones; a block of code is one, whatever it holds."""
    text = re.sub(r"<!--.*?-->\n", "", text, flags=re.S)
    found = re.finditer(r"^```.*?^```$|(?:^[^\n]+\n)+", text, re.M | re.S)
    return [match[0].splitlines() for match in found]


def page():
    title, *blocks = blocks_of(SOURCE.read_text(encoding="utf-8"))
    assert title[0].startswith("# "), title[0]
    made = [line for lines in blocks for line in block(lines)]
    made = re.sub(r"^(\.S[HS] .*)\n\.PP$", r"\1", "\n".join([*made, ""]), flags=re.M)
    return HEADER + made.removeprefix(".PP\n")  # a section begins its own paragraph


def main():
    if sys.argv[1:] == ["--check"]:
        if PAGE.read_text(encoding="utf-8") != page():
            sys.exit("docs/vesk-reports.5 is stale: run scripts/make_reports_page.py")
    else:
        PAGE.write_text(page(), encoding="utf-8")


if __name__ == "__main__":
    main()
