"""Every form of output, on good and on broken input: records against their schema, numbers to the
last digit, tables, headers and counts."""

import csv
import io
import json
import math
import os
import re
import struct
import unittest

import jsonschema

from support import (
    ALL_DECODED,
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
    packet,
)

SCHEMA = json.loads((ROOT / "docs" / "ndjson.schema.json").read_text())
BROKEN = hex_lines(STATE) + b"de\n99\nxx\n76 00\n" + hex_lines(image(1) + b"\0", image(4))


COLUMNS = ("source", "time", "report_id", "bus", "device", "endpoint")


def two_panels(link, frames):
    """A capture of two devices: one counts from 5, the other one from 600,000."""
    transfers = {189: maker.Usbmon(False), 220: maker.Usbmon(True), 249: maker.UsbPcap()}[link]
    place = slice(19, 21) if link == 249 else slice(11, 12)  # of the device
    packets = []
    for number in range(frames):
        for device, begin in ((5, 5), (9, 600_000)):
            packet = bytearray(transfers.interrupt((1, number), number, image(begin + number), True))
            packet[place] = device.to_bytes(place.stop - place.start, "little")
            packets.append(((1, number), bytes(packet)))
    return maker.pcap(link, packets)


def float_bits(value):
    return struct.unpack("<I", struct.pack("<f", value))[0]


class Schema(unittest.TestCase):
    """What strict validators ask of a schema beyond the standard."""

    NUMBERS, STRINGS = {"minimum", "maximum"}, {"minLength"}
    ARRAYS = {"items"}
    OBJECTS = {"properties", "required", "additionalProperties", "dependentRequired"}
    ANYWHERE = {
        "$schema", "$comment", "$defs", "$ref", "title", "description", "type", "const", "enum",
        "oneOf", "anyOf", "if", "then",
    }

    def schemas(self, schema, name="#"):
        """Every schema in it, with its place."""
        if not isinstance(schema, dict):
            return
        yield name, schema
        for keyword in ("properties", "$defs"):
            for key, part in schema.get(keyword, {}).items():
                yield from self.schemas(part, f"{name}/{keyword}/{key}")
        for keyword in ("items", "additionalProperties", "if", "then"):
            yield from self.schemas(schema.get(keyword), f"{name}/{keyword}")
        for keyword in ("oneOf", "anyOf"):
            for number, part in enumerate(schema.get(keyword, [])):
                yield from self.schemas(part, f"{name}/{keyword}/{number}")

    def complaints(self, schema):
        for name, part in self.schemas(schema):
            kinds = part.get("type", [])
            kinds = {kinds} if isinstance(kinds, str) else set(kinds)
            if len(kinds - {"null"}) > 1:
                yield name, "several types"
            for keywords, wanted in (
                (self.NUMBERS, {"number", "integer"}), (self.STRINGS, {"string"}),
                (self.ARRAYS, {"array"}), (self.OBJECTS, {"object"}),
            ):
                if keywords & set(part) and not kinds & wanted:
                    yield name, "no type"
            known = self.NUMBERS | self.STRINGS | self.ARRAYS | self.OBJECTS | self.ANYWHERE
            yield from ((name, keyword) for keyword in set(part) - known)
            if set(part.get("required", [])) - set(part.get("properties", {})):
                yield name, "required, but no property"

    def test_it_is_strict(self):
        self.assertEqual(list(self.complaints(SCHEMA)), [])

    def test_what_is_not(self):
        for schema, complaint in (
            ({"type": ["object", "string"]}, "several types"),
            ({"anyOf": [{"properties": {}}]}, "no type"),
            ({"$defs": {"x": {"minimum": 0}}}, "no type"),
            ({"type": "object", "required": ["x"]}, "required, but no property"),
            ({"if": {"nonsense": 1}}, "nonsense"),
        ):
            self.assertEqual([found for _, found in self.complaints(schema)], [complaint])


