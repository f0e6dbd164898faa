#!/usr/bin/env python3
"""docs/reports.md has every report, with exactly the keys, kinds, labels and offsets that come out.

Keys and kinds are compared with what the C interface gives. For offsets, each byte of a report is
changed by itself: the keys and lines that change must be those of the fields that the page has there.
They are also compared with the map that `vesk-decode --layout` finds. Names of values are compared for
every value.

VESK_DECODE names the program and VESK_PLUGIN the library.
"""

import ctypes
import json
import os
import re
import subprocess
import sys
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests"))
import differential  # noqa: E402 - only found through the line above

PAGE = ROOT / "docs" / "reports.md"
PROGRAM = os.environ["VESK_DECODE"]

NOTHING = "—"
VALUE = "…"
TYPES = {"input": 0, "feature": 2}
SIX_LINES = b"a\nb\nc\nd\ne\nf"
LARGEST_BY_BITS = 401  # bytes of a report whose bits are changed one by one; each bit is a report

# ------------------------------------------------------------------------------------------ the page


def cells_of(line):
    return [cell.strip() for cell in line.strip("|").split("|")]


def tables_of(text):
    """Each table: its rows as dictionaries from the head of a column to the cell."""
    found = []
    for match in re.finditer(r"^\|.*\n\|[-|]+\n((?:\|.*\n)+)", text, re.M):
        heads = cells_of(match[0].split("\n")[0])
        found.append([dict(zip(heads, cells_of(line))) for line in match[1].splitlines()])
    return found


def table_of(text, head):
    return next(table for table in tables_of(text) if head in table[0])


def codes(cell):
    return re.findall(r"`([^`]*)`", cell)


