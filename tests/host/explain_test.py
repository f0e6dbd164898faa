"""Which byte says what: -o explain on every input, --layout, and what both refuse."""

import json
import os
import re
import unittest

import jsonschema

from support import (
    ALL_DECODED,
    BAD_USAGE,
    FORMS,
    ROOT,
    SAMPLES,
    SOME_REFUSED,
    STATE,
    TOUR,
    HostTest,
    Run,
    hex_lines,
    image,
    maker,
)

SCHEMA = json.loads((ROOT / "docs" / "ndjson.schema.json").read_text())
NEWER = os.environ["VESK_NEWER_PLUGIN"]


def explained(*options, stdin):
    """The tables' rows, each cut into cells at two blanks and more, below the reports' origins."""
    run = Run("-o", "explain", *options, stdin=stdin)
    made = []
    for line in run.out.decode().splitlines():
        if line.startswith("# "):
            made.append((line, []))
        elif line:
            made[-1][1].append(re.split(r" {2,}", line))
    return run, made


class Tables(HostTest):
    def table(self, report, *options):
        run, made = explained(*options, stdin=hex_lines(report))
        self.expect(run, ALL_DECODED, err="")
        (origin, rows), = made
        self.assertEqual(rows[0], ["OFFSET", "BYTES", "LINE", "KIND", "KEY = VALUE"])
        return origin, rows[1:]

    def test_a_watchdog_to_the_letter(self):
        report = bytes.fromhex("df 0100000040420f0000000000 78563412 0200000003000000")
        expected = """\
# -:1, report 0xDF (feature), parseWatchDogReport, 25 bytes
OFFSET  BYTES                    LINE                               KIND  KEY = VALUE
0       df                       report ID
1..4    01 00 00 00              Feed Count:1                       u32   Count = 1
5..12   40 42 0f 00 00 00 00 00  Feed Timestamp:0x00000000000F4240  i64   Timestamp = 1000000
                                 Feed Wallclock:          1.000     f64   Wallclock = 1
13..16  78 56 34 12              Register:0x12345678                u32   Register = 305419896
17..20  02 00 00 00              Wake:2                             u32   Wake = 2
21..24  03 00 00 00              Sleep:3                            u32   Idle = 3

"""
        self.expect(Run("-o", "explain", stdin=hex_lines(report)), ALL_DECODED, expected.encode(), "")

    def test_bits(self):
        _, rows = self.table(bytes.fromhex("e0 1b 1600 02 40 c4"))
        self.assertEqual(rows[:5], [
            ["0", "e0", "report ID"],
            ["1", "1b", "Severity Level: WARNING", "u8", "SEVERITY_LEVEL = 27"],
            ["", "(of the low 3 bits)"],
            ["2..3", "16 00", "Module Count:", "22", "u16", "MODULE_COUNT = 22"],
            ["4 bit 0", "02 .......0", "BLACK_BOX: 0", "u8", "BLACK_BOX = 0"],
        ])
        self.assertIn(["4 bit 1", "02 ......1.", "PSE: 1", "u8", "PSE = 1"], rows)
        self.assertIn(["5 bit 6", "40 .1......", "HIDSPI_MASTER: 1", "u8", "HIDSPI_MASTER = 1"], rows)
        self.assertEqual(rows[-1], ["6 bits 6..7", "c4 11......", "shown nowhere"])

    def test_text_only_and_nowhere(self):
        options = bytearray([0xE2]) + bytes(231)
        options[1], options[25], options[26], options[33] = 0x0F, 0x44, 0x81, 0x90
        _, rows = self.table(bytes(options))
        self.assertEqual(rows[1:3], [
            ["1 bits 0..2", "0f .....111", "shown nowhere"],
            ["1 bits 3..7", "0f 00001...", "Global Trace Config:", "MASKED"],
        ])
        at = rows.index(["25", "44", "OPEN_SHORT_EVENT_DOUBLE_OPEN: ERROR MESSAGE"])
        self.assertEqual(rows[at + 1:at + 4], [
            ["", "OPEN_SHORT_EVENT_SINGLE_OPEN: ERROR MESSAGE"],
            ["26", "81", "shown nowhere"],
            ["27", "00", "OPEN_SHORT_EVENT_WEAK_OS: TRACE (no options set)"],
        ])
        self.assertIn(["33", "90", "BLOB_VAFE, BLOB_EVENT_GOOD_BLOB: TRACE GPIO_0 BREAKPOINT"], rows)

    def test_the_number_of_events_that_has_no_key(self):
        report = bytearray([0xE1]) + bytes(990)
        report[953:955] = b"\x39\x05"
        _, rows = self.table(bytes(report))
        self.assertIn(["953..954", "39 05", "PMGR # Events: 1337"], rows)
        self.assertIn(["951..952", "00 00", "PMGR Module ID: 0x0000", "u16", "PMGR_MODULE_ID = 0"], rows)

    def test_an_array_takes_one_row(self):
        _, rows = self.table(image(7))
        self.assertIn(["4..7", "07 00 00 00", "[Frame # = 7]", "u32", "FRAME_NUMBER = 7"], rows)
        self.assertIn(["16..207", "00 00 00 00 00 00 00 00 …", "[D-SCAN I], 6 lines", "i32[48]",
                       "D_SCAN_I = 0, 0, 0, 0, 0, 0, 0, 0, 0, …"], rows)
        self.assertEqual(len(rows), 12)

    def test_elements_take_a_row_each(self):
        report = bytearray([0xE4]) + bytes(400)
        report[41:45] = b"\x2a\x00\x00\x00"  # channel 8, which begins the second line
        _, rows = self.table(bytes(report), "--elements")
        self.assertEqual(len([row for row in rows if "SCAN_DATA_I[" in row[-1]]), 48)
        self.assertIn(["41..44", "2a 00 00 00", "[D-SCAN I], line 2 of 6", "u32",
                       "SCAN_DATA_I[8] = 42"], rows)
        self.assertEqual(rows[-2:], [["393 bits 1..7", "00 0000000.", "shown nowhere"],
                                     ["394..400", "00 00 00 00 00 00 00", "shown nowhere"]])

    def test_lines_of_a_text(self):
        _, rows = self.table(b"\xd2pa\nsd\nto\nqo\nve\nal\n\0")
        self.assertEqual(rows[1:4], [["1..2", "70 61", "pa", "string", 'PROJECT = "pa"'],
                                     ["3", "0a", "end of a line"],
                                     ["4..5", "73 64", "sd", "string", 'SDK = "sd"']])
        self.assertEqual(rows[-1], ["19", "00", "end of the text"])
        _, rows = self.table(b"\xd0" + "4.2 µ".encode() + b"\0")
        self.assertEqual(rows[1], ["1..6", "34 2e 32 20 c2 b5", "4.2 µ", "string", '"4.2 µ"'])

    def test_texts_of_one_kind_have_their_own_lines_each(self):
        first = b"\xd2a\nb\nc\nd\ne\nf\0"
        second = b"\xd2aa\nb\nc\nd\ne\nf\0"
        run, made = explained(stdin=hex_lines(first, second, first))
        self.expect(run, ALL_DECODED, err="")
        self.assertEqual([rows[2][0] for _, rows in made], ["1", "1..2", "1"])
        self.assertEqual([rows[3][0] for _, rows in made], ["2", "3", "2"])

    def test_what_follows_a_layout(self):
        _, rows = self.table(STATE + b"\xff\xee")
        self.assertEqual(rows[1:], [["1", "01", "ADC Dump State: SINGLE", "string", '"SINGLE"'],
                                    ["2..3", "ff ee", "shown nowhere"]])

    def test_long_reports_take_no_longer(self):
        """A text and a tail of sixty thousand bytes each; and a text that is lines and nothing else."""
        text = b"\xd0" + 60_000 * b"v" + b"\0"
        tail = STATE + bytes(60_000)
        lines = b"\xd2" + 1_000 * b"v\n" + b"\0"
        run, made = explained(stdin=hex_lines(text, tail, lines))
        self.expect(run, ALL_DECODED, err="")
        self.assertEqual(made[0][1][2][:2], ["1..60000", "76 76 76 76 76 76 76 76 …"])
        self.assertEqual(made[1][1][-1], ["2..60001", "00 00 00 00 00 00 00 00 …", "shown nowhere"])
        self.assertEqual(made[2][1][-2:], [["2000", "0a", "end of a line"], ["2001", "00", "end of the text"]])
        many = b"\xd2" + 30_000 * b"v\n" + b"\0"
        self.expect(Run("-o", "explain", stdin=hex_lines(many)), ALL_DECODED,
                    b"# -:1, report 0xD2 (feature), parseVersionExtended, 60002 bytes\n"
                    b"not found out: the text has too many lines to try each\n\n", "")

    def test_control_characters_are_escaped(self):
        run = Run("-o", "explain", stdin=hex_lines(b"\xd0a\x1b[2J\0"))
        self.assertNotIn(b"\x1b", run.out)
        self.assertIn(rb"a\u001b[2J", run.out)

    def test_colours(self):
        plain = Run("-o", "explain", SAMPLES / "tour.hex").out
        coloured = Run("-o", "explain", "--color", "always", SAMPLES / "tour.hex").out
        self.assertNotIn(b"\x1b", plain)
        self.assertIn(b"\x1b[1mOFFSET\x1b[0m  ", coloured)
        self.assertEqual(re.sub(rb"\x1b\[\d+m", b"", coloured), plain)

    def test_not_wider_than_a_terminal(self):
        """Two values side by side with long names are, and few others."""
        lines = Run("-o", "explain", SAMPLES / "tour.hex").out.decode().splitlines()
        self.assertLess(sum(len(line) > 120 for line in lines), len(lines) / 30)