class Records(HostTest):
    @classmethod
    def setUpClass(cls):
        jsonschema.Draft202012Validator.check_schema(SCHEMA)
        cls.validator = jsonschema.Draft202012Validator(SCHEMA)

    def validated(self, run):
        records = run.records()
        for record in records:
            self.validator.validate(record)
        return records

    def test_every_sample(self):
        for path in [*SAMPLES.glob("*.hex"), *FORMS.glob("tour*")]:
            for options in ([], ["--lines"], ["--stats"]):
                with self.subTest(path=path.name, options=options):
                    run = Run("-o", "ndjson", *options, path)
                    self.expect(run, ALL_DECODED, err="")
                    self.assertTrue(self.validated(run))

    def test_the_schema_does_not_take_everything(self):
        record = Run("-o", "ndjson", stdin=b"de 01").records()[0]
        for change in (
            {"format_version": 2}, {"report_type": "both"}, {"value": None}, {"value": [1]},
            {"more": 1}, {"length": 0}, {"source": {"file": "-", "line": 1, "packet": 1}},
            {"source": {"file": "-", "packet": 1, "bus": 1}}, {"source": {"file": "-", "bus": 1}},
            {"source": {"file": "-", "offset": 1, "bus": 1, "device": 2, "endpoint": 1}},
            {"error": {"code": "bad_hex", "message": "x"}}, {"statistics": {}},
        ):
            with self.subTest(change=change):
                self.assertFalse(self.validator.is_valid({**record, **change}))
        del record["decoder"]
        self.assertFalse(self.validator.is_valid(record))

    def test_a_record_to_the_byte(self):
        run = Run("-o", "ndjson", stdin=b"\n feature de 01")
        self.expect(
            run,
            ALL_DECODED,
            b'{"format_version":1,"source":{"file":"-","line":2},"report_id":222,'
            b'"report_type":"feature","decoder":"parseAdcDumpState","display_name":"dcDumpState",'
            b'"length":2,"value":"SINGLE"}\n',
            "",
        )

    def test_errors_are_records_and_messages(self):
        run = Run("-o", "ndjson", stdin=BROKEN)
        records = self.validated(run)
        self.assertEqual(run.status, SOME_REFUSED)
        codes = [record.get("error", {}).get("code") for record in records]
        expected = ["short_report", "unknown_report", "bad_hex", "short_report", "refused_length"]
        self.assertEqual(codes, [None, *expected, None])
        messages = [
            f"-:{record['source']['line']}: {record['error']['message']}"
            for record in records
            if "error" in record
        ]
        self.assertEqual(run.err.splitlines(), messages)
        self.assertEqual(records[1]["error"]["expected"], 2)
        self.assertEqual(records[1]["error"]["got"], 1)
        self.assertEqual((records[1]["report_id"], records[1]["report_type"]), (0xDE, "feature"))

    def test_offset_of_an_unknown_boundary(self):
        run = Run("-o", "ndjson", stdin=STATE + b"\x99")
        error = self.validated(run)[1]
        self.assertEqual((error["error"]["offset"], error["source"]["offset"]), (2, 2))

    def test_array_is_valid_and_holds_the_same_records(self):
        for content in (b"", b"# nothing\n", BROKEN, hex_lines(STATE), b"\x99"):
            for options in ([], ["--stats"]):
                with self.subTest(content=content[:9], options=options):
                    lines = Run("-o", "ndjson", *options, stdin=content)
                    array = Run("-o", "json", *options, stdin=content)
                    self.assertEqual(json.loads(array.out), self.validated(lines))
                    self.assertEqual((array.err, array.status), (lines.err, lines.status))

    def test_report_without_an_object_has_lines(self):
        config = next(data for _, data in TOUR if data[0] == 0xE2)
        record = self.validated(Run("-o", "ndjson", stdin=hex_lines(config)))[0]
        text = Run(stdin=hex_lines(config)).out.decode()
        self.assertIsNone(record["value"])
        self.assertEqual("\n" + "\n".join(record["lines"]) + "\n\n", text)

    def test_lines_beside_the_value(self):
        record = Run("-o", "ndjson", "--lines", stdin=hex_lines(STATE)).records()[0]
        self.assertEqual((record["value"], record["lines"]), ("SINGLE", ["ADC Dump State: SINGLE"]))

    def test_a_version_text_is_one_line_whatever_it_holds(self):
        run = Run("-o", "ndjson", "--lines", stdin=b"d0" + b'"\\\n\t\x01\x7f\xc3\xa9'.hex().encode() + b"00")
        record = self.validated(run)[0]
        self.assertEqual(record["value"], '"\\\n\t\x01\x7fé')
        self.assertEqual(record["lines"], [record["value"]])

    def test_every_character_that_is_escaped_at_every_place(self):
        for character in [*map(chr, range(1, 32)), '"', "\\", "\x7f", "é"]:
            texts = ["x" * before + character + "y" * (40 - before) for before in range(40)]
            run = Run("-o", "ndjson", stdin=hex_lines(*(b"\xd0" + text.encode() + b"\0" for text in texts)))
            self.assertEqual([record["value"] for record in run.records()], texts)

    def test_the_text_is_what_python_writes(self):
        """To the byte, but for the case of an escape's digits; samples have floats whose digits are
        few enough for both to write the same."""
        texts = [chr(c) for c in (*range(1, 128), 0x2028, 0x2029, 0xFFFD, 0x1F600)]
        reports = [b"\xd0" + text.encode() + b"\0" for text in [*texts, "".join(texts)]]
        reports += [data for _, data in TOUR]
        reports.append(b"\xe3" + struct.pack("<7Q", 0, 1, 2**63, 2**64 - 1, 10**19, 9, 10))
        run = Run("-o", "ndjson", "--lines", stdin=hex_lines(*reports))
        self.assertEqual(run.status, ALL_DECODED)
        *lines, _ = run.out.decode().split("\n")
        self.assertEqual(len(lines), len(reports))
        for line in lines:
            record = json.loads(line)
            written = json.dumps(record, separators=(",", ":"), ensure_ascii=False)
            same = re.sub(r"\\u00(..)", lambda escape: "\\u00" + escape[1].upper(), written)
            self.assertEqual(line, same)

    def test_file_names_of_any_bytes(self):
        name = os.fsencode(self.folder) + b'/\xff "\xc3\xa9'
        with open(name, "wb") as file:
            file.write(hex_lines(STATE))
        record = self.validated(Run("-o", "ndjson", os.fsdecode(name)))[0]
        self.assertTrue(record["source"]["file"].endswith('/\ufffd "é'))

    def test_whole_numbers_at_any_size(self):
        masks = [0, 1, 2**63, 2**64 - 1, 10**19, 99999999999, 7]
        report = b"\xe3" + struct.pack("<7Q", *masks)
        value = Run("-o", "ndjson", stdin=hex_lines(report)).records()[0]["value"]
        self.assertEqual(list(value.values()), masks)

    def test_samples_of_every_length(self):
        samples = [s * (10**e + d) for e in range(10) for d in (-1, 0, 1) for s in (1, -1)]
        samples += [2**31 - 1, -(2**31), 0]
        samples += [0] * (192 - len(samples))
        report = bytearray(image(1))
        report[16:784] = struct.pack("<192i", *samples)
        value = Run("-o", "ndjson", stdin=hex_lines(bytes(report))).records()[0]["value"]
        keys = ("D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q")
        self.assertEqual([sample for key in keys for sample in value[key]], samples)

    def test_floats_read_back_to_the_same_bits(self):
        bits = [0, 0x80000000, 1, 0x007FFFFF, 0x00800000, 0x7F7FFFFF, 0x3DCCCCCD, 0x4B800001]
        bits += [(0x3F000000 + 12345679 * i) % 0x7F800000 for i in range(40)]
        report = b"\xa2" + struct.pack("<48I", *bits)
        run = Run("-o", "ndjson", stdin=hex_lines(report))
        baseline = run.records()[0]["value"]["BASELINE"]
        self.assertEqual([float_bits(value) for value in baseline], bits)
        self.assertIn(b",0.1,", run.out)

    def test_nan_and_infinities_are_null(self):
        bits = [0x7FC00000, 0xFFC00001, 0x7F800000, 0xFF800000] + [0x3F800000] * 44
        report = b"\xa2" + struct.pack("<48I", *bits)
        record = self.validated(Run("-o", "ndjson", stdin=hex_lines(report)))[0]
        self.assertEqual(record["value"]["BASELINE"], [None] * 4 + [1] * 44)

    def test_the_locale_changes_nothing(self):
        for form in ("text", "ndjson", "csv"):
            plain = Run("-o", form, SAMPLES / "tour.hex")
            german = Run("-o", form, SAMPLES / "tour.hex", environment={"LC_ALL": "de_DE.UTF-8"})
            self.assertEqual((plain.out, plain.err), (german.out, german.err))


