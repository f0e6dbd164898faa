"""Every form of input: that its sample reads as the reports it was made of, from a file and from a
pipe, that converting there and back loses nothing, and what is said of each thing that is wrong."""

import json
import random
import shutil
import struct
import subprocess
import unittest

from support import (
    ALL_DECODED,
    CANNOT_READ_OR_WRITE,
    FORMS,
    SAMPLES,
    SOME_REFUSED,
    STATE,
    STATE_LINES,
    TOUR,
    HostTest,
    Run,
    hex_lines,
    image,
    maker,
    packet,
)

TOUR_TEXT = Run(SAMPLES / "tour.hex").out
TOUR_BYTES = b"".join(data for _, data in TOUR)
NAMES = {
    "tour.bin": "binary",
    "tour.xxd": "dump",
    "tour.xxd-p": "xxd-p",
    "tour.hexdump": "dump",
    "tour.od": "dump",
    "tour.hid": "recording",
    "tour-array.txt": "array",
    "tour.csv": "csv",
    "tour-dmesg.log": "log",
    "tour-logcat.log": "log",
    "tour-tshark.txt": "packets",
    "tour-tshark-usbpcap.txt": "packets",
    "tour-usbmon.pcap": "usb",
    "tour-usbmon-mapped.pcapng": "usb",
    "tour-usbpcap.pcap": "usb",
}
NAMES_OF_CAPTURES = [name for name in NAMES if NAMES[name] == "usb"] + ["two-links.pcapng"]
# These forms can't show all of the reports.
IN_PART = {"tour-usbmon.txt": "usbmon", "tour-usbhid-dump.txt": "usbhid-dump"}


class Samples(HostTest):
    def test_they_are_what_their_program_makes(self):
        made = dict(maker.forms(TOUR))
        self.assertEqual(sorted(made), sorted([*NAMES, *IN_PART, "two-links.pcapng"]))
        for name, content in made.items():
            self.assertEqual((FORMS / name).read_bytes(), content, name)

    def test_dumps_are_what_the_tools_print(self):
        commands = {
            "tour.xxd": ["xxd"],
            "tour.xxd-p": ["xxd", "-p"],
            "tour.hexdump": ["hexdump", "-C"],
            "tour.od": ["od", "-A", "x", "-t", "x1", "-v"],
        }
        for name, command in commands.items():
            with self.subTest(name=name):
                if shutil.which(command[0]) is None:
                    self.skipTest(f"{command[0]} is not installed")
                shown = subprocess.run(
                    command, input=TOUR_BYTES, capture_output=True, check=True
                ).stdout
                self.assertEqual(shown, (FORMS / name).read_bytes())

    def test_each_form_reads_as_the_same_reports(self):
        for name, form in NAMES.items():
            content = (FORMS / name).read_bytes()
            for run in (
                Run(FORMS / name),
                Run(stdin=content),
                Run("-i", form, FORMS / name),
                Run(f"--input={form}", "-", stdin=content),
            ):
                with self.subTest(name=name):
                    self.expect(run, ALL_DECODED, TOUR_TEXT, "")

    def test_windows_line_ends(self):
        for name in ("tour.xxd", "tour.xxd-p", "tour.hexdump", "tour.od", "tour.hid"):
            with self.subTest(name=name):
                content = (FORMS / name).read_bytes().replace(b"\n", b"\r\n")
                self.expect(Run(stdin=content), ALL_DECODED, TOUR_TEXT, "")

    def test_conversion_there_and_back(self):
        for name in [*NAMES, "../tour.hex"]:
            with self.subTest(name=name):
                once = Run("-o", "recording", FORMS / name)
                self.expect(once, ALL_DECODED, err="")
                self.expect(Run(stdin=once.out), ALL_DECODED, TOUR_TEXT, "")
                self.expect(Run("-o", "recording", stdin=once.out), ALL_DECODED, once.out, "")

    def test_conversion_keeps_times(self):
        for name in NAMES:
            if not name.endswith(("pcap", "pcapng", "hid")):
                continue
            with self.subTest(name=name):
                times = [r["time"] for r in Run("-o", "ndjson", FORMS / name).records()]
                recorded = Run("-o", "recording", FORMS / name).out
                again = [r["time"] for r in Run("-o", "ndjson", stdin=recorded).records()]
                self.assertEqual(times, again)
                self.assertGreaterEqual(times[0], 1.7e9)


class TextOrBinary(HostTest):
    """Two reports' IDs are letters, and the IDs of others begin letters of other alphabets."""

    HEX = hex_lines(STATE)

    def test_logs_that_begin_with_an_id(self):
        for word in ("vendor", "value", "version", "wrote", "watchdog", "Привет", "मान", "北京"):
            for rest in (": 25 °C", "\x1b[31m red \x1b[0m", "\tx\r"):
                for count in (1, 40, 400):
                    with self.subTest(word=word, rest=rest, count=count):
                        log = f"{word}{rest} report log\n".encode() * count
                        run = Run("-o", "ndjson", stdin=log + self.HEX)
                        values = [record["value"] for record in run.records() if "value" in record]
                        self.assertEqual(values, ["SINGLE"])

    def test_a_letter_cut_off_where_looking_ends(self):
        log = b"value " + b"x" * 2056 + "é\nde 01\n".encode()
        self.assertIn(STATE_LINES, Run(stdin=log).out)

    def test_reports_are_binary(self):
        for content in (image(1), packet(1), image(1) + packet(2) + STATE, packet(3) + bytes(5)):
            self.expect(Run("-v", stdin=content), ALL_DECODED)

    def test_neither(self):
        """Text in Latin-1, and a report behind which nothing known stands."""
        latin = "value 25 °C\n".encode("latin-1") * 400
        for content, letter in (
            (latin, "v"), (image(1) + b"log", "v"), (packet(1) + b"\n", "w"), (b"w\0" + latin, "w"),
        ):
            run = Run(stdin=content)
            self.assertEqual((run.status, run.out), (CANNOT_READ_OR_WRITE, b""))
            self.assertRegex(
                run.err,
                f'^-: begins with "{letter}", which is report 0x7[67] .input. as well, and is '
                "neither text nor such a report and another behind it; say which it is: -i hex or "
                "-i binary\n$",
            )
        self.assertIn(b"[Frame # = 1]", Run("-i", "binary", stdin=image(1) + b"log").out)