class Inputs(HostTest):
    def test_every_form_of_input(self):
        """The same tables, but for their origins."""
        def tables(file):
            run = Run("-o", "explain", file)
            self.expect(run, ALL_DECODED, err="")
            return sorted(run.out.decode().split("\n# "), key=lambda table: table.split("\n")[1:])

        def without_origin(made):
            return [table.split("\n", 1)[1].strip() for table in made]

        expected = without_origin(tables(SAMPLES / "tour.hex"))
        self.assertEqual(len(expected), len(TOUR))
        for name in ("tour.hid", "tour.bin", "tour-usbmon.pcap", "tour-usbpcap.pcap", "tour.csv",
                     "tour-array.txt", "tour-dmesg.log"):
            with self.subTest(name):
                self.assertEqual(without_origin(tables(FORMS / name)), expected)

    def test_origins(self):
        origins = [line for line in Run("-o", "explain", FORMS / "tour-usbmon.pcap").out.decode().splitlines()
                   if line.startswith("# ")]
        headers = [line for line in Run("--headers", FORMS / "tour-usbmon.pcap").out.decode().splitlines()
                   if line.startswith("# ")]
        self.assertEqual(origins, headers)

    def test_what_is_refused(self):
        lines = hex_lines(STATE) + b"de\n99\nxx\n76 00\nd2 61 00\n" + hex_lines(image(4))
        run = Run("-o", "explain", stdin=lines)
        others = Run("-o", "ndjson", stdin=lines)
        self.assertEqual(run.status, SOME_REFUSED)
        self.assertEqual(run.err, others.err)
        self.assertEqual(run.out.count(b"# -:"), 2)

    def test_what_the_host_writes(self):
        usbmon = maker.Usbmon(False)
        moment = (1, 500_000)
        writes = bytes([0x21, 0x09, 0xDE, 0x03, 0, 0, 2, 0])
        packets = [usbmon.header(moment, 3, 2, 0x00, writes, b"\xde\x02", completed=False),
                   usbmon.interrupt(moment, 6, image(7), completed=True)]
        capture = maker.pcap(189, [(moment, packet) for packet in packets])
        run, made = explained("--host-writes", stdin=capture)
        self.expect(run, ALL_DECODED, err="")
        self.assertEqual([origin.endswith(", to the device") for origin, _ in made], [True, False])
        self.assertIn(["1", "02", "ADC Dump State: CONTINUOUS", "string", '"CONTINUOUS"'], made[0][1])
        self.assertEqual(len(explained(stdin=capture)[1]), 1)


