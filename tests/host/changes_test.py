"""What changed: for people and as records, with the report before, a baseline, and across IDs. What is
expected is written by hand."""

import json
import os
import pty
import random
import struct
import subprocess
import unittest

import jsonschema

from support import (
    ALL_DECODED,
    BAD_USAGE,
    CANNOT_READ_OR_WRITE,
    FORMS,
    PROGRAM,
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
BOX, CLEARED = 0xE1, 0xEA
UNKNOWN, BAD_MODULE, BROWNOUT, PMGR_EVENTS = 7, 11, 39, 953  # offsets in a black box report


def box(report_id=BOX, **counts):
    """A black box full report with these values at these offsets, as "at_39"."""
    report = bytearray(991)
    report[0] = report_id
    for name, count in counts.items():
        struct.pack_into("<I", report, int(name.removeprefix("at_")), count)
    return bytes(report)


def frame(number, milliseconds, samples=(), flags=2, degrees=25.5):
    values = [0] * 192
    for index, sample in samples:
        values[index] = sample
    header = struct.pack("<BBHIII", 0x76, 1, flags, number, 3, milliseconds)
    return header + struct.pack("<192i", *values) + struct.pack("<If", 5, degrees)


def state(number):
    return bytes([0xDE, number])


def masks(*values):
    return b"\xe3" + struct.pack("<7Q", *values)


def version(text):
    return b"\xd0" + text.encode() + b"\0"


def recording(*reports):
    """Reports with their seconds."""
    lines = [
        f"{'E' if data[0] in (0x76, 0x77) else 'F'}: {seconds:.6f} {len(data)} {data.hex(' ')}\n"
        for seconds, data in reports
    ]
    return "".join(lines).encode()


class ChangesTest(HostTest):
    @classmethod
    def setUpClass(cls):
        cls.validator = jsonschema.Draft202012Validator(SCHEMA)

    def expect_text(self, run, text, status=ALL_DECODED, err=""):
        out = run.out.decode().replace(str(self.folder) + "/", "")
        self.assertEqual(out, text)
        self.expect(run, status, err=err)

    def records(self, *arguments, **settings):
        run = Run("-o", "ndjson", "--changes", *arguments, **settings)
        records = run.records()
        for record in records:
            self.validator.validate(record)
        return records

    def fields(self, before, after, *options):
        """The fields that differ between two reports, as records."""
        (record,) = self.records(*options, stdin=hex_lines(before, after))
        return record["change"]["fields"]


class ForPeople(ChangesTest):
    def test_a_counter_that_grew_with_its_rate(self):
        path = self.file("run.hid", recording((1, box()), (3.5, box(at_39=5)), (4, box(at_39=5))))
        self.expect_text(
            Run("-o", "changes", path),
            "run.hid:2, 3.500000 s, report 0xE1 (feature)\n"
            "  PSE_EVENT_AFE_BROWNOUT: 0 -> 5 (+5, 2/s)\n",
        )

    def test_without_times_there_is_no_rate(self):
        self.expect_text(
            Run("-o", "changes", stdin=hex_lines(box(), box(at_39=1))),
            "-:2, report 0xE1 (feature)\n  PSE_EVENT_AFE_BROWNOUT: 0 -> 1 (+1)\n",
        )

    def test_wrapped_and_fell_are_told_apart(self):
        reports = [box(at_39=2**32 - 6), box(at_39=5), box(at_39=2)]
        self.expect_text(
            Run("-o", "changes", stdin=hex_lines(*reports)),
            "-:2, report 0xE1 (feature)\n"
            "  PSE_EVENT_AFE_BROWNOUT: 4294967290 -> 5 (+11, wrapped)\n"
            "-:3, report 0xE1 (feature)\n"
            "  PSE_EVENT_AFE_BROWNOUT: 5 -> 2 (-3, fell)\n",
        )

    def test_restarts_are_told_where_they_are_sure(self):
        reports = [frame(5000, 90_000), frame(3, 50), frame(1, 17)]
        boxes = [box(at_7=9, at_11=9), box(at_7=1, at_11=1)]
        self.expect_text(
            Run("-o", "changes", stdin=hex_lines(*reports, *boxes)),
            "-:2, report 0x76 (input)\n"
            "  the firmware started again: a time fell\n"
            "  FRAME_NUMBER: 5000 -> 3 (-4997, fell)\n"
            "  TIMESTAMP_MS: 90000 -> 50 (-89950, fell)\n"
            "-:3, report 0x76 (input)\n"
            "  FRAME_NUMBER: 3 -> 1 (-2, fell)\n"
            "  TIMESTAMP_MS: 50 -> 17 (-33, fell)\n"
            "-:5, report 0xE1 (feature)\n"
            "  several counters fell: the firmware started again, or cleared them\n"
            "  BLACK_BOX_EVENT_UNKNOWN: 9 -> 1 (-8, fell)\n"
            "  BLACK_BOX_EVENT_BAD_MODULE_ID: 9 -> 1 (-8, fell)\n",
        )

    def test_a_setting_that_fell_has_no_story(self):
        config = [b"\xdc" + struct.pack("<IQIII", 2**32 - 1, 1, *rest) for rest in ((9, 9, 0), (5, 5, 1))]
        self.expect_text(
            Run("-o", "changes", stdin=hex_lines(*config)),
            "-:2, report 0xDC (feature)\n"
            "  SAMPLE_COUNT: 9 -> 5 (-4)\n"
            "  STIM_TIMER_COMPARE: 9 -> 5 (-4)\n"
            '  TRIGGER_SOURCE: "RX_EN" -> "STIM_TIMER"\n',
        )

    def test_arrays(self):
        before = frame(1, 17, [(22, -3)])
        after = frame(2, 34, [(3, -5), (22, 306), (48, 7)])
        summary = (
            "-:2, report 0x76 (input)\n"
            "  FRAME_NUMBER: 1 -> 2 (+1)\n"
            "  TIMESTAMP_MS: 17 -> 34 (+17)\n"
        )
        in_phase = "  D_SCAN_I: 2 of 48 changed, mean 157, largest at channel 22: -3 -> 306 (+309)\n"
        quadrature = "  D_SCAN_Q: 1 of 48 changed, mean 7, largest at channel 0: 0 -> 7 (+7)\n"
        self.expect_text(
            Run("-o", "changes", stdin=hex_lines(before, after)), summary + in_phase + quadrature
        )
        self.expect_text(
            Run("-o", "changes", "--elements", stdin=hex_lines(before, after)),
            f"{summary}{in_phase}    channel 3: 0 -> -5 (-5)\n    channel 22: -3 -> 306 (+309)\n"
            f"{quadrature}    channel 0: 0 -> 7 (+7)\n",
        )

    def test_floats_flags_and_masks(self):
        reports = [
            frame(1, 17, flags=3, degrees=31.0625),
            frame(1, 17, flags=6, degrees=31.5),
            masks(0, 0, 0, 0, 0, 0, 1 << 17 | 1 << 30),
            masks(0, 0, 0, 0, 0, 0, 1 << 17 | 7),
        ]
        self.expect_text(
            Run("-o", "changes", stdin=hex_lines(*reports)),
            "-:2, report 0x76 (input)\n"
            "  FLAGS: 0x3 -> 0x6 (bit 2 set, bit 0 cleared)\n"
            "  TMON_DEG_C: 31.0625 -> 31.5 (+0.4375)\n"
            "-:4, report 0xE3 (feature)\n"
            "  WEAK_OS: 0x40020000 -> 0x20007 (bits 0-2 set, bit 30 cleared)\n",
        )

    def test_a_bare_string(self):
        self.expect_text(
            Run("-o", "changes", stdin=hex_lines(state(0), state(1), state(1), state(9), state(200))),
            '-:2, report 0xDE (feature)\n  "STANDBY" -> "SINGLE"\n'
            '-:4, report 0xDE (feature)\n  "SINGLE" -> "INVALID"\n',
        )

    def test_a_report_without_an_object_by_its_lines(self):
        config = bytearray(232)
        config[0] = 0xE2
        after = bytearray(config)
        after[1] = 0x48
        self.expect_text(
            Run("-o", "changes", stdin=hex_lines(config, after)),
            "-:2, report 0xE2 (feature)\n"
            '  line 1: "Global Trace Config:  (no options set)" -> "Global Trace Config:  MASKED MESSAGE"\n',
        )

    def test_what_only_the_text_says(self):
        after = bytearray(box())
        after[PMGR_EVENTS] = 3
        run = Run("-o", "changes", stdin=hex_lines(box(), after))
        self.assertRegex(
            run.out.decode(),
            r'\A-:2, report 0xE1 \(feature\)\n  line \d+: "PMGR # Events: 0" -> "PMGR # Events: 3"\n\Z',
        )

    def test_bytes_that_show_nowhere_are_no_change(self):
        scan = bytearray(401)
        scan[0] = 0xE4
        after = bytearray(scan)
        after[400] = 255
        run = Run("-o", "changes", "--stats", stdin=hex_lines(scan, after))
        self.expect(run, ALL_DECODED, b"")
        self.assertIn("         1  the same as before, not shown\n", run.err)

    def test_statistics_count_what_is_the_same(self):
        run = Run("-o", "changes", "--stats", stdin=hex_lines(*(state(n) for n in (1, 1, 2, 2, 2))))
        self.expect(
            run,
            ALL_DECODED,
            b'-:3, report 0xDE (feature)\n  "SINGLE" -> "CONTINUOUS"\n',
            "         5  report 0xDE (feature) parseAdcDumpState\n"
            "         5  reports in all\n"
            "         3  the same as before, not shown\n",
        )
        self.assertNotIn("the same", Run("--stats", stdin=hex_lines(STATE, STATE)).err)

    def test_errors_stay_errors(self):
        run = Run("-o", "changes", stdin=hex_lines(state(0)) + b"de\nxx\n" + hex_lines(state(1)))
        self.expect_text(
            run,
            '-:4, report 0xDE (feature)\n  "STANDBY" -> "SINGLE"\n',
            SOME_REFUSED,
            "-:2: report 0xDE (feature): 1 byte, its layout needs 2\n"
            '-:3: bad hex: "x" is no hexadecimal digit, in "xx"\n',
        )

    def test_a_report_whose_text_is_broken_changes_nothing(self):
        run = Run(
            "-o", "changes", stdin=hex_lines(version("a"), b"\xd0\xff\0", version("a"), version("b"))
        )
        self.assertEqual(run.out, b'-:4, report 0xD0 (feature)\n  "a" -> "b"\n')
        self.assertEqual(run.status, SOME_REFUSED)

    def test_nothing_compared_is_told(self):
        message = (
            "vesk-decode: nothing was compared, since each report is the first of its kind from its "
            "sender; --baseline FILE compares with another capture, --across ID,ID with another report\n"
        )
        self.expect_text(Run("-o", "changes", SAMPLES / "tour.hex"), "", err=message)
        self.expect_text(Run("-o", "changes", stdin=b""), "")
        broken = Run("-o", "changes", stdin=b"d0 ff 00\n")  # none was decoded: that is told
        self.assertNotIn("nothing was compared", broken.err)

    def test_each_sender_and_each_file_has_its_own(self):
        usbmon = maker.Usbmon(False)
        packets = []
        for number in range(2):
            for device, begin in ((5, 10), (9, 700)):
                packet = bytearray(usbmon.interrupt((1, number), number, image(begin + number), True))
                packet[11] = device
                packets.append(((1, number), bytes(packet)))
        path = self.file("two.pcap", maker.pcap(189, packets))
        run = Run("-o", "changes", path, path.rename(self.folder / "a.pcap"))
        self.assertEqual(run.status, CANNOT_READ_OR_WRITE)  # the first name is gone
        other = self.file("b.bin", image(1))
        self.expect_text(
            Run("-o", "changes", self.folder / "a.pcap", other),
            "a.pcap: packet 3, 1.000001 s, device 1:5, endpoint 1, report 0x76 (input)\n"
            "  FRAME_NUMBER: 10 -> 11 (+1, 1000000/s)\n"
            "a.pcap: packet 4, 1.000001 s, device 1:9, endpoint 1, report 0x76 (input)\n"
            "  FRAME_NUMBER: 700 -> 701 (+1, 1000000/s)\n",
        )


class Terminals(ChangesTest):
    HOSTILE = hex_lines(version("a"), version("\x1b[2J\nb"))

    def test_hostile_text_is_escaped_in_pipes_too(self):
        self.expect_text(
            Run("-o", "changes", stdin=self.HOSTILE),
            '-:2, report 0xD0 (feature)\n  "a" -> "\\u001b[2J\\u000ab"\n',
        )

    def test_names_of_files_are_escaped(self):
        path = self.file("x\x1b[2J.hex", hex_lines(state(0), state(1)))
        run = Run("-o", "changes", "--color=always", path)
        self.assertIn(b"x\\u001b[2J.hex:2", run.out)

    def test_colours(self):
        reports = [box(at_7=9, at_11=9), box(at_7=1, at_11=1), box(at_7=2, at_11=1)]
        run = Run("-o", "changes", "--color=always", stdin=hex_lines(*reports))
        self.expect_text(
            run,
            "\x1b[36m-:2, report 0xE1 (feature)\x1b[0m\n"
            "  \x1b[31mseveral counters fell: the firmware started again, or cleared them\x1b[0m\n"
            "  \x1b[31mBLACK_BOX_EVENT_UNKNOWN: 9 -> 1 (-8, fell)\x1b[0m\n"
            "  \x1b[31mBLACK_BOX_EVENT_BAD_MODULE_ID: 9 -> 1 (-8, fell)\x1b[0m\n"
            "\x1b[36m-:3, report 0xE1 (feature)\x1b[0m\n"
            "  BLACK_BOX_EVENT_UNKNOWN: 1 -> 2 (+1)\n",
        )

    def on_terminal(self, *arguments, environment):
        controller, terminal = pty.openpty()
        with open(controller, "rb", buffering=0) as reader:
            path = self.file("r.hex", self.HOSTILE)
            subprocess.run([PROGRAM, *arguments, path], stdout=terminal, check=True, timeout=600,
                           env={**os.environ, **environment})
            os.close(terminal)
            text = b""
            try:
                while piece := reader.read(4096):
                    text += piece
            except OSError:  # the other end is closed
                pass
        return text.decode().replace("\r\n", "\n").replace(str(self.folder) + "/", "")

    def test_on_a_terminal(self):
        body = '  "a" -> "\\u001b[2J\\u000ab"\n'
        header = "r.hex:2, report 0xD0 (feature)"
        coloured = self.on_terminal("-o", "changes", environment={"NO_COLOR": ""})
        self.assertEqual(coloured, f"\x1b[36m{header}\x1b[0m\n{body}")
        plain = self.on_terminal("-o", "changes", environment={"NO_COLOR": "1"})
        self.assertEqual(plain, f"{header}\n{body}")


class Records(ChangesTest):
    def test_a_record_to_the_byte(self):
        run = Run("-o", "ndjson", "--changes", stdin=recording((1, box()), (3.5, box(at_39=5))))
        self.expect(
            run,
            ALL_DECODED,
            b'{"format_version":1,"source":{"file":"-","line":2},"time":3.500000,"report_id":225,'
            b'"report_type":"feature","decoder":"parseBlackBoxFullReport",'
            b'"display_name":"lackBoxFullReport","length":991,"change":{"before":{"source":'
            b'{"file":"-","line":1},"time":1.000000,"report_id":225},"seconds":2.5,"fields":['
            b'{"key":"PSE_EVENT_AFE_BROWNOUT","before":0,"after":5,"difference":5,"course":"grew",'
            b'"rate":2}]}}\n',
            "",
        )

    def test_courses_and_restarts(self):
        records = self.records(
            stdin=hex_lines(
                box(at_39=2**32 - 6), box(at_39=5), box(at_39=2), frame(5000, 9000), frame(3, 50),
                box(at_7=9, at_11=9, at_39=2), box(at_7=1, at_11=1, at_39=2),
            )
        )
        told = [
            (record["change"].get("restart"), *(field["course"] for field in record["change"]["fields"]))
            for record in records
        ]
        self.assertEqual(
            told,
            [
                (None, "wrapped"),
                (None, "fell"),
                ("firmware", "fell", "fell"),
                (None, "grew", "grew"),
                ("counters", "fell", "fell"),
            ],
        )
        self.assertEqual(records[0]["change"]["fields"][0]["difference"], 11)

    def test_differences_are_exact(self):
        largest = 2**64 - 1
        fields = self.fields(masks(0, largest, 2**53, 0, 0, 0, 0), masks(largest, 0, 2**53 + 1, 0, 0, 0, 0))
        self.assertEqual([field["difference"] for field in fields], [largest, -largest, 1])
        self.assertEqual(fields[0]["bits_set"], [*range(64)])
        self.assertEqual(fields[1]["bits_cleared"], [*range(64)])
        self.assertEqual(fields[2]["bits_set"], [0])

    def test_arrays(self):
        before, after = frame(1, 1, [(22, -3)]), frame(1, 1, [(3, -5), (22, 306)])
        summary = {
            "key": "D_SCAN_I",
            "elements": 48,
            "changed": 2,
            "mean": 157,
            "largest": {"index": 22, "before": -3, "after": 306, "difference": 309},
        }
        self.assertEqual(self.fields(before, after), [summary])
        changes = [{"index": 3, "before": 0, "after": -5, "difference": -5}, summary["largest"]]
        self.assertEqual(self.fields(before, after, "--elements"), [{**summary, "changes": changes}])

    def test_nan_is_null_and_without_a_difference(self):
        fields = self.fields(frame(1, 1, degrees=float("nan")), frame(1, 1, degrees=2))
        self.assertEqual(fields, [{"key": "TMON_DEG_C", "before": None, "after": 2}])
        fields = self.fields(
            b"\xa2" + struct.pack("<48f", *[1] * 48), b"\xa2" + struct.pack("<48f", *[float("nan")] * 48)
        )
        self.assertEqual(fields, [{"key": "BASELINE", "elements": 48, "changed": 48}])
        quiet, other = b"\xa2" + struct.pack("<48I", *[0x7FC00000] * 48), b"\xa2" + b"\1\0\xc0\xff" * 48
        self.assertEqual(self.records(stdin=hex_lines(quiet, other)), [])

    def test_strings_and_lines(self):
        self.assertEqual(self.fields(version("a\x1b"), version("b")), [{"before": "a\x1b", "after": "b"}])
        config = bytearray(232)
        config[0] = 0xE2
        after = bytearray(config)
        after[1] = 0x08
        (field,) = self.fields(config, after)
        self.assertEqual(field["line"], 1)
        self.assertEqual(field["before"].split(":")[1].strip(), "(no options set)")
        self.assertEqual(field["after"].split(":")[1].strip(), "MASKED")

    def test_errors_and_counts_are_records_too(self):
        records = self.records(
            "--stats", stdin=hex_lines(state(0), state(0)) + b"de\n" + hex_lines(state(1))
        )
        self.assertEqual([("error" in r, "change" in r, "statistics" in r) for r in records],
                         [(True, False, False), (False, True, False), (False, False, True)])
        self.assertEqual(records[-1]["statistics"]["unchanged"], 1)
        counts = Run("-o", "ndjson", "--stats", stdin=hex_lines(state(0))).records()[-1]["statistics"]
        self.assertNotIn("unchanged", counts)

    def test_an_array_of_the_same_records(self):
        content = hex_lines(*(state(n) for n in (0, 1, 1, 2)))
        array = Run("-o", "json", "--changes", stdin=content)
        self.assertEqual(json.loads(array.out), self.records(stdin=content))
        self.assertEqual(json.loads(Run("-o", "json", "--changes", stdin=b"").out), [])

    def test_every_report_with_nearly_every_byte_changed(self):
        """Ends of texts and of lines stay."""
        for _, data in TOUR:
            with self.subTest(id=hex(data[0])):
                other = bytes([data[0]]) + bytes(byte ^ (byte not in b"\0\n") for byte in data[1:])
                records = self.records("--elements", "--stats", stdin=hex_lines(data, other, data))
                self.assertEqual(len(records), 3)

    def mutated(self, data, count):
        """A stream of reports, each with a few bytes that differ from the one before, or none."""
        report = bytearray(data)
        for _ in range(count):
            for _ in range(self.random.choice((0, 1, 1, 3, 20))):
                report[self.random.randrange(1, len(report))] = self.random.choice((0, 1, 0x7E, 0xFF))
            yield bytes(report)

    def expected_fields(self, before, after):
        """What differs between two values as -o ndjson has them, by keys, but for courses and bits."""
        for key in after:
            old, now = before[key], after[key]
            if old == now:
                continue
            if not isinstance(now, list):
                yield {"key": key, "before": old, "after": now}
                continue
            changes = [
                {"index": i, "before": a, "after": b} for i, (a, b) in enumerate(zip(old, now)) if a != b
            ]
            yield {"key": key, "elements": len(now), "changed": len(changes), "changes": changes}

    def check_differences(self, field):
        """Against its own values; takes away what expected_fields() leaves out."""
        for name in ("course", "rate", "bits_set", "bits_cleared"):
            field.pop(name, None)
        entries = field.get("changes", [field])
        sizes = []
        for entry in entries:
            difference = entry.pop("difference", None)
            before, after = entry["before"], entry["after"]
            if isinstance(before, int) and isinstance(after, int):
                self.assertIn(difference - (after - before), (0, 2**32))  # the latter if it wrapped
            if difference is not None:
                sizes.append(abs(difference))
        if "changes" in field:
            largest, mean = field.pop("largest", None), field.pop("mean", None)
            self.assertEqual(abs(largest["difference"]) if largest else None, max(sizes, default=None))
            if sizes:
                self.assertAlmostEqual(mean / (sum(sizes) / len(sizes)), 1, places=9)

    def test_what_python_finds_between_the_values(self):
        """Of reports that nobody chose. Infinities and NaNs are all null, so floats are left alone."""
        self.random = random.Random(12)
        found = 0
        for _, data in TOUR:
            if data[0] in (0xD0, 0xD2, 0xE2, 0xA2):
                continue
            with self.subTest(id=hex(data[0])):
                body = data[:-4] if data[0] == 0x76 else data
                reports = [report + data[len(body) :] for report in self.mutated(body, 60)]
                path = self.file("r.hex", hex_lines(*reports))
                values = [record["value"] for record in Run("-o", "ndjson", path).records()]
                records = {r["source"]["line"]: r["change"] for r in self.records("--elements", path)}
                for line in range(2, len(values) + 1):
                    before, after = values[line - 2], values[line - 1]
                    if not isinstance(after, dict):
                        before, after = {None: before}, {None: after}
                    expected = list(self.expected_fields(before, after))
                    if None in after and expected:
                        del expected[0]["key"]
                    fields = records.get(line, {"fields": []})["fields"]
                    fields = [field for field in fields if "line" not in field]
                    for field in fields:
                        self.check_differences(field)
                    self.assertEqual(fields, expected)
                    found += len(expected)
        self.assertGreater(found, 1000)

    def test_every_sample_twice(self):
        for path in FORMS.glob("tour*"):
            with self.subTest(path=path.name):
                run = Run("-o", "ndjson", "--changes", "--stats", path, path)
                (counts,) = map(json.loads, run.out.splitlines())
                self.validator.validate(counts)
                reports = counts["statistics"]["reports"]
                self.assertEqual(counts["statistics"]["unchanged"], reports // 2)

    def test_the_schema_does_not_take_everything(self):
        (record,) = self.records(stdin=recording((1, box()), (2, box(at_39=5))))
        for change in ({}, {"fields": []}, {"before": {}, "fields": []}, {**record["change"], "more": 1}):
            self.assertFalse(self.validator.is_valid({**record, "change": change}))
        for field in (
            {"key": "X", "difference": 1}, {"key": "", "before": 1, "after": 2},
            {"key": "X", "before": 1, "after": 2, "course": "rose", "difference": 1},
            {"key": "X", "elements": 0, "changed": 1}, {"line": 0, "before": "x"},
            {"key": "X", "before": 1, "after": 2, "rate": 1.0}, {"key": "X"}, {}, {"before": 1},
            {"key": "X", "before": 1, "difference": 1},
        ):
            with self.subTest(field=field):
                change = {**record["change"], "fields": [field]}
                self.assertFalse(self.validator.is_valid({**record, "change": change}))
        self.assertFalse(self.validator.is_valid({**record, "value": 1}))

    def test_threads_change_nothing(self):
        content = hex_lines(*(frame(n, 17 * n, [(n % 192, n)]) for n in range(3000)))
        self.assertGreater(len(content), 4_000_000)
        path = self.file("many.hex", content)
        one, three = (
            Run("-o", "ndjson", "--changes", "--stats", "--jobs", jobs, path) for jobs in (1, 3)
        )
        self.assertTrue((one.out, one.err) == (three.out, three.err))
        self.assertEqual(len(one.records()), 3000)  # the first report has none, the counts have one


class Baselines(ChangesTest):
    def golden(self, *reports):
        return self.file("golden.hex", hex_lines(*reports))

    def test_each_report_with_the_last_of_its_kind(self):
        golden = self.golden(box(at_39=7), state(0), box(at_39=1))
        run = Run(
            "-o", "changes", "--baseline", golden,
            stdin=hex_lines(box(at_39=1), state(0), box(at_39=3), box(at_39=3), box(at_39=4), box(at_39=1)),
        )
        self.expect_text(
            run,
            "-:3, report 0xE1 (feature), compared with golden.hex:3\n"
            "  PSE_EVENT_AFE_BROWNOUT: 1 -> 3 (+2)\n"
            "-:5, report 0xE1 (feature), compared with golden.hex:3\n"
            "  PSE_EVENT_AFE_BROWNOUT: 1 -> 4 (+3)\n"
            "-:6, report 0xE1 (feature), compared with golden.hex:3\n"
            "  the same again\n",
        )

    def test_another_unit_has_no_course_and_no_rate(self):
        golden = self.file("golden.hid", recording((1, box(at_7=9, at_11=9, at_39=2**32 - 1))))
        (record,) = self.records("--baseline", golden, stdin=recording((9, box())))
        change = record["change"]
        self.assertEqual(
            [(field["difference"], field.get("course"), field.get("rate")) for field in change["fields"]],
            [(-9, None, None), (-9, None, None), (1 - 2**32, None, None)],
        )
        self.assertEqual(
            change["before"],
            {"source": {"file": str(golden), "line": 1}, "time": 1.0, "report_id": BOX},
        )
        self.assertNotIn("seconds", change)
        self.assertNotIn("restart", change)

    def test_a_capture_of_any_form(self):
        """The tour is the same in all forms, but for what a form can't hold."""
        for path in sorted(FORMS.glob("tour*")):
            with self.subTest(path=path.name):
                run = Run("-o", "changes", "--stats", "--baseline", path, SAMPLES / "tour.hex")
                self.assertEqual(run.out, b"")
                self.assertIn(run.status, (ALL_DECODED, BAD_USAGE))  # as it may hold a part of them
                held = Run("-o", "ndjson", "--stats", path).records()[-1]["statistics"]["reports"]
                self.assertIn(f"{held:10}  the same as before, not shown\n", run.err)
                self.assertEqual(run.status, ALL_DECODED if held == len(TOUR) else BAD_USAGE)

    def test_a_kind_that_it_lacks(self):
        golden = self.golden(box())
        run = Run(
            "-o", "changes", "--baseline", golden,
            stdin=hex_lines(state(0), state(1), box(at_39=1)),
        )
        self.expect_text(
            run,
            '-:2, report 0xDE (feature)\n  "STANDBY" -> "SINGLE"\n'
            "-:3, report 0xE1 (feature), compared with golden.hex:1\n"
            "  PSE_EVENT_AFE_BROWNOUT: 0 -> 1 (+1)\n",
            BAD_USAGE,
            "-:1: report 0xDE (feature): the baseline, golden.hex, has none; this one takes its place\n",
        )

    def test_an_id_that_it_lacks_is_refused_at_once(self):
        golden = self.golden(box())
        run = Run("-o", "changes", "--report", "0xE1,0xDE", "--baseline", golden, stdin=hex_lines(box()))
        message = (
            "vesk-decode: --baseline golden.hex: it has no report 0xDE, which --report asks for; "
            "--help shows the options\n"
        )
        self.expect_text(run, "", BAD_USAGE, message)

    def test_a_kind_that_never_came(self):
        golden = self.golden(box(), state(1), masks(*[0] * 7))
        message = (
            "vesk-decode: the baseline has reports of which none came: report 0xDE (feature), "
            "report 0xE3 (feature)\n"
        )
        run = Run("-o", "changes", "--baseline", golden, stdin=hex_lines(box()))
        self.expect_text(run, "", ALL_DECODED, message)
        run = Run("-o", "changes", "--baseline", golden, "--report", "0xE1", stdin=hex_lines(box()))
        self.expect_text(run, "", ALL_DECODED)

    def test_what_can_not_be_read(self):
        empty = self.file("empty.hex", b"# nothing\n")
        words = self.file("words.txt", b"no\nreports\n")
        for path, complaint in (
            (self.folder / "none.hex", "No such file"),
            (self.folder, "directory"),
            (empty, "no report in it that is wanted was decoded"),
            (words, "no report in it that is wanted was decoded"),
        ):
            with self.subTest(path=path.name):
                run = Run("-o", "changes", "--baseline", path, stdin=hex_lines(box()))
                self.assertEqual((run.out, run.status), (b"", BAD_USAGE))
                self.assertIn(f"vesk-decode: --baseline {path}: ", run.err)
                self.assertIn(complaint, run.err)

    def test_a_broken_one_is_told_and_the_rest_used(self):
        golden = self.file("golden.hex", hex_lines(state(0)) + b"de\n" + b"zz\n" * 7)
        run = Run("-o", "changes", "--baseline", golden, stdin=hex_lines(state(1)))
        told = "".join(
            f'golden.hex:{line}: bad hex: "z" is no hexadecimal digit, in "zz"\n' for line in range(3, 7)
        )
        self.expect_text(
            run,
            '-:1, report 0xDE (feature), compared with golden.hex:1\n  "STANDBY" -> "SINGLE"\n',
            SOME_REFUSED,
            f"golden.hex:2: report 0xDE (feature): 1 byte, its layout needs 2\n{told}"
            "golden.hex: 3 more errors of it are not shown\n",
        )

    def test_several_senders_are_refused(self):
        usbmon = maker.Usbmon(False)
        packets = []
        for device in (5, 9):
            packet = bytearray(usbmon.interrupt((1, 0), device, image(device), True))
            packet[11] = device
            packets.append(((1, 0), bytes(packet)))
        golden = self.file("two.pcap", maker.pcap(189, packets))
        run = Run("-o", "changes", "--baseline", golden, stdin=image(1))
        message = (
            "vesk-decode: --baseline two.pcap: packet 2: report 0x76 (input) comes from several "
            "senders, device 1:5, endpoint 1 and device 1:9, endpoint 1; make a capture of one: "
            "vesk-decode -o recording --device BUS:DEV; --help shows the options\n"
        )
        self.expect_text(run, "", BAD_USAGE, message)

    def test_standard_input_is_one_of_both(self):
        path = self.file("now.hex", hex_lines(state(1)))
        run = Run("-o", "changes", "--baseline", "-", path, stdin=hex_lines(state(0)))
        self.expect_text(
            run, 'now.hex:1, report 0xDE (feature), compared with -:1\n  "STANDBY" -> "SINGLE"\n'
        )
        for files in ([], ["-"]):
            run = Run("-o", "changes", "--baseline", "-", *files, stdin=hex_lines(state(0)))
            message = "vesk-decode: --baseline -: standard input is decoded already; "
            self.expect(run, BAD_USAGE, b"", message + "--help shows the options\n")


class Across(ChangesTest):
    HEADER = "-:{}, report 0xE1 (feature), compared with -:{}, report 0xEA (feature)\n"

    def test_from_the_first_id_to_the_other_in_any_order(self):
        then, now = box(CLEARED, at_39=0), box(at_39=1)
        for reports, places in (((then, now), (2, 1)), ((now, then), (1, 2))):
            self.expect_text(
                Run("-o", "changes", "--across", "0xEA,0xE1", stdin=hex_lines(*reports)),
                self.HEADER.format(*places) + "  PSE_EVENT_AFE_BROWNOUT: 0 -> 1 (+1)\n",
            )
        self.expect_text(
            Run("-o", "changes", "--across", "E1,EA", stdin=hex_lines(then, now)),
            "-:1, report 0xEA (feature), compared with -:2, report 0xE1 (feature)\n"
            "  PSE_EVENT_AFE_BROWNOUT: 1 -> 0 (-1)\n",
        )

    def test_only_news(self):
        reports = [box(CLEARED), box(at_39=1), box(at_39=1), box(CLEARED), box(at_39=2), box(), state(0), state(1)]
        self.expect_text(
            Run("-o", "changes", "--across", "0xEA,0xE1", stdin=hex_lines(*reports)),
            self.HEADER.format(2, 1) + "  PSE_EVENT_AFE_BROWNOUT: 0 -> 1 (+1)\n"
            + self.HEADER.format(5, 4) + "  PSE_EVENT_AFE_BROWNOUT: 0 -> 2 (+2)\n"
            + self.HEADER.format(6, 4) + "  the same again\n"
            + '-:8, report 0xDE (feature)\n  "STANDBY" -> "SINGLE"\n',
        )

    def test_records(self):
        (record,) = self.records("--across", "0xEA,0xE1", SAMPLES / "tour.hex")
        self.assertEqual(record["report_id"], BOX)
        self.assertEqual(record["change"]["before"]["report_id"], CLEARED)
        self.assertEqual(
            {field["key"]: field["difference"] for field in record["change"]["fields"]},
            {
                "PSE_EVENT_AFE_BROWNOUT": 1,
                "HIDSPI_SLAVE_EVENT_BUS_RESUME": 115,
                "ALGS_EVENT_FRAME_MISMATCH": 2,
            },
        )

    def test_one_that_never_came(self):
        run = Run("-o", "changes", "--across", "0xEA,0xE1", stdin=hex_lines(box(), box(at_39=1)))
        message = (
            "-: report 0xE1 (feature) is compared with nothing: of report 0xEA (feature) none came from "
            "the same sender\n"
        )
        self.expect_text(run, "", ALL_DECODED, message)
        run = Run("-o", "changes", "--across", "0xEA,0xE1", stdin=hex_lines(box(CLEARED)))
        message = "-: report 0xEA (feature) is compared with nothing: of the others of --across none came\n"
        self.expect_text(run, "", ALL_DECODED, message)

    def test_what_makes_no_sense(self):
        for ids, complaint in (
            ("0xE1", "--across 0xE1: it takes two IDs or more"),
            ("0xE1,0xE1", "--across 0xE1: the ID is named twice"),
            ("0xE1,0x99", "--across 0x99: no decoder reads it"),
            (
                "0xE1,0xE3",
                "--across 0xE3: parseOpenShortTest reads it, and parseBlackBoxFullReport reads the first "
                "one; reports are compared that one decoder reads",
            ),
            ("0xE1,", "--across: an ID in its list is empty"),
            ("0xE1,999", "--across 999: an ID is 0 to 255, such as 0x76"),
        ):
            with self.subTest(ids=ids):
                run = Run("-o", "changes", "--across", ids, stdin=hex_lines(box()))
                self.expect(run, BAD_USAGE, b"", f"vesk-decode: {complaint}; --help shows the options\n")


class Hostile(ChangesTest):
    def test_many_senders_of_long_texts_take_bounded_memory(self):
        usbmon = maker.Usbmon(False)
        setup = maker.GET_REPORT + bytes([0xD0, 3, 0, 0, 0xFF, 0xFF])
        packets = []
        for bus in range(700):
            text = b"\xd0" + b"a" * 60_000 + b"\0"
            for packet in (
                usbmon.control((1, 0), bus, setup, completed=False),
                usbmon.control((1, 0), bus, text, completed=True),
            ):
                packets.append(((1, 0), packet[:12] + struct.pack("<H", bus) + packet[14:]))
        path = self.file("many.pcap", maker.pcap(189, packets))
        run = Run("-o", "changes", "--stats", path, path, limit=256 << 20)
        self.assertEqual(run.status, ALL_DECODED, run.err)
        self.assertIn("376 reports were compared with nothing: too many senders\n", run.err)
        self.assertIn("       512  the same as before, not shown\n", run.err)


class Options(ChangesTest):
    def test_what_would_be_ignored_is_refused(self):
        golden = self.file("golden.hex", hex_lines(box()))
        for options, complaint in (
            (["--changes"], "--changes is for -o ndjson and -o json"),
            (["--changes", "-o", "csv"], "--changes is for -o ndjson and -o json"),
            (["--baseline", golden], "--baseline is for changes"),
            (["--across", "0xEA,0xE1", "-o", "ndjson"], "--across is for changes"),
            (["--elements"], "--elements goes with --layout, --changes, -o changes, -o explain"),
            (["-o", "changes", "--baseline", golden, "--across", "0xEA,0xE1"], "--baseline and --across"),
            (["-o", "changes", "--host-writes"], "--host-writes"),
            (["-o", "json", "--changes", "--lines"], "--lines"),
        ):
            with self.subTest(options=options):
                run = Run(*options, stdin=hex_lines(box()))
                self.assertEqual((run.out, run.status), (b"", BAD_USAGE))
                self.assertIn(f"vesk-decode: {complaint}", run.err)

    def test_verbose_tells_how_the_baseline_is_read(self):
        golden = self.file("golden.hex", hex_lines(state(1)))
        run = Run("-v", "-o", "changes", "--baseline", golden, stdin=hex_lines(state(1)))
        self.assertIn(f"{golden}: the baseline, read as lines of hex digits\n", run.err)


if __name__ == "__main__":
    unittest.main()