class ByteOrderMark(HostTest):
    MARK = b"\xef\xbb\xbf"

    def test_in_front_of_any_text(self):
        for name, form in [*NAMES.items(), ("../tour.hex", "hex")]:
            if form in ("binary", "usb"):
                continue
            content = self.MARK + (FORMS / name).read_bytes()
            for options in ([], ["-i", form]):
                with self.subTest(name=name, options=options):
                    self.expect(Run(*options, stdin=content), ALL_DECODED, TOUR_TEXT, "")

    def test_of_nothing_else(self):
        for content in (b"", self.MARK[:1], self.MARK[:2], self.MARK):
            self.assertEqual(Run("-i", "hex", stdin=content).out, b"")

    def test_binary_has_none(self):
        run = Run("-i", "binary", stdin=self.MARK + STATE)
        self.assertEqual((run.status, run.out), (SOME_REFUSED, b""))


class Wrapped(HostTest):
    """Reports that stand in several lines of digits."""

    def rows(self, data, width):
        return hex_lines(*(row for _, row in maker.rows(data, width)))

    def reports(self, data, width):
        """What is decoded, and the codes of what is refused."""
        records = Run("-o", "ndjson", stdin=data if width is None else self.rows(data, width)).records()
        codes = [record["error"]["code"] for record in records if "error" in record]
        return [record for record in records if "value" in record], codes

    def full_report(self, *places, row=b"\xde\x01"):
        data = bytearray(991)
        data[0] = 0xE1
        for place in places:
            data[place : place + len(row)] = row
        return bytes(data)

    def test_joined_whatever_later_rows_begin_with(self):
        for width in (2, 4, 8, 16, 20, 24, 32, 64, 500, 990):
            places = range(width, 990, width)
            for row in (b"\xde\x01", b"\xe0\x01", b"\xd0\x31", b"\xdf\0", b"\x99\x99"):
                if width > 4:
                    row += b"\x37" * 3
                with self.subTest(width=width, row=row):
                    report = self.full_report(*places, row=row)[:991]
                    found, codes = self.reports(report, width)
                    self.assertEqual(codes, [])
                    self.assertEqual([record["length"] for record in found], [991])
                    self.assertEqual(found[0]["source"]["line"], 1)
                    whole, _ = self.reports(hex_lines(report), None)
                    self.assertEqual([r["value"] for r in found], [r["value"] for r in whole])

    def test_each_report_of_the_tour(self):
        for kind, data in TOUR:
            for width in (8, 16, 32):
                if data[0] in (row[0] for _, row in list(maker.rows(data, width))[1:]):
                    continue
                with self.subTest(id=data[0], width=width):
                    found, codes = self.reports(data, width)
                    self.assertEqual((len(found), codes), (1, []))
                    text = f"{kind} ".encode() + self.rows(data, width)
                    self.assertEqual(Run(stdin=text).out, Run(stdin=hex_lines(data)).out)

    def test_two_with_something_between(self):
        report = self.rows(self.full_report(16), 16)
        for between in (b"\n", b"# next\n", b"", b"feature "):
            found, codes = self.reports(report + between + report, None)
            self.assertEqual((len(found), codes), (2, []), between)

    def test_another_row_with_the_same_id(self):
        report = bytearray(image(1))
        report[32] = 0x76
        self.assertEqual(self.reports(bytes(report), 16), ([], ["short_report"]))
        self.assertEqual(self.reports(hex_lines(*[image(1)[:16]] * 50), None), ([], ["short_report"]))

    def test_run_that_does_not_end_with_the_report(self):
        report = self.full_report(16, 32, 48, row=b"\xde\x01\0")
        for data in (report[:-1], report[:-20], report[:64], report[:48]):
            self.assertEqual(self.reports(data, 16), ([], ["short_report"]))
        for data in (report + b"\0", report + STATE + bytes(14), report + bytes(40)):
            self.assertEqual(self.reports(data, 16), ([], ["length_mismatch"]))

    def test_packets_of_random_words(self):
        generator = random.Random(5)
        for _ in range(100):
            data = packet(1)[:16] + generator.randbytes(2048)
            rows = [row for _, row in maker.rows(data)]
            # What a capture makes of it: whole, cut off, and with a row in its place lost.
            for shown in (rows, rows[:-1], rows[1:], rows[:5] + rows[6:], rows[:40] + [b"\x05"] + rows[40:]):
                found, _ = self.reports(hex_lines(*shown), None)
                alone = any(row[0] == 0x77 for row in rows[1:])
                self.assertEqual(len(found), int(shown is rows and not alone))

    def test_rows_of_an_unknown_report(self):
        unknown = bytes([0x05]) * 16
        mixed = STATE + b"\x07" * 14
        padded = STATE + bytes(14)
        found, codes = self.reports(hex_lines(unknown, mixed, padded, mixed), None)
        self.assertEqual([record["source"]["line"] for record in found], [3])
        self.assertEqual(codes, ["unknown_report", "length_mismatch", "length_mismatch"])

    def test_text(self):
        version = b"\xd2" + b"\n".join(b"name-%d" % i for i in range(6)) + b"\0"
        found, codes = self.reports(version, 8)
        self.assertEqual((len(found), codes), (1, []))
        self.assertEqual(self.reports(version[:-1], 8), ([], ["short_report"]))
        self.assertEqual(self.reports(hex_lines(b"\xd04", b"\xde\0"), None), ([], ["short_report"]))

    def test_rows_that_are_no_run(self):
        """A line as long as the one before it, or shorter, is no piece of it if that is whole."""
        lines = hex_lines(STATE + b"\x05", STATE, STATE, image(1), image(2), STATE)
        found, codes = self.reports(lines, None)
        self.assertEqual((len(found), codes), (6, []))
        found, codes = self.reports(hex_lines(image(1)[:9], STATE, STATE), None)
        self.assertEqual((len(found), codes), (2, ["short_report"]))


class Digits(HostTest):
    """How people and programs write the bytes of a report."""

    def test_ways_to_write_them(self):
        for text in (
            "DE-01", "de-01", "[de 01]", "[0xde, 0x01],", "{0xDE, 0x01},", "\\xde\\x01", '"\\xde\\x01"',
            "{0xDE, 0x01};  // state", "0xDE, 0x01, /* state */", "Feature de 01", "FEATURE [DE-01]",
            "(de 01)", "de 01 // the state",
        ):
            with self.subTest(text=text):
                self.expect(Run(stdin=f"{text}\n".encode()), ALL_DECODED, STATE_LINES, "")

    def test_what_is_no_digit_still_is_none(self):
        for text in ("de 0g", "DE--01", "[de 0]", "{}", "Features de 01", "-de 01", "de /* x */ 01"):
            run = Run("-i", "hex", stdin=f"{text}\n".encode())
            self.assertEqual((run.status, run.out), (SOME_REFUSED, b""), text)
            self.assertIn("-:1: bad hex: ", run.err)