class NewerPlugIn(HostTest):
    def test_its_reports_are_explained_too(self):
        calm = bytes([0xAB, 0x5A, 0x07, 0x10, 0, 0x12, 0x34, 0x80, 1, 0, 2, 0, 3, 0, 51, 9])
        alarm = calm[:4] + b"\x01" + calm[5:]
        run, made = explained("--plugin", NEWER, stdin=hex_lines(calm, alarm))
        self.expect(run, ALL_DECODED, err="")
        expected = [
            ["1", "5a", "the decoder refuses other values"],
            ["2 bit 0..3 bit 3", "07 10", "Level: 7", "u16", "LEVEL = 7"],
            ["3 bits 4..7", "10 0001....", "shown nowhere"],
            ["4 bit 0", "00 .......0", "which lines and keys there are depends on it"],
            ["4 bits 1..7", "00 0000000.", "shown nowhere"],
            ["5..6", "12 34", "Serial: 1234"],
            ["7 bits 0..6", "80 .0000000", "shown nowhere"],
            ["7 bit 7", "80 1.......", "Running: yes", "bool", "RUNNING = true"],
            ["8..13", "01 00 02 00 03 00", "Flow: 1 2 3", "u16[3]", "FLOW = 1, 2, 3"],
            ["14", "33", "f64", "RATIO = 0.2"],
            ["15", "09", "shown nowhere"],
        ]
        self.assertEqual(made[0][1][2:], expected)
        expected[3] = ["4 bit 0", "01 .......1", "which lines and keys there are depends on it"]
        expected[4] = ["4 bits 1..7", "01 0000000.", "shown nowhere"]
        self.assertEqual(made[1][1][2:], expected)

    def test_no_map_without_a_report(self):
        record, = Run("--layout", "-o", "ndjson", "--plugin", NEWER).records()
        jsonschema.validate(record, SCHEMA)
        self.assertIsNone(record["layout"]["fields"])
        run = Run("--layout", "--plugin", NEWER)
        self.expect(run, ALL_DECODED, err="")
        self.assertIn(b"not found out: the decoder refuses all that was tried\n", run.out)