class Tables(HostTest):
    def rows(self, run):
        return list(csv.reader(io.StringIO(run.out.decode(), newline="")))

    def test_image_frames(self):
        run = Run("-o", "csv", "--report", "0x76", self.file("r.bin", STATE + image(7) + image(8)))
        self.expect(run, ALL_DECODED, err="")
        names, first, second = self.rows(run)
        self.assertEqual(names[:6], [*COLUMNS])
        self.assertEqual(names[6:8], ["COOKIE", "FLAGS"])
        self.assertEqual(len(names), 6 + 7 + 192)
        self.assertIn("P_SCAN_Q_47", names)
        column = names.index("FRAME_NUMBER")
        self.assertEqual((first[column], second[column]), ("7", "8"))
        self.assertTrue(first[0].endswith("r.bin: byte 2"))
        self.assertEqual(dict(zip(names, first))["TMON_DEG_C"], "25.5")
        self.assertEqual(first[2:6], ["118", "", "", ""])

    def test_every_kind_gives_rows_as_long_as_its_header(self):
        for _, data in TOUR:
            with self.subTest(id=hex(data[0])):
                run = Run("-o", "csv", stdin=hex_lines(data, data))
                self.expect(run, ALL_DECODED, err="")
                names, *rows = self.rows(run)
                self.assertEqual([len(row) for row in rows], [len(names)] * 2)
                self.assertEqual(len(set(names)), len(names))

    def test_values_are_those_of_the_record(self):
        for _, data in TOUR:
            value = Run("-o", "ndjson", stdin=hex_lines(data)).records()[0]["value"]
            if not isinstance(value, dict):
                continue
            names, row = self.rows(Run("-o", "csv", stdin=hex_lines(data)))
            spread = {}
            for key, entry in value.items():
                entries = entry if isinstance(entry, list) else [entry]
                keys = [f"{key}_{i}" for i in range(len(entries))] if isinstance(entry, list) else [key]
                spread.update(zip(keys, entries))
            self.assertEqual(list(spread), names[6:])
            for name, text in zip(names[6:], row[6:]):
                expected = spread[name]
                self.assertEqual(text if isinstance(expected, str) else type(expected)(text), expected)

    def test_other_kinds_are_left_out_and_told(self):
        run = Run("-o", "csv", stdin=hex_lines(STATE, packet(1), STATE, packet(2), image(1)))
        message = (
            "vesk-decode: left out of the table: 1 of report 0x76, 2 of report 0x77; a table holds "
            "what parseAdcDumpState decodes, --report ID chooses\n"
        )
        self.expect(run, SOME_REFUSED, err=message)
        self.assertEqual([row[6] for row in self.rows(run)], ["VALUE", "SINGLE", "SINGLE"])

    def test_kinds_of_one_decoder_share_a_table(self):
        data = [data for _, data in TOUR if data[0] in (0xE4, 0xE5)]
        run = Run("-o", "csv", stdin=hex_lines(*data))
        self.expect(run, ALL_DECODED, err="")
        self.assertEqual([row[2] for row in self.rows(run)], ["report_id", "228", "229"])

    def test_text_is_quoted(self):
        text = 'a,"b"\r\nc'
        run = Run("-o", "csv", stdin=b"d0" + text.encode().hex().encode() + b"00")
        self.assertEqual(self.rows(run)[1][6], text)

    def test_nan_and_infinities(self):
        bits = [0x7FC00000, 0x7F800000, 0xFF800000] + [0] * 45
        run = Run("-o", "csv", stdin=hex_lines(b"\xa2" + struct.pack("<48I", *bits)))
        values = [float(field) for field in self.rows(run)[1][6:9]]
        self.assertTrue(math.isnan(values[0]))
        self.assertEqual(values[1:], [math.inf, -math.inf])

    def test_time(self):
        run = Run("-o", "csv", stdin=b"F: 0012.000345 2 de 01\n")
        self.assertEqual(self.rows(run)[1][:2], ["-:1", "12.000345"])