class Arrays(HostTest):
    def test_ways_to_write_them(self):
        for text in (
            "{0xDE, 0x01}", "{0xDE, 0x01},", "{ 222, 1 };", "const char x[] = {0xde,\n1,\n};",
            "uint8_t r[2][2] = {{\n0xde, /* its\nID */ 0x01}};", "// state\nu8 r[] =\n{ 0xDE, // ID\n 0x01 };",
            "{0xDE,\n 0x01, 0, 0}", "static u8 a[] = {};\nstatic u8 b[] = {0xDE, 1};",
        ):
            with self.subTest(text=text):
                self.expect(Run(stdin=f"{text}\n".encode()), ALL_DECODED, STATE_LINES, "")
        run = Run(stdin=b"{{0xDE, 1},\n{0xDE, 1}}\n")
        self.expect(run, ALL_DECODED, STATE_LINES * 2, "")

    def test_what_is_wrong(self):
        for text, message in (
            ("{0xDE, 0x01, 0xDE, 0x01}", "-:1: report 0xDE (feature): 4 bytes, more than its layout, and no zeros"),
            ("{0xDE, ID}", '-:1: "ID" is no byte of an array, such as 0xDE or 222'),
            ("{0xDE,\n 256}", '-:2: "256" is no byte of an array, such as 0xDE or 222'),
            ("{0xDE, 010}", '-:1: "010" is no byte of an array, such as 0xDE or 222'),
            ("{0xDE, 0x01", "-:1: the array that begins here has no end"),
        ):
            with self.subTest(text=text):
                run = Run("-i", "array", stdin=f"{{0xDE, 1}};\n{text}\n".encode())
                message = message.replace("-:1:", "-:2:") if "-:1:" in message else message.replace("-:2:", "-:3:")
                self.expect(run, SOME_REFUSED, STATE_LINES, f"{message}\n")

    def test_no_array(self):
        run = Run(stdin=b"static const int x = 3;\n")
        self.expect(run, CANNOT_READ_OR_WRITE, b"", "-: taken for arrays in a program, and has none\n")

    def test_an_array_of_many_rows_gives_no_other_report(self):
        data = packet(1)[:16] + bytes(range(0xD8, 0xE8)) * 128
        rows = ",\n".join(", ".join(f"0x{byte:02x}" for byte in row) for _, row in maker.rows(data, 8))
        run = Run(stdin=f"{{{rows}}}\n".encode())
        self.expect(run, ALL_DECODED, Run(stdin=hex_lines(data)).out, "")


class Tables(HostTest):
    def test_columns_by_their_names(self):
        for text in (
            "Time [s],Data\n0.5,0xDE01\n", "name,type,start_time,duration,data\n\"I2C\",\"data\",0.5,1e-3,0xDE01\n",
            "Time;Channel;Hex\n0.500000999;a;DE 01\n", "payload\ttime\nde:01\t0.5\n",
            'Time,Value,Data\n0.5,"a, b","0xDE, 0x01"\n', "time,data\n,\n0.1,\n0.5,[de 01]\n",
        ):
            with self.subTest(text=text):
                run = Run("-o", "ndjson", stdin=text.encode())
                self.expect(run, ALL_DECODED, err="")
                self.assertEqual([(r["value"], r["time"]) for r in run.records()], [("SINGLE", 0.5)])

    def test_times_that_are_none(self):
        for name, time in (("Time [ms]", "500"), ("Time", "-0.5"), ("Time", "5e-1"), ("Time", "17:02:37")):
            run = Run("-o", "ndjson", stdin=f"{name},Data\n{time},de01\n".encode())
            self.expect(run, ALL_DECODED, err="")
            self.assertNotIn("time", run.records()[0])

    def test_what_is_wrong(self):
        run = Run(stdin=b"Time,Data\n0.5,SINGLE\n0.6,de01\n0.7,de0105\n")
        message = (
            '-:2: bad hex: "S" is no hexadecimal digit, in "SINGLE"\n'
            "-:4: report 0xDE (feature): 3 bytes, more than its layout, and no zeros\n"
        )
        self.expect(run, SOME_REFUSED, STATE_LINES, message)
        run = Run("-i", "csv", stdin=b"a,b\nde01,de01\n")
        message = (
            "-:1: the first line of a table names its columns, and none is named data, hex, bytes, "
            "payload, report, raw, miso or value\n"
        )
        self.expect(run, CANNOT_READ_OR_WRITE, b"", message)


class Logs(HostTest):
    def test_what_stands_before_the_digits(self):
        for line in (
            "[   12.345678] vesk: de 01", "[   12.345678] de 01", "<6>[   12.345678][  T101] vesk: de 01",
            "[Sat Nov 21 17:02:38 2026] vesk: report: de 01", "17:02:37 de 01", "17:02:37.123 Received: de 01",
            "17:02:37,123 RX: DE-01", "2026-11-21 17:02:37.123 rx: de 01", "[2026-11-21 17:02:37] de 01",
            "2026-11-21T17:02:37.123456Z de 01", "2026-11-21T17:02:37+01:00 hid <- [de 01]",
            "11-21 17:02:37.123  1234  1250 D vesk    : report: de 01", "12.345678 de 01",
            "11-21 17:02:37.123 D/vesk( 1234): de 01", "Nov 21 17:02:37 bench kernel: [ 12.5] vesk: de 01",
            "Nov 21 17:02:37 bench vesk[12]: data: 0xde, 0x01", "Received: de 01", "received = de01",
            "Read 2 bytes: de 01", "[12.5] hid-x 0018:1209:0001.0001: raw: de 01", "RX: de:01",
            "17:02:37 Feature: de 01", "\x1b[32m[   12.345678]\x1b[0m vesk: \x1b[1mde 01\x1b[0m",
            "vesk: 00000000: de 01                                            ..",
        ):
            for other in ("", "something else\n"):
                with self.subTest(line=line, other=other):
                    run = Run(stdin=f"{line}\n{other}".encode())
                    self.expect(run, ALL_DECODED, STATE_LINES, "")

    def test_times_of_the_kernel(self):
        times = [r["time"] for r in Run("-o", "ndjson", FORMS / "tour-dmesg.log").records()]
        self.assertEqual(times[:3], [12.0, 13.001001, 14.002002])
        self.assertEqual(len(times), len(TOUR))

    def test_lines_that_are_none(self):
        for line in (
            "usb 1-3: new device", "crc of it: ok", "checksum: de 01", "17:02:38 vesk: crc: de 01",
            "sent: de 01", "17:02:38 de", "dead line", "read: nothing", "0", "vesk: 2 reports",
        ):
            run = Run(stdin=f"17:02:37 begin\n{line}\nRX: de 01\n".encode())
            self.expect(run, ALL_DECODED, STATE_LINES, "")

    def test_bad_digits(self):
        run = Run(stdin=b"RX: de 01\nRX: de 01 0g\nRX: de 01\n")
        message = '-:2: bad hex: "g" is no hexadecimal digit, in "0g"\n'
        self.expect(run, SOME_REFUSED, STATE_LINES * 2, message)

    def test_log_without_a_report(self):
        run = Run(stdin=b"17:02:37 begin\n17:02:38 end\n")
        message = (
            "-: taken for a log, and no line of it has a report's digits behind a time or a word like "
            '"Received:"\n'
        )
        self.expect(run, CANNOT_READ_OR_WRITE, b"", message)

    def test_rows_without_addresses_are_joined(self):
        rows = [row.hex(" ") for _, row in maker.rows(packet(1))]
        log = "".join(f"[   12.345678] vesk: {row}\n" for row in rows)
        self.expect(Run(stdin=log.encode()), ALL_DECODED, Run(stdin=hex_lines(packet(1))).out, "")

    def test_missing_row_of_a_dump(self):
        lines = (FORMS / "tour-dmesg.log").read_bytes().splitlines(keepends=True)
        first = next(i for i, line in enumerate(lines) if b"00000040: " in line and b"+..." not in line)
        run = Run("-o", "ndjson", stdin=b"".join(lines[: first] + lines[first + 1 :]))
        errors = [r["error"]["code"] for r in run.records() if "error" in r]
        self.assertLessEqual(len(errors), 1, run.err)

    def test_bytes_of_something_else(self):
        run = Run(stdin=b"[ 1.5] i2c: de 01 ff\n[ 1.6] i2c: de 01 00\n")
        message = "-:1: report 0xDE (feature): 3 bytes, more than its layout, and no zeros\n"
        self.expect(run, SOME_REFUSED, STATE_LINES, message)

    def test_words(self):
        run = Run(stdin=b"[ 1.5] vesk: 00000000: 000001de 00000000\n")
        message = "-:1: the kernel printed words in the machine's order; print bytes: groups of 1\n"
        self.assertIn(message, run.err)