class Layouts(HostTest):
    def layouts(self, *options):
        run = Run("--layout", "-o", "ndjson", *options)
        self.expect(run, ALL_DECODED, err="")
        return run.records()

    def test_every_report_has_one_in_the_order_of_the_list(self):
        listed = re.findall(r" 0x(\w\w) ", Run("--list-reports").out.decode())
        records = self.layouts()
        self.assertEqual([f"{record['report_id']:02X}" for record in records], listed)
        for record in records + self.layouts("--elements"):
            jsonschema.validate(record, SCHEMA)
        array = json.loads(Run("--layout", "-o", "json").out)
        self.assertEqual(array, records)

    def test_a_record(self):
        record, = self.layouts("--report", "0xE4")
        self.assertEqual(record, {
            "format_version": 1, "report_id": 0xE4, "report_type": "feature",
            "decoder": "parseOpenShortData", "display_name": "penShortData",
            "layout": {"size": 401, "length": "at_least", "fields": [
                {"offset": 0, "size": 1, "role": "report_id", "values": [], "lines": []},
                {"offset": 1, "size": 8, "role": "shown",
                 "values": [{"key": "SATURATION_DATA", "kind": "unsigned long long"}],
                 "lines": [{"line": 4, "label": "ADC Saturation …", "low_bits": 48}]},
                {"offset": 9, "size": 192, "role": "shown",
                 "values": [{"key": "SCAN_DATA_I", "kind": "unsigned int", "count": 48}],
                 "lines": [{"line": 9, "count": 6, "label": "", "heading": "[D-SCAN I]"}]},
                {"offset": 201, "size": 192, "role": "shown",
                 "values": [{"key": "SCAN_DATA_Q", "kind": "unsigned int", "count": 48}],
                 "lines": [{"line": 17, "count": 6, "label": "", "heading": "[D-SCAN Q]"}]},
                {"offset": 393, "bit": 0, "bits": 1, "role": "shown",
                 "values": [{"key": "BROWNOUT", "kind": "unsigned char"}],
                 "lines": [{"line": 6, "label": "Brownout: …"}]},
                {"offset": 393, "bit": 1, "bits": 7, "role": "nowhere", "values": [], "lines": []},
                {"offset": 394, "size": 7, "role": "nowhere", "values": [], "lines": []},
            ]}})

    def test_a_text_has_no_offsets(self):
        record, = self.layouts("--report", "0xD2")
        self.assertEqual(record["layout"]["length"], "text")
        self.assertEqual(record["layout"]["fields"][1:3], [
            {"role": "shown", "values": [{"key": "PROJECT", "kind": "string"}],
             "lines": [{"line": 1, "label": ""}]},
            {"role": "shown", "values": [{"key": "SDK", "kind": "string"}],
             "lines": [{"line": 2, "label": ""}]}])

    def test_elements(self):
        record, = self.layouts("--report", "0xA2", "--elements")
        self.assertEqual(len(record["layout"]["fields"]), 49)
        self.assertEqual(record["layout"]["fields"][9], {
            "offset": 33, "size": 4, "role": "shown",
            "values": [{"key": "BASELINE", "kind": "float", "element": 8}],
            "lines": [{"line": 4, "label": "", "heading": "Vesk Algorithms Baseline:"}]})

    def test_a_table(self):
        expected = """\
# report 0xE4 (feature), parseOpenShortData, at least 401 bytes

OFFSET         SIZE    KIND     KEY              LINE
0              1                                 report ID
1..8           8       u64      SATURATION_DATA  ADC Saturation …, of the low 48 bits
9..200         192     u32[48]  SCAN_DATA_I      [D-SCAN I], 6 lines
201..392       192     u32[48]  SCAN_DATA_Q      [D-SCAN Q], 6 lines
393 bit 0      1 bit   u8       BROWNOUT         Brownout: …
393 bits 1..7  7 bits                            shown nowhere
394..400       7                                 shown nowhere
"""
        self.expect(Run("--layout", "--report", "0xE4"), ALL_DECODED, expected.encode(), "")

    def test_a_type(self):
        self.assertEqual([record["report_id"] for record in self.layouts("--type", "input")], [0x76, 0x77])

    def test_bad_usage(self):
        def refused(message, *options):
            self.expect(Run(*options), BAD_USAGE, b"", f"vesk-decode: {message}; --help shows the options\n")

        refused("--layout reads no file, and a.hex is one; -o explain shows the layout of its reports",
                "--layout", "a.hex")
        refused("--layout goes with -o text, ndjson or json", "--layout", "-o", "csv")
        refused("--layout and --list-reports: choose one of them", "--layout", "--list-reports")
        refused("--report 0x99: no decoder knows this report; --list-reports shows the known ones",
                "--layout", "--report", "0x99")
        refused("--layout: nothing matches --report 0x76 --type feature",
                "--layout", "--report", "0x76", "--type", "feature")
        run = Run("--elements", "a.hex")
        self.assertEqual(run.status, BAD_USAGE)
        self.assertRegex(run.err, r"^vesk-decode: --elements goes with --layout, --changes, -o changes, -o explain")


if __name__ == "__main__":
    unittest.main()