class Senders(HostTest):
    """In a USB capture every record says who sent the report."""

    def test_reports(self):
        for link in (189, 220, 249):
            with self.subTest(link=link):
                capture = two_panels(link, 1)
                sources = [record["source"] for record in Run("-o", "ndjson", stdin=capture).records()]
                expected = [
                    {"file": "-", "packet": number, "bus": 1, "device": device, "endpoint": 1}
                    for number, device in ((1, 5), (2, 9))
                ]
                self.assertEqual(sources, expected)
                table = csv.reader(io.StringIO(Run("-o", "csv", stdin=capture).out.decode(), newline=""))
                self.assertEqual(
                    [row[:6] for row in table],
                    [
                        [*COLUMNS],
                        ["-: packet 1", "1.000000", "118", "1", "5", "1"],
                        ["-: packet 2", "1.000000", "118", "1", "9", "1"],
                    ],
                )
                headers = re.findall(rb"^# .*", Run("--headers", stdin=capture).out, re.M)
                self.assertEqual(
                    headers,
                    [
                        b"# -: packet %d, 1.000000 s, device 1:%d, endpoint 1, report 0x76 (input), "
                        b"parseVeskImage, 792 bytes" % place
                        for place in ((1, 5), (2, 9))
                    ],
                )

    def test_errors(self):
        usbmon = maker.Usbmon(False)
        setup = maker.GET_REPORT + bytes([0xDE, 3, 0, 0, 0, 16])
        moment = (1, 0)
        stalled = usbmon.control(moment, 2, b"", completed=True)
        packets = [
            usbmon.control(moment, 1, setup, completed=False),  # has no answer
            usbmon.control(moment, 2, setup, completed=False),
            stalled[:28] + struct.pack("<i", -32) + stalled[32:],
            usbmon.interrupt(moment, 3, b"\x99", completed=True),
        ]
        capture = maker.pcap(189, [(moment, packet) for packet in packets])
        records = Run("-o", "ndjson", stdin=capture).records()
        told = [
            (record["error"]["code"], *(record["source"][name] for name in ("packet", *COLUMNS[3:])))
            for record in records
        ]
        expected = [
            ("failed_request", 3, 1, 5, 0),
            ("unknown_report", 4, 1, 5, 1),
            ("unanswered_request", 1, 1, 5, 0),
        ]
        self.assertEqual(told, expected)