class UsbhidDump(HostTest):
    INPUTS = [data for kind, data in TOUR if kind == "input"]

    def test_input_reports(self):
        content = (FORMS / "tour-usbhid-dump.txt").read_bytes()
        whole = Run(stdin=hex_lines(*self.INPUTS)).out
        for run in (
            Run(stdin=content), Run("-i", "usbhid-dump", stdin=content.replace(b"\n", b"\r\n")),
            Run(stdin=content.replace(b"\n\n", b"\n")), Run("--device", "1:5", stdin=content),
        ):
            self.expect(run, ALL_DECODED, whole, "")
        self.expect(Run("--device", "1:6", stdin=content), ALL_DECODED, b"")
        records = Run("-o", "ndjson", stdin=content).records()
        self.assertEqual([r["time"] for r in records], [1700000000.016667, 1700000000.033334])
        self.assertEqual([r["source"]["line"] for r in records], [4, 4 + 50 + 2])

    def test_bad_line(self):
        head = b"001:005:000:STREAM             1700000000.066668\n"
        good = head + image(1).hex(" ").encode() + b"\n\n"
        run = Run(stdin=good + head + b" 76 2A\n 0G\n DE 01\n\n" + good)
        message = '-:6: bad hex: "G" is no hexadecimal digit, in "0G"\n'
        self.expect(run, SOME_REFUSED, Run(stdin=hex_lines(image(1))).out * 2, message)
        run = Run("-i", "usbhid-dump", stdin=b"DE 01\n" + good)
        message = '-:1: "DE 01" stands behind no head as "001:005:000:STREAM"\n'
        self.expect(run, SOME_REFUSED, Run(stdin=hex_lines(image(1))).out, message)


class PacketsAsText(HostTest):
    def test_usbmon(self):
        """It has 32 bytes of a transfer: what is longer is refused."""
        short = [data for _, data in TOUR if len(data) <= 32]
        self.expect(Run(FORMS / "tour-usbmon.txt"), ALL_DECODED, Run(stdin=hex_lines(*short)).out, "")
        shown = maker.usbmon_text(TOUR).encode()
        for options in ([], ["-i", "usbmon"]):
            run = Run("-o", "ndjson", *options, stdin=shown)
            self.assertEqual(run.status, SOME_REFUSED)
            records = run.records()
            self.assertEqual([r["report_id"] for r in records if "value" in r], [data[0] for data in short])
            errors = [r["error"] for r in records if "error" in r]
            self.assertEqual(
                [(e["code"], e["expected"], e["got"]) for e in errors],
                [("truncated_capture", len(data), 32) for _, data in TOUR if len(data) > 32],
            )
            self.assertIn(
                "-:4: 70 bytes transferred, and the text shows 32: usbmon's text has 32 "
                "bytes of each; capture all of it: tcpdump -i usbmon1 -w FILE.pcap\n",
                run.err,
            )
            self.assertEqual(records[0]["source"]["line"], 2)
            self.assertEqual(records[0]["time"], 1463.094832)
            self.assertEqual([r["report_type"] for r in records], [kind for kind, _ in TOUR])

    def test_usbmon_requests(self):
        submission = "ffff888000000001 5 S Ci:1:005:0 s a1 01 03de 0000 1000 4096 <\n"
        for answer, message in (
            ("ffff888000000001 6 C Ci:1:005:0 -32 0\n",
             "-:2: report 0xDE (feature): its request stalled: the device refused it\n"),
            ("ffff888000000001 6 C Ci:1:006:0 0 2 = de01\n",
             "-:1: report 0xDE (feature): its request has no answer in the capture\n"),
            ("ffff888000000002 6 C Bi:1:005:2 0 512 = de01 x\n",
             "-:1: report 0xDE (feature): its request has no answer in the capture\n"),
        ):
            self.expect(Run(stdin=(submission + answer).encode()), SOME_REFUSED, b"", message)
        good = "ffff888000000001 6 C Ci:1:005:0 0 2 = de01\n"
        self.expect(Run(stdin=(submission + "\n" + good).encode()), ALL_DECODED, STATE_LINES, "")
        run = Run("--device", "1:6", stdin=(submission + good).encode())
        self.expect(run, ALL_DECODED, b"")
        run = Run(stdin=(submission + good + "hello\n").encode())
        self.expect(run, SOME_REFUSED, STATE_LINES, '-:3: "hello" is no line of usbmon\'s text\n')

    def test_rows_are_what_tshark_prints(self):
        if shutil.which("tshark") is None:
            self.skipTest("tshark is not installed")
        for text, capture in (
            ("tour-tshark.txt", "tour-usbmon-mapped.pcapng"), ("tour-tshark-usbpcap.txt", "tour-usbpcap.pcap"),
        ):
            command = ["tshark", "-x", "-r", FORMS / capture]
            shown = subprocess.run(command, capture_output=True, check=True).stdout
            self.assertEqual(shown, (FORMS / text).read_bytes())
        command = ["tshark", "-P", "-x", "-r", FORMS / "tour-usbmon.pcap"]
        shown = subprocess.run(command, capture_output=True, check=True).stdout
        self.expect(Run("-i", "packets", stdin=shown), ALL_DECODED, TOUR_TEXT, "")

    def test_rows_of_reports_alone(self):
        shown = maker.packet_rows((None, data) for _, data in TOUR)
        self.expect(Run(stdin=shown.encode()), ALL_DECODED, TOUR_TEXT, "")
        times = [r["time"] for r in Run("-o", "ndjson", FORMS / "tour-tshark.txt").records()]
        self.assertEqual(times, [r["time"] for r in Run("-o", "ndjson", FORMS / "tour-usbmon.pcap").records()])
        records = Run("-o", "ndjson", FORMS / "tour-tshark-usbpcap.txt").records()
        self.assertNotIn("time", records[0])

    def test_rows_of_something_else(self):
        shown = maker.packet_rows([(None, bytes(range(60)))])
        message = (
            "-:1: a packet of 60 bytes that does not begin with the header of usbmon or USBPcap; write "
            "the capture itself: tshark -w FILE.pcapng\n"
        )
        self.expect(Run(stdin=shown.encode()), CANNOT_READ_OR_WRITE, b"", message)

    def test_missing_row(self):
        lines = (FORMS / "tour-tshark.txt").read_bytes().splitlines(keepends=True)
        cut = next(i for i, line in enumerate(lines) if line.startswith(b"0010"))
        run = Run(stdin=b"".join(lines[:cut] + lines[cut + 1 :]))
        self.expect(run, SOME_REFUSED, b"", "-:2: a row of a packet whose rows before it are missing\n")