class Field:
    """A row of a table: bits of a report, and what they come out as."""

    def __init__(self, offset, size, key, kind, text, blob=None):
        self.key, self.kind, self.blob = key, kind, blob
        self.label = text  # None: no line
        found = re.fullmatch(r"(\d+)(?:, bit (\d))?", offset)
        self.first_bit = 8 * int(found[1]) + int(found[2] or 0)
        count, unit = re.fullmatch(r"(\d+)( bit)?", size).groups()
        assert (unit is None) == (found[2] is None), f"{offset}: {size}"
        self.end_bit = self.first_bit + int(count) * (1 if unit else 8)
        self.has_value = kind != NOTHING  # in the object
        self.values = int(kind.split(" × ")[0]) if " × " in kind else None
        self.pattern = None
        if text is not None:
            self.pattern = re.compile(".+".join(map(re.escape, text.split(VALUE))))
            self.is_heading = VALUE not in text

    def __repr__(self):
        return f"{self.key} ({self.label})"

    def bytes(self):
        return range(self.first_bit // 8, (self.end_bit + 7) // 8)

    def covers(self, first_bit, end_bit):
        return self.first_bit < end_bit and first_bit < self.end_bit

    def value_at(self, byte):
        """Which of an array's values has that byte."""
        size = (self.end_bit - self.first_bit) // 8 // self.values
        return (byte - self.first_bit // 8) // size


class Section:
    def __init__(self, report_id, position, title, text):
        self.report_id, self.position, self.title, self.text = report_id, position, title, text
        self.fields = []
        for table in tables_of(text):
            for row in table:
                if {"Offset", "Kind"} <= row.keys() and row["Size"] != "up to a NUL":
                    self.fields.append(self.field(row))

    def __str__(self):
        return f"report 0x{self.report_id:02X}"

    def field(self, row):
        key = (codes(row["Key"]) or [None])[0]
        texts = codes(row["Text"]) or [None]
        text = texts[self.position] if len(texts) > 1 else texts[0]
        return Field(row["Offset"], row["Size"], key, row["Kind"], text)

    def facts(self):
        """The sentence below the title: type, decoder, display name, length."""
        found = re.search(
            r"^(Feature|Input) reports?, decoder\s`(\w+)`,\s(?:display\sname\s`(\w+)`|no\sdisplay\sname);"
            r"\s(text\sof\sany\slength|at\sleast\s\d+\sbytes|exactly\s\d+\sbytes)\.", self.text, re.M)
        length = re.sub(r"exactly | bytes| of any length", "", " ".join(found[4].split()))
        return found[1].lower(), found[2], found[3] or "", length


class Page:
    def __init__(self):
        self.text = PAGE.read_text(encoding="utf-8")
        self.sections = {}
        for part in re.split(r"^## ", self.text, flags=re.M)[1:]:
            title, text = part.split("\n", 1)
            found = re.fullmatch(r"((?:0x[0-9A-F]{2}(?:, )?)+): (.*)", title)
            for position, name in enumerate(found[1].split(", ") if found else []):
                assert int(name, 16) not in self.sections, f"{name} has two sections"
                self.sections[int(name, 16)] = Section(int(name, 16), position, found[2], text)
            if title == "Black box: modules and events":
                self.add_modules(text)

    def add_modules(self, text):
        """The fields of the modules' tables, which three reports share."""
        module_id, events, counter = record = table_of(self.sections[0xE1].text, "Byte")
        assert [row["Byte"] for row in record] == ["0", "2", "4, 8, …"], record
        for part in re.split(r"^### ", text, flags=re.M)[1:]:
            module, text = part.split("\n", 1)
            rows = table_of(text, "Key")
            assert [row["0xE2"] for row in rows[:2]] == [NOTHING, NOTHING], module
            self.add_record(module, rows[0], module_id)
            self.add_record(module, rows[1], events)
            for row in rows[2:]:
                self.add_record(module, row, counter)
                self.add_option(module, row)

    @staticmethod
    def blob(module):
        return module if module.startswith("BLOB_") else None

    def add_record(self, module, cells, row):
        """A row of a module's table; `row` tells of all modules what it is."""
        name = codes(cells["Key"])[0]
        key = (codes(row["Key"]) or [name])[0].replace("<module>", module)
        label = codes(row["Text"])[0].replace("<event>", name).replace("<module>", module)
        if self.blob(module) and row["Byte"] != "0":
            label = label.replace(module, "BLOB")
        kind = row["Kind"]
        if cells["Key"].startswith(NOTHING):
            key, kind = None, NOTHING
        assert name == (key or label), f"{name} is neither {key} nor {label}"
        for report_id in (0xE1, 0xEA):
            self.sections[report_id].fields.append(
                Field(cells["0xE1, 0xEA"], row["Size"], key, kind, label, self.blob(module)))

    def add_option(self, module, cells):
        label = f"{codes(cells['Key'])[0]}: {VALUE}"
        if self.blob(module):
            label = label.replace(module, "BLOB")
        offset = cells["0xE2"].split(",")[0]
        self.sections[0xE2].fields.append(Field(offset, "1", None, NOTHING, label, self.blob(module)))

    def complaints(self, known):
        missing = [report_id for report_id in known if report_id not in self.sections]
        unknown = [report_id for report_id in self.sections if report_id not in known]
        return [
            *(f"report 0x{report_id:02X} has no section in docs/reports.md" for report_id in missing),
            *(f"report 0x{report_id:02X} of docs/reports.md is not known" for report_id in unknown)]


# -------------------------------------------------------------------------- the program, the library


def known_reports():
    """ID: type, decoder, display name, length."""
    shown = subprocess.run([PROGRAM, "--list-reports"], capture_output=True, text=True, check=True).stdout
    rows = re.findall(r"^(\w+) +(0x\w\w) +(text|at least \d+|\d+) +(\w+) *(\w*)$", shown, re.M)
    assert len(rows) == shown.count("\n") - 1, shown
    return {int(row[1], 16): (row[0], row[3], row[4], row[2]) for row in rows}


def records(reports, known):
    """What `vesk-decode -o ndjson --lines` makes of reports."""
    text = "".join(f"{known[report[0]][0]} {report.hex()}\n" for report in reports)
    done = subprocess.run([PROGRAM, "-o", "ndjson", "--lines", "-i", "hex"], input=text.encode(),
                          capture_output=True, check=True, timeout=600)
    made = [json.loads(line) for line in done.stdout.splitlines()]
    assert len(made) == len(reports) and not done.stderr, done.stderr
    return made


def plugin():
    library = ctypes.CDLL(os.environ["VESK_PLUGIN"])
    library.vesk_plugin_entry.restype = ctypes.POINTER(differential.Api)
    return differential.LibraryPlugin(library.vesk_plugin_entry().contents)


def kind_of(value):
    if value[0] == "array":
        return f"{len(value[2])} × {value[1]}"
    return value[0]


# ------------------------------------------------------------------------------------------ the tests


class Line:
    """A line of the text: its field, or none, and which line below its heading it is."""

    def __init__(self, field, row=None):
        self.field, self.row = field, row


def lines_of(section, lines):
    """Each line's field. Of two labels that match, the longer one is meant."""
    made, blob, block, row = [], None, None, 0
    for line in lines:
        line = line.lstrip(" \t")
        named = re.match(r"(BLOB_\w{4})(?: Module ID: .*)?$", line)
        blob = named[1] if named else blob
        candidates = [
            field for field in section.fields
            if field.pattern and field.blob in (None, blob) and field.pattern.fullmatch(line)]
        found = max(candidates, key=lambda field: len(field.label), default=None)
        if found and found.is_heading:
            block, row = found, 0
            made.append(Line(None))
        elif found:
            made.append(Line(found))
        elif block and line:
            made.append(Line(block, row))
            row += 1
        else:
            made.append(Line(None))
    return made


class ReportsPage(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.page = Page()
        cls.known = known_reports()

    def fixed(self):
        """The sections of reports with a layout, each with the report's length."""
        lengths = [(section, self.known[section.report_id][3]) for section in self.page.sections.values()]
        return [(section, int(length.split()[-1])) for section, length in lengths if length != "text"]

    def decoded(self, *reports):
        return records(reports, self.known)

    def test_every_report_has_a_section(self):
        self.assertEqual(self.page.complaints(self.known), [])

    def test_a_missing_section_is_told(self):
        self.assertEqual(self.page.complaints({**self.known, 0x01: None}),
                         ["report 0x01 has no section in docs/reports.md"])

    def test_contents(self):
        listed = {}
        for row in table_of(self.page.text, "What it is"):
            names, anchor = re.fullmatch(r"\[(.*)\]\(#(.*)\)", row["Report"]).groups()
            for name in names.split(", "):
                listed[int(name, 16)] = (row["Type"], row["What it is"])
            title = re.sub(r"[^\w -]", "", f"{names}: {row['What it is']}").lower().replace(" ", "-")
            self.assertEqual(anchor, title)
        expected = {
            report_id: (self.known[report_id][0], section.title)
            for report_id, section in self.page.sections.items()}
        self.assertEqual(listed, expected)

    def test_type_decoder_name_and_length(self):
        for report_id, section in self.page.sections.items():
            with self.subTest(f"0x{report_id:02X}"):
                self.assertEqual(section.facts(), self.known[report_id])

    def test_keys_and_kinds(self):
        for section, size in self.fixed():
            with self.subTest(str(section)):
                self.check_kinds(section, section.fields, bytes(size - 1))
        lines = self.lines_table()
        section = self.page.sections[0xD2]
        self.check_kinds(section, [section.field({**row, "Offset": "1", "Size": "1"}) for row in lines],
                         SIX_LINES + b"\0")
        self.assertEqual(self.object_of(0xD0, b"4.2\0"), "4.2")
        self.assertEqual(self.text_row()["Kind"], "string")

    def object_of(self, report_id, payload):
        instance = plugin()
        report = bytes([report_id]) + payload
        made = instance.report_to_object(report, report_id, TYPES[self.known[report_id][0]], len(report))
        instance.close()
        return made.content if made else None

    def check_kinds(self, section, fields, payload):
        made = self.object_of(section.report_id, payload)
        shown = [(field.key, field.kind) for field in fields if field.has_value]
        if made is None:
            self.assertEqual(shown, [])
        elif isinstance(made, str):
            self.assertEqual(shown, [(None, "string")])
        else:
            self.assertEqual(sorted(shown), sorted((key, kind_of(value)) for key, value in made))

    def test_labels(self):
        """Each label is that of one line, and the page has every other line as it stands."""
        for section, size in self.fixed():
            with self.subTest(str(section)):
                self.check_labels(section, size)

    def check_labels(self, section, size):
        lines = self.decoded(bytes([section.report_id]) + bytes(size - 1))[0]["lines"]
        made = lines_of(section, lines)
        found = [line.field for line in made if line.field and not line.row]
        self.assertCountEqual(found, [field for field in section.fields if field.label])
        headings = [field.label for field in section.fields if field.label and field.is_heading]
        for text, line in zip(lines, made):
            text = text.strip(" \t")
            if not line.field and text not in ("", *headings):
                self.assertTrue(self.is_shown(section, text), text)

    @staticmethod
    def is_shown(section, text):
        blobs = {field.blob for field in section.fields}
        other = text.replace("P-SCAN", "D-SCAN")  # the page shows the lines of one of the two
        return text in blobs or any(
            f"`{line}`" in section.text or re.search(rf"^\s*{re.escape(line)}$", section.text, re.M)
            for line in (text, other))

    def test_offsets(self):
        for section, size in self.fixed():
            with self.subTest(str(section)):
                self.sweep(section, size)

    def sweep(self, section, size):
        """Change each byte, and in a small report each bit, by itself."""
        zeros, ones = bytes(size), b"\xff" * size
        changes = []  # base, byte, its new content, the bits that change
        for byte in range(1, size):
            changes.append((zeros, byte, 0xFF, (8 * byte, 8 * byte + 8)))
            changes.append((ones, byte, 0x00, (8 * byte, 8 * byte + 8)))
            if size <= LARGEST_BY_BITS:
                for bit in range(8):
                    changes.append((zeros, byte, 1 << bit, (8 * byte + bit, 8 * byte + bit + 1)))
        head = bytes([section.report_id])
        reports = [
            head + base[1:byte] + bytes([content]) + base[byte + 1 :]
            for base, byte, content, _ in changes]
        before_zeros, before_ones, *made = self.decoded(head + zeros[1:], head + ones[1:], *reports)
        lines = lines_of(section, before_zeros["lines"])

        in_object, in_text = set(), set()  # (field, byte) that were seen to change
        for (base, byte, _, bits), after in zip(changes, made):
            before = before_zeros if base is zeros else before_ones
            covering = [field for field in section.fields if field.covers(*bits)]
            allowed = {field.key: field for field in covering if field.has_value}
            for key, values in self.changed_values(before["value"], after["value"]).items():
                self.assertIn(key, allowed, f"byte {byte} changes {key}, which the page has elsewhere")
                if allowed[key].values:
                    self.assertEqual(values, [allowed[key].value_at(byte)], f"byte {byte} of {key}")
                in_object.add((allowed[key], byte))
            self.assertEqual(len(before["lines"]), len(after["lines"]))
            for line, old, new in zip(lines, before["lines"], after["lines"]):
                if old != new:
                    self.assertIn(line.field, covering, f"byte {byte} changes {new!r}")
                    if line.row is not None:
                        self.assertEqual(line.row, line.field.value_at(byte) // 8, new)
                    in_text.add((line.field, byte))

        for field in section.fields:
            here = [(field, byte) for byte in field.bytes()]
            seen = in_object if field.has_value else in_text
            self.assertEqual([pair for pair in here if pair not in seen], [])
            if field.label:
                self.assertTrue(in_text.intersection(here), f"no byte changes the line of {field}")

    @staticmethod
    def changed_values(before, after):
        """Key: the numbers of the values that changed, for an array; a bare string has the key None."""
        if not isinstance(before, dict):
            return {None: None} if before != after else {}
        changed = {}
        for key, old in before.items():
            new = after[key]
            if isinstance(old, list) and old != new:
                changed[key] = [i for i, pair in enumerate(zip(old, new)) if pair[0] != pair[1]]
            elif old != new:
                changed[key] = None
        return changed

    # The map that the program finds.

    def layouts(self):
        shown = subprocess.run([PROGRAM, "--layout", "-o", "ndjson"], capture_output=True, check=True)
        records = [json.loads(line) for line in shown.stdout.splitlines()]
        return {record["report_id"]: record["layout"]["fields"] for record in records}

    @staticmethod
    def bits_of(field):
        if "size" in field:
            return 8 * field["offset"], 8 * (field["offset"] + field["size"])
        first = 8 * field["offset"] + field["bit"]
        return first, first + field["bits"]

    @staticmethod
    def plain(label):
        """A label without the blanks that align what follows."""
        return re.sub(r" +", " ", label).replace(f" {VALUE}", VALUE)

    def test_layouts(self):
        layouts = self.layouts()
        self.assertEqual(sorted(layouts), sorted(self.known))
        for section, size in self.fixed():
            with self.subTest(str(section)):
                fields = layouts[section.report_id]
                self.assertEqual(fields[0]["role"], "report_id")
                self.assertEqual(self.bits_of(fields[-1])[1], 8 * size)
                self.check_values(section, fields)
                self.check_lines(section, fields)
                self.check_unused(section, fields)

    def check_values(self, section, fields):
        """Each key has its kind and its bits, to the last one."""
        expected = [(field.key, field.kind, field.first_bit, field.end_bit)
                    for field in section.fields if field.has_value]
        found = []
        for field in fields:
            for value in field["values"]:
                kind = value["kind"]
                if "count" in value:
                    kind = f"{value['count']} × {kind}"
                found.append((value.get("key"), kind, *self.bits_of(field)))
        self.assertCountEqual(found, expected)

    def check_lines(self, section, fields):
        """Each line is that of the field which begins in the same byte."""
        expected = [(field.first_bit // 8, self.plain(field.label),
                     field.blob if section.report_id == 0xE2 else None)
                    for field in section.fields if field.label]
        found = []
        for field in fields:
            for line in field["lines"]:
                heading = line.get("heading")
                label, above = (line["label"], heading) if line["label"] else (heading, None)
                found.append((field["offset"], self.plain(label), above))
        self.assertCountEqual(found, expected)

    def check_unused(self, section, fields):
        """What shows nowhere has no row, or is a part of an option byte that the text does not show."""
        for field in fields[1:]:
            covering = [row for row in section.fields if row.covers(*self.bits_of(field))]
            if field["role"] == "nowhere":
                self.assertEqual([row for row in covering if row.has_value], [], field)
                self.assertTrue(not covering or "bit" in field, field)
            else:
                self.assertTrue(covering, field)

    def test_layouts_of_texts(self):
        layouts = self.layouts()
        _, text = layouts[0xD0]
        self.assertEqual((text["values"], text["lines"][0]["line"]), ([{"kind": self.text_row()["Kind"]}], 1))
        lines = [(field["lines"][0]["line"], field["values"]) for field in layouts[0xD2][1:]]
        self.assertEqual(lines, [
            (int(row["Line"]), [{"key": codes(row["Key"])[0], "kind": row["Kind"]}])
            for row in self.lines_table()])

    # Reports of text.

    def text_row(self):
        return table_of(self.page.sections[0xD0].text, "Kind")[0]

    def lines_table(self):
        return table_of(self.page.sections[0xD2].text, "Line")

    def test_version(self):
        row = self.text_row()
        self.assertEqual((row["Offset"], row["Size"], row["Key"]), ("1", "up to a NUL", NOTHING))
        record, = self.decoded(b"\xd0xy\0z")
        self.assertEqual((record["value"], record["lines"]), ("xy", ["xy"]))

    def test_extended_version(self):
        rows = self.lines_table()
        texts = [f"text {i}" for i in range(1, 8)]
        record, = self.decoded(b"\xd2" + "\n".join(texts).encode() + b"\0")
        self.assertEqual(record["lines"], texts)
        self.assertEqual(
            record["value"], {codes(row["Key"])[0]: texts[int(row["Line"]) - 1] for row in rows})

    # Names of values.

    def names(self, report_id, head):
        """Each value's name, where the page names it."""
        rows = table_of(self.page.sections[report_id].text, head)
        column = "Name" if "Name" in rows[0] else "Text"
        return {row[head]: (codes(row[column]) or [""])[0] for row in rows}

    def test_states(self):
        expected = {}
        for values, name in self.names(0xDE, "State").items():
            first, last = (values.split(" to ") * 2)[:2]
            expected.update((value, name) for value in range(int(first), int(last) + 1))
        self.assertEqual(sorted(expected), list(range(256)))
        made = self.decoded(*(bytes([0xDE, value]) for value in range(256)))
        self.assertEqual([record["value"] for record in made], [expected[value] for value in range(256)])

    def test_trigger_sources(self):
        names = self.names(0xDC, "Trigger source")
        self.assertEqual(list(names), ["0", "any other"])
        for value in [0, 1, 2, 0x100, 0x80000000]:
            record, = self.decoded(b"\xdc" + bytes(20) + value.to_bytes(4, "little"))
            self.assertEqual(record["value"]["TRIGGER_SOURCE"], names["any other" if value else "0"])

    def severities(self):
        names = self.names(0xE0, "Severity level")
        return [names[str(level)] for level in range(6)] + 2 * [names["6 and 7"]]

    def test_severities(self):
        expected = self.severities()
        made = self.decoded(*(bytes([0xE0, value, 0, 0, 0, 0, 0]) for value in range(256)))
        for value, record in enumerate(made):
            self.assertIn(f"Severity Level: {expected[value & 7]}", record["lines"])
            self.assertEqual(record["value"]["SEVERITY_LEVEL"], value)

    def test_options(self):
        bits = self.names(0xE2, "Bits of an option byte")
        gpio = self.names(0xE2, "Bits 4 and 5")
        self.assertEqual(list(bits), ["0 to 2", "3", "4 and 5", "6", "7"])
        severities = self.severities()
        made = self.decoded(*(bytes([0xE2]) + bytes([value]) * 231 for value in range(256)))
        for value, record in enumerate(made):
            flags = [
                bits["3"] * (value >> 3 & 1), bits["6"] * (value >> 6 & 1), gpio[str(value >> 4 & 3)],
                bits["7"] * (value >> 7)]
            shown = "".join(flag + " " for flag in flags if flag) or "(no options set)"
            lines = [line.strip(" ") for line in record["lines"]]
            self.assertIn(f"Global Error Config:  {shown}".strip(), lines)
            self.assertIn(f"OTP_EVENT_TRIM_MISSING: {severities[value & 7]} {shown}".strip(), lines)

    def test_examples(self):
        """The blocks of code are the first lines of a report."""
        for report_id, size, content in [(0xE3, 57, 2), (0xE4, 401, 0)]:
            block = re.search(r"^```\n(.*?)^```", self.page.sections[report_id].text, re.M | re.S)[1]
            record, = self.decoded(bytes([report_id, content]) + bytes(size - 2))
            shown = block.splitlines()
            self.assertEqual(record["lines"][: len(shown)], shown)


if __name__ == "__main__":
    unittest.main()