class Recordings(HostTest):
    def test_preamble_of_our_own(self):
        run = Run("-o", "recording", stdin=hex_lines(STATE, image(1)))
        lines = run.out.decode().splitlines()
        self.assertEqual([line[:2] for line in lines], ["D:", "R:", "N:", "P:", "I:", "F:", "E:"])
        size, *digits = lines[1][3:].split()
        self.assertEqual(int(size), len(digits))
        descriptor = bytes.fromhex("".join(digits))
        self.assertEqual((descriptor[:5], descriptor[-1]), (b"\x06\x00\xff\x09\x01", 0xC0))
        self.assertIn(b"\x85\x76\x09\x76\x96" + struct.pack("<H", 791) + b"\x81\x02", descriptor)
        self.assertEqual(lines[5], "F: 000000.000000 2 de 01")

    def test_the_other_name(self):
        path = FORMS / "tour-usbmon.pcap"
        named, aliased = Run("-o", "recording", path), Run("-o", "hid", path)
        self.expect(aliased, ALL_DECODED, named.out, "")

    def test_reports_that_no_decoder_takes_pass(self):
        run = Run("-o", "recording", stdin=b"input 99 01\noutput 05\nfeature e1\n")
        self.expect(run, ALL_DECODED, err="")
        self.assertEqual(
            run.out.decode().splitlines()[5:],
            ["E: 000000.000000 2 99 01", "O: 000000.000000 1 05", "F: 000000.000000 1 e1"],
        )

    def test_unknown_type(self):
        run = Run("-o", "recording", stdin=b"99 01\n")
        message = (
            "-:1: report 0x99: unknown, and nothing says which type it has; write feature, input or "
            "output before its bytes\n"
        )
        self.expect(run, SOME_REFUSED, b"", message)


class Headers(HostTest):
    def test_places(self):
        path = self.file("r.hid", b"# comment\nF: 1.000002 2 de 01\n")
        run = Run("--headers", path)
        header = f"# {path}:2, 1.000002 s, report 0xDE (feature), parseAdcDumpState, 2 bytes\n"
        self.expect(run, ALL_DECODED, header.encode() + b"\nADC Dump State: SINGLE\n\n", "")
        self.assertTrue(Run("--headers", stdin=STATE).out.startswith(b"# -: byte 0, report 0xDE"))
        packets = Run("--headers", FORMS / "tour-usbmon.pcap").out
        self.assertIn(
            b"tour-usbmon.pcap: packet 4, 1700000000.016667 s, device 1:5, endpoint 0, report 0xD0",
            packets,
        )