class Compressed(HostTest):
    TOOLS = {".gz": ["gzip", "-c"], ".xz": ["xz", "-c"], ".zst": ["zstd", "-qc"]}

    def each(self, content):
        for name, command in self.TOOLS.items():
            with self.subTest(name=name):
                if shutil.which(command[0]) is None:
                    self.skipTest(f"{command[0]} is not installed")
                yield subprocess.run(command, input=content, capture_output=True, check=True).stdout

    def test_any_form(self):
        for form, sample in [*((form, FORMS / name) for name, form in NAMES.items())]:
            for packed in self.each(sample.read_bytes()):
                self.expect(Run(stdin=packed), ALL_DECODED, TOUR_TEXT, "")
                self.expect(Run("-i", form, self.file("packed", packed)), ALL_DECODED, TOUR_TEXT, "")

    def test_places_are_those_of_what_was_compressed(self):
        for packed in self.each(hex_lines(STATE, STATE)):
            records = Run("-o", "ndjson", stdin=packed).records()
            self.assertEqual([record["source"]["line"] for record in records], [1, 2])

    def test_several_in_a_row_and_nothing(self):
        for packed in self.each(hex_lines(STATE)):
            self.expect(Run(stdin=packed + packed), ALL_DECODED, STATE_LINES * 2, "")
        for packed in self.each(b""):
            self.expect(Run(stdin=packed), ALL_DECODED, b"", "")

    def test_cut_off(self):
        generator = random.Random(6)
        content = hex_lines(*(packet(n)[:16] + generator.randbytes(2048) for n in range(200)))
        for packed in self.each(content):
            run = Run(stdin=packed[: len(packed) * 3 // 4])
            self.assertEqual(run.status, CANNOT_READ_OR_WRITE)
            self.assertIn("cannot decompress: ", run.err)
            self.assertGreater(run.out.count(b"[ADC Packet #"), 100)

    def test_damaged(self):
        for packed in self.each(hex_lines(*[STATE] * 2000)):
            for at in range(2, min(len(packed), 50), 3):
                damaged = packed[:at] + bytes([packed[at] ^ 0x55]) + packed[at + 1 :]
                self.assertIn(Run(stdin=damaged).status, range(4))

    def test_a_bomb_takes_no_memory(self):
        for packed in self.each(STATE + bytes(100 << 20)):
            self.expect(Run(stdin=packed, limit=192 << 20), ALL_DECODED, STATE_LINES, "")


class Binary(HostTest):
    def test_unknown_id_ends_the_file(self):
        run = Run(self.file("r.bin", STATE + image(1) + b"\x99" + STATE))
        message = (
            "r.bin: byte 794: report 0x99: unknown, so its length is too, and what follows can't be "
            "split into reports\n"
        )
        self.expect(run, SOME_REFUSED, err=message)
        self.assertTrue(run.out.startswith(STATE_LINES + b"\n[Frame # = 1]"))

    def test_report_cut_off_by_the_end(self):
        message = "r.bin: byte 2: report 0x77 (input): 2063 bytes, its layout needs 2064\n"
        run = Run(self.file("r.bin", STATE + packet(1)[:-1]))
        self.expect(run, SOME_REFUSED, STATE_LINES, message)

    def test_zeros_behind_a_report_are_padding(self):
        version = b"\xd0" + b"4.2\0"
        run = Run(stdin=version + bytes(59) + version + bytes(5) + STATE)
        self.expect(run, ALL_DECODED, b"\n4.2\n\n" * 2 + STATE_LINES, "")

    def test_version_without_nul_at_the_end(self):
        self.expect(Run(stdin=STATE + b"\xd0" + b"4.2"), ALL_DECODED, STATE_LINES + b"\n4.2\n\n", "")


class Dumps(HostTest):
    WORDS = "this dump shows words in the machine's order, not bytes; make it with: hexdump -C FILE\n"

    def tool(self, *command):
        if shutil.which(command[0]) is None:
            self.skipTest(f"{command[0]} is not installed")
        return subprocess.run(command, input=TOUR_BYTES, capture_output=True, check=True).stdout

    def test_words_are_refused(self):
        commands = [
            ["hexdump"], ["xxd", "-e"], ["xxd", "-e", "-g", "2"], ["od"],
            ["od", "-A", "x", "-x"], ["od", "-t", "x4"],
        ]
        for command in commands:
            with self.subTest(command=command):
                run = Run(stdin=self.tool(*command))
                self.expect(run, CANNOT_READ_OR_WRITE, b"", f"-:1: {self.WORDS}")

    def test_words_of_one_short_report_are_refused(self):
        for shown in (b"00000000:     01de               ..\n", b"00000000: 010000de  ....\n"):
            self.expect(Run(stdin=shown), CANNOT_READ_OR_WRITE, b"", f"-:1: {self.WORDS}")

    def test_other_arrangements_of_bytes(self):
        commands = [
            ["xxd", "-g", "1"], ["xxd", "-g", "4"], ["xxd", "-u", "-c", "24"], ["xxd", "-a"],
            ["od", "-A", "x", "-t", "x1"], ["od", "-A", "x", "-t", "x1z", "-v"],
            ["hexdump", "-C", "-v"], ["xxd", "-p", "-c", "30"],
        ]
        for command in commands:
            with self.subTest(command=command):
                self.expect(Run(stdin=self.tool(*command)), ALL_DECODED, TOUR_TEXT, "")

    def test_other_bases(self):
        """One message, with what to do, and no report."""
        od = "od -A x -t x1 -v FILE"
        for command, seen, remedy in (
            (["od", "-t", "x1"], "the addresses of this dump are octal", od),
            (["od", "-t", "x1", "-v"], "the addresses of this dump are octal", od),
            (["od", "-c"], "this dump shows characters", od),
            (["od", "-A", "x", "-c"], "this dump shows characters", od),
            (["od", "-t", "u1"], "this dump shows decimal numbers", od),
            (["od", "-A", "x", "-t", "u1"], "this dump shows decimal numbers", od),
            (["od", "-b"], "this dump shows octal numbers", od),
            (["xxd", "-b"], "this dump shows bits", "xxd FILE"),
            (["xxd", "-b", "-c", "8"], "this dump shows bits", "xxd FILE"),
        ):
            for name, content in (("tour", TOUR_BYTES), ("states", STATE * 300), ("one", image(1))):
                if command[-1] == "-c" and name == "states":
                    seen = "this dump shows (octal numbers|characters)"  # none is a character
                with self.subTest(command=command, name=name):
                    if shutil.which(command[0]) is None:
                        self.skipTest(f"{command[0]} is not installed")
                    shown = subprocess.run(command, input=content, capture_output=True, check=True).stdout
                    run = Run(stdin=shown)
                    self.assertEqual((run.status, run.out), (CANNOT_READ_OR_WRITE, b""))
                    self.assertRegex(run.err, f"^-:[123]: {seen}; make it with: {remedy}\n$")

    def test_addresses_that_mean_the_same_in_octal(self):
        for content in (STATE, STATE * 3):
            shown = subprocess.run(["od", "-t", "x1"], input=content, capture_output=True, check=True).stdout
            self.expect(Run(stdin=shown), ALL_DECODED, STATE_LINES * (len(content) // 2), "")
        shown = b"0000000 de 01\n0000002 de 01\n0000004\n"
        self.expect(Run(stdin=shown), ALL_DECODED, STATE_LINES * 2, "")

    def test_missing_line(self):
        lines = (FORMS / "tour.xxd").read_bytes().splitlines(keepends=True)
        run = Run(stdin=b"".join(lines[:3] + lines[4:]))
        self.assertEqual(run.status, SOME_REFUSED)
        self.assertIn('-:4: address "00000040" where 000030 should be\n', run.err)
        self.assertTrue(TOUR_TEXT.startswith(run.out[:10]))

    def test_repetition(self):
        shown = b"00000000  " + b"de 02 " * 16 + b"\n*\n00000060  de 01\n00000062\n"
        run = Run("-o", "ndjson", stdin=shown)
        self.expect(run, ALL_DECODED, err="")
        self.assertEqual([r["value"] for r in run.records()], ["CONTINUOUS"] * 48 + ["SINGLE"])

    def test_bad_digit(self):
        run = Run(stdin=b"000000 de 01\n000002 de 0g\n")
        message = '-:2: bad hex: "g" is no hexadecimal digit, in "0g"\n'
        self.expect(run, SOME_REFUSED, STATE_LINES, message)

    def test_line_without_address(self):
        run = Run("-i", "dump", stdin=b"00000000: de01  ..\nhello\n")
        self.expect(run, SOME_REFUSED, STATE_LINES, '-:2: "hello" does not begin with an address\n')


class Recordings(HostTest):
    def expect_between(self, line, message):
        good = b"F: 0.000001 2 de 01 \r\n"
        run = Run("-i", "recording", stdin=good + line + b"\n" + good)
        self.expect(run, SOME_REFUSED, STATE_LINES * 2, f"-:2: {message}\n")

    def test_liberties_of_the_form(self):
        lines = (
            b"# comment\nD: 0\nR: 2 06 00\nN: a name\nP: \nI: 3 1209 0001\nX: who knows\n\n"
            b"E: 000012.345678 2 de 01\nB: 1\nF: 12.345678 2 de 01 \r\nB: 7\n"
        )
        run = Run("-o", "ndjson", "--report", "0xDE", "--type=feature", stdin=lines)
        self.expect(run, ALL_DECODED, err="")
        self.assertEqual([(r["source"]["line"], r["time"]) for r in run.records()], [(11, 12.345678)])

    def test_other_lines_stay_where_they_are(self):
        lines = b"D: 0\nN: one\nE: 000001.000000 1 99\nD: 1\nF: 000002.500000 2 de 01\nO: 000003.000000 1 05\n"
        self.expect(Run("-o", "recording", stdin=lines), ALL_DECODED, lines, "")

    def test_length_mismatch(self):
        self.expect_between(b"F: 0.0 3 de 01", "2 bytes, and the line says 3")

    def test_bad_time_length_and_digits(self):
        self.expect_between(b"F: now 2 de 01", '"now" is no time in seconds.microseconds')
        self.expect_between(b"F: 1.1234567 2 de", '"1.1234567" is no time in seconds.microseconds')
        self.expect_between(b"F: 9999999999999 2 de", '"9999999999999" is no time in seconds.microseconds')
        self.expect_between(b"F: 0.0 two de 01", '"two" is no length')
        self.expect_between(b"F: 0.0", '"" is no length')
        self.expect_between(b"F: 0.0 2 de 0x", 'bad hex: "x" is no hexadecimal digit, in "0x"')
        self.expect_between(b"F: 0.0 0", "a report of no bytes")

    def test_line_of_nothing(self):
        message = '"hello" is no line of a recording: those begin like "E: "'
        self.expect_between(b"hello", message)


def hex_line(kind, data):
    return f"{kind} {data.hex()}\n".encode()


class UsbCaptures(HostTest):
    """Captures are made as the samples are, and then damaged."""

    TRANSFERS = {189: maker.Usbmon(False), 220: maker.Usbmon(True), 249: maker.UsbPcap()}
    MOMENT = (1, 500000)

    def capture(self, link, packets):
        return maker.pcap(link, [(self.MOMENT, packet) for packet in packets])

    def setup(self, report_id, usb_type=3):
        return maker.GET_REPORT + bytes([report_id, usb_type, 0, 0, 0, 16])

    def each(self):
        for link, transfers in self.TRANSFERS.items():
            with self.subTest(link=link):
                yield link, transfers

    def good(self, transfers, request=1):
        yield transfers.control(self.MOMENT, request, self.setup(0xDE), completed=False)
        yield transfers.control(self.MOMENT, request, STATE, completed=True)

    def with_status(self, link, packet, usbmon, usbpcap):
        if link == 249:
            return packet[:10] + struct.pack("<I", usbpcap) + packet[14:]
        return packet[:28] + struct.pack("<i", usbmon) + packet[32:]

    def expect_problem(self, link, packets, message, code):
        run = Run(stdin=self.capture(link, packets))
        self.expect(run, SOME_REFUSED, STATE_LINES, f"-: {message}\n")
        run = Run("-o", "ndjson", stdin=self.capture(link, packets))
        codes = [r["error"]["code"] for r in run.records() if "error" in r]
        self.assertEqual(codes, [code])

    def failed_request(self, link, transfers, usbmon, usbpcap):
        open_, answer = self.good(transfers, 2)
        answer = self.with_status(link, answer, usbmon, usbpcap)
        return [open_, answer, *self.good(transfers)]

    def test_failed_requests(self):
        for link, transfers in self.each():
            for usbmon, usbpcap, why in (
                (-32, 0xC0000004, "stalled: the device refused it"),
                (-2, 0xC0010000, "was cancelled"),
                (-71, 0xC0000011, f"failed with status {-71 if link != 249 else 0xC0000011}"),
            ):
                packets = self.failed_request(link, transfers, usbmon, usbpcap)
                message = f"packet 2: report 0xDE (feature): its request {why}"
                self.expect_problem(link, packets, message, "failed_request")

    def test_failed_interrupt_transfer(self):
        for link, transfers in self.each():
            bad = transfers.interrupt(self.MOMENT, 9, b"", completed=True)
            stalled = self.with_status(link, bad, -32, 0xC0000004)
            message = "packet 1: an interrupt transfer stalled: the device refused it"
            self.expect_problem(link, [stalled, *self.good(transfers)], message, "failed_request")

    def test_cancelled_interrupt_transfers_are_how_listening_ends(self):
        for link, transfers in self.each():
            end = transfers.interrupt(self.MOMENT, 9, b"", completed=True)
            end = self.with_status(link, end, -2, 0xC0010000)
            run = Run(stdin=self.capture(link, [end, *self.good(transfers)]))
            self.expect(run, ALL_DECODED, STATE_LINES, "")

    def test_truncated_packet(self):
        for link, transfers in self.each():
            packets = [transfers.interrupt(self.MOMENT, 9, image(1), completed=True)[:-700]]
            message = "packet 1: 792 bytes transferred, 92 captured; capture whole packets (-s 0)"
            self.expect_problem(link, packets + list(self.good(transfers)), message, "truncated_capture")

    def test_packet_shorter_than_its_header(self):
        for link, transfers in self.each():
            message = "packet 1: cut off in its header: 20 bytes captured; capture whole packets (-s 0)"
            packets = [next(self.good(transfers))[:20], *self.good(transfers)]
            self.expect_problem(link, packets, message, "truncated_capture")

    def test_unanswered_request(self):
        for link, transfers in self.each():
            lost = next(self.good(transfers, 7))
            message = "packet 1: report 0xDE (feature): its request has no answer in the capture"
            self.expect_problem(link, [lost, *self.good(transfers)], message, "unanswered_request")

    def test_request_number_used_again(self):
        for link, transfers in self.each():
            lost = next(self.good(transfers))
            message = "packet 1: report 0xDE (feature): its request has no answer in the capture"
            self.expect_problem(link, [lost, *self.good(transfers)], message, "unanswered_request")

    def test_answer_of_another_report(self):
        for link, transfers in self.each():
            open_ = transfers.control(self.MOMENT, 3, self.setup(0xDF), completed=False)
            answer = transfers.control(self.MOMENT, 3, STATE, completed=True)
            message = "packet 2: report 0xDF (feature): the answer is report 0xDE"
            packets = [open_, answer, *self.good(transfers)]
            self.expect_problem(link, packets, message, "mismatched_reply")

    def test_empty_packets(self):
        for link, transfers in self.each():
            empty = transfers.interrupt(self.MOMENT, 9, b"", completed=True)
            message = "packet 1: a report of no bytes"
            self.expect_problem(link, [empty, *self.good(transfers)], message, "empty_report")

    def test_types_of_requests(self):
        for link, transfers in self.each():
            packets = []
            for usb_type, report in ((1, image(5)), (3, STATE)):
                open_ = self.setup(report[0], usb_type)
                packets.append(transfers.control(self.MOMENT, usb_type, open_, completed=False))
                packets.append(transfers.control(self.MOMENT, usb_type, report, completed=True))
            records = Run("-o", "ndjson", stdin=self.capture(link, packets)).records()
            self.assertEqual([r["report_type"] for r in records], ["input", "feature"])
            self.assertEqual([r["source"]["packet"] for r in records], [2, 4])
            self.assertEqual([r["time"] for r in records], [1.5, 1.5])

    def other_device(self, link, packet):
        if link == 249:
            return packet[:19] + struct.pack("<H", 9) + packet[21:]
        return packet[:11] + b"\x09" + packet[12:]

    def test_choosing_a_device(self):
        for link, transfers in self.each():
            mouse = transfers.interrupt(self.MOMENT, 9, b"\x01\x02", completed=True)
            capture = self.capture(link, [self.other_device(link, mouse), *self.good(transfers)])
            message = (
                "-: packet 1: report 0x01 (input): unknown; --list-reports shows the known ones; "
                "it came from device 1:9, and --device BUS:DEV chooses one\n"
            )
            self.expect(Run(stdin=capture), SOME_REFUSED, STATE_LINES, message)
            self.expect(Run("--device", "1:5", stdin=capture), ALL_DECODED, STATE_LINES, "")
            message = "vesk-decode: nothing matches --device 2:5\n"
            self.expect(Run("--device=2:5", stdin=capture), ALL_DECODED, b"", message)

    def test_choosing_an_endpoint(self):
        for link, transfers in self.each():
            frame = transfers.interrupt(self.MOMENT, 9, image(1), completed=True)
            capture = self.capture(link, [frame, *self.good(transfers)])
            self.expect(Run("--endpoint", "0", stdin=capture), ALL_DECODED, STATE_LINES, "")
            for endpoint in ("1", "0x81"):
                run = Run("-o", "ndjson", "--endpoint", endpoint, stdin=capture)
                self.assertEqual([r["report_id"] for r in run.records()], [0x76])

    def test_capture_cut_off(self):
        for link, transfers in self.each():
            whole = self.capture(link, [*self.good(transfers), *self.good(transfers, 2)])
            run = Run(stdin=whole[:-3])
            self.assertEqual((run.status, run.out), (SOME_REFUSED, STATE_LINES))
            self.assertRegex(
                run.err,
                r"^-: packet 4: truncated dump file; .*, at byte [0-9]+; what was good is decoded, and editcap FILE NEW\.pcap "
                r"writes it without the damaged end\n"
                r"-: packet 3: report 0xDE \(feature\): its request has no answer in the capture\n$",
            )

    def test_capture_of_something_else(self):
        run = Run(stdin=maker.pcap(1, []))
        message = (
            "-: a capture of link type 1 (EN10MB), which is not USB (189, 220 or 249); capture on "
            "usbmon, or with USBPcap\n"
        )
        self.expect(run, CANNOT_READ_OR_WRITE, b"", message)

        records = Run("-o", "ndjson", stdin=maker.pcap(1, [])).records()
        self.assertEqual([r["error"]["code"] for r in records], ["unsupported_input"])

    def test_two_link_types(self):
        """The reports of the sample, each from usbmon and from USBPcap."""
        short = b"".join(hex_line(*report) * 2 for report in TOUR if len(report[1]) <= 64)
        run = Run(FORMS / "two-links.pcapng")
        self.expect(run, ALL_DECODED, Run(stdin=short).out, "")
        self.assertGreater(len(run.out), 1000)

    def test_interface_that_is_no_usb(self):
        usb = [(1, self.MOMENT, packet) for packet in self.good(maker.Usbmon(True))]
        capture = maker.pcapng_of_links(
            [1, 220], [(0, self.MOMENT, b"ether"), *usb, (0, self.MOMENT, b"ether")]
        )
        message = (
            "-: packet 1: interface 0: a capture of link type 1 (EN10MB), which is not USB (189, 220 "
            "or 249); capture on usbmon, or with USBPcap; its packets are passed over\n"
        )
        self.expect(Run(stdin=capture), SOME_REFUSED, STATE_LINES, message)
        self.assertEqual(Run(stdin=maker.pcapng(1, [])).status, CANNOT_READ_OR_WRITE)

    def test_what_the_host_writes(self):
        """It is counted apart, and shown when asked for, but never in a table or a recording."""
        writes = bytes([0x21, 0x09, 0xDE, 0x03, 0, 0, 2, 0])
        usbmon = maker.Usbmon(False)

        def control(setup, data, request):
            return usbmon.header(self.MOMENT, request, 2, 0x00, setup, data, completed=False)

        unknown = usbmon.header(self.MOMENT, 4, 1, 0x02, b"", b"\x99\x01", completed=False)
        counter = usbmon.header(self.MOMENT, 5, 1, 0x02, b"", image(900), completed=False)
        frame = usbmon.interrupt(self.MOMENT, 6, image(7), completed=True)
        capture = self.capture(
            189, [control(writes, b"\xde\x02", 3), unknown, counter, frame, *self.good(usbmon)]
        )
        silent = Run(stdin=capture)
        self.expect(silent, ALL_DECODED, err="")
        self.assertTrue(silent.out.endswith(STATE_LINES))
        self.assertEqual(silent.out.count(b"ADC Dump State"), 1)

        shown = Run("--host-writes", "--jobs=2", stdin=capture)
        self.expect(shown, ALL_DECODED, err="")
        header = (b"# -: packet 1, 1.500000 s, device 1:5, endpoint 0, report 0xDE (feature), "
                  b"parseAdcDumpState, 2 bytes")
        self.assertTrue(shown.out.startswith(header + b", to the device\n\nADC Dump State: "))
        self.assertTrue(shown.out.endswith(silent.out))
        self.assertEqual(shown.out.count(b"#"), 2)

        records = Run("-o", "ndjson", "--host-writes", "--stats", stdin=capture).records()
        directions = [record.get("direction") for record in records]
        self.assertEqual(directions, ["to_device", None, None, None])
        self.assertEqual(records[0]["source"]["packet"], 1)
        counts = records[-1]["statistics"]
        self.assertEqual((counts["reports"], counts["to_device"]), (2, 3))
        self.assertEqual(counts["errors"], {})
        self.assertEqual([lost["reports"] for lost in counts["lost"]], [0])
        table = Run("--stats", stdin=capture).err
        self.assertIn("         3  from the host to the device, not among them\n", table)

        for form in ("csv", "recording"):
            options = ["-o", form, "--report=0xDE"]
            with self.subTest(form=form):
                self.assertEqual(Run(*options, "--host-writes", stdin=capture).out,
                                 Run(*options, stdin=capture).out)

    @unittest.skipIf(shutil.which("tshark") is None, "tshark is not installed")
    def test_packets_are_those_of_tshark(self):
        """A report ends the packet that it is said to come from, and has its time."""
        for name in NAMES_OF_CAPTURES:
            with self.subTest(name=name):
                command = ["tshark", "-r", FORMS / name, "-T", "json", "-x", "-j", "frame"]
                shown = subprocess.run(command, capture_output=True, check=True).stdout
                packets = [packet["_source"]["layers"] for packet in json.loads(shown)]
                records = Run("-o", "ndjson", FORMS / name).records()
                lines = Run("-o", "hid", FORMS / name).out.decode().splitlines()
                reports = [line.split()[3:] for line in lines if line.startswith(("E:", "F:"))]
                self.assertGreater(len(reports), 10)
                for record, report in zip(records, reports, strict=True):
                    theirs = packets[record["source"]["packet"] - 1]
                    self.assertTrue(theirs["frame_raw"][0].endswith("".join(report)))
                    time = float(theirs["frame"]["frame.time_epoch"])
                    self.assertAlmostEqual(record["time"], time, places=6)

    def test_no_capture(self):
        run = Run("-i", "usb", SAMPLES / "tour.hex")
        self.assertEqual(run.status, CANNOT_READ_OR_WRITE)
        self.assertTrue(
            run.err.endswith("tour.hex: no capture: it begins as neither pcap nor pcapng does\n")
        )

    def test_other_byte_order(self):
        """A capture from a machine of the other byte order."""
        data = struct.pack(
            ">QBBBBHbbqiiII8s", 1, ord("C"), 1, 0x81, 5, 1, ord("-"), 0, 1, 0, 0, 792, 792, b""
        ) + image(3)
        capture = struct.pack(">IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, 189)
        capture += struct.pack(">IIII", 1, 5, len(data), len(data)) + data
        run = Run("-o", "ndjson", stdin=capture)
        self.expect(run, ALL_DECODED, err="")
        self.assertEqual(run.records()[0]["value"]["FRAME_NUMBER"], 3)


if __name__ == "__main__":
    unittest.main()