class Statistics(HostTest):
    def test_table(self):
        run = Run("--stats", stdin=hex_lines(STATE, STATE, image(1)) + b"99\nde\nde\n")
        self.assertEqual(run.status, SOME_REFUSED)
        self.assertEqual(
            run.err.splitlines()[3:],
            [
                "         2  report 0xDE (feature) parseAdcDumpState",
                "         1  report 0x76 (input) parseVeskImage",
                "         3  reports in all",
                "         2  short_report",
                "         1  unknown_report",
                "         0  lost by FRAME_NUMBER",
            ],
        )

    def test_lost_frames_are_counted_and_named(self):
        frames = [image(n) for n in (5, 6, 10, 11, 13, 2, 3, 2**32 - 1, 0, 1)]
        run = Run("--stats", self.file("f.bin", b"".join(frames)))
        self.assertEqual(
            run.err.replace(str(self.folder) + "/", "").splitlines()[2:],
            [
                "         4  lost by FRAME_NUMBER",
                "            7 to 9 missing before f.bin: byte 1584",
                "            12 missing before f.bin: byte 3168",
                "         3  late by FRAME_NUMBER",  # around 0, shortly before 2 and 3
                "         1  restarts by FRAME_NUMBER",  # at 2
            ],
        )

    def test_late_and_doubled_frames_are_not_lost(self):
        path = self.file("f.bin", b"".join(image(n) for n in (5, 6, 9, 9, 7, 8)))
        self.assertEqual(
            Run("--stats", path).err.splitlines()[2:],
            [
                "         0  lost by FRAME_NUMBER",
                "         2  late by FRAME_NUMBER",
                "         1  doubled by FRAME_NUMBER",
            ],
        )

    def test_two_panels_without_a_gap_lose_nothing(self):
        for link in (189, 220, 249):
            with self.subTest(link=link):
                capture = two_panels(link, 20)
                self.assertEqual(
                    Run("--stats", stdin=capture).err.splitlines()[2:],
                    [
                        "         0  lost by FRAME_NUMBER, device 1:5, endpoint 1",
                        "         0  lost by FRAME_NUMBER, device 1:9, endpoint 1",
                    ],
                )
                lost = Run("-o", "ndjson", "--stats", stdin=capture).records()[-1]["statistics"]["lost"]
                self.assertEqual([(entry["device"], entry["reports"]) for entry in lost], [(5, 0), (9, 0)])

    def test_only_the_first_gaps_are_named(self):
        packets = b"".join(packet(2 * n) for n in range(20))
        lines = Run("--stats", stdin=packets).err.splitlines()
        self.assertEqual(lines[2], "        19  lost by PACKET_ID")
        self.assertEqual((len(lines), lines[-1]), (14, "            and 9 more gaps"))

    def test_counters_start_anew_with_each_file(self):
        paths = [self.file("a.bin", image(1)), self.file("b.bin", image(9))]
        self.assertIn("         0  lost by FRAME_NUMBER\n", Run("--stats", *paths).err)

    def test_record(self):
        run = Run("-o", "ndjson", "--stats", stdin=hex_lines(packet(1), packet(4)) + b"x\n")
        self.assertEqual(run.err, '-:3: bad hex: "x" is no hexadecimal digit, in "x"\n')
        self.assertEqual(
            run.records()[-1],
            {
                "format_version": 1,
                "statistics": {
                    "reports": 2,
                    "kinds": [{"report_id": 0x77, "report_type": "input", "reports": 2}],
                    "errors": {"bad_hex": 1},
                    "lost": [
                        {
                            "counter": "PACKET_ID",
                            "reports": 2,
                            "late": 0,
                            "doubled": 0,
                            "restarts": 0,
                            "gap_count": 1,
                            "gaps": [{"before": "-:2", "first": 2, "last": 3}],
                        }
                    ],
                },
            },
        )


if __name__ == "__main__":
    unittest.main()
