"""--from and --to: on every input that has times, and what has none."""

import json
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
    STATE_LINES,
    TOUR,
    HostTest,
    Run,
    forms,
    hex_lines,
    image,
    maker,
)

SCHEMA = json.loads((ROOT / "docs" / "ndjson.schema.json").read_text())
BEGIN = 1_700_000_000  # of the samples, 2023-11-14T22:13:20Z; a report comes each 16,667 us
TIMED = ["tour.hid", "tour-usbmon.pcap", "tour-usbpcap.pcap", "tour.csv", "tour-usbmon-mapped.pcapng",
         "tour-tshark.txt", "tour-dmesg.log"]


def recording(*times):
    """An ADC dump state at each time, as a recording has it."""
    head = (FORMS / "tour.hid").read_text().splitlines()
    lines = [line for line in head if line[:2] in ("D:", "R:", "N:", "I:")]
    return ("\n".join(lines + [f"F: {time} 2 de 01" for time in times]) + "\n").encode()


class Window(HostTest):
    def times(self, *options, stdin=b""):
        run = Run("-o", "ndjson", *options, stdin=stdin)
        self.expect(run, ALL_DECODED, err="")
        return [record["time"] for record in run.records()]

    def test_both_ends_are_in_it(self):
        some = recording("1.000000", "2.000000", "3.000000", "4.000000")
        self.assertEqual(self.times("--from", "2", "--to", "3", stdin=some), [2, 3])
        self.assertEqual(self.times("--from", "2.000001", stdin=some), [3, 4])
        self.assertEqual(self.times("--to", "2.999999", stdin=some), [1, 2])
        self.assertEqual(self.times("--from=-1", "--to=1", stdin=some), [1])
        self.assertEqual(self.times("--from", "3", "--from", "2", "--to", "2", stdin=some), [2])

    def test_every_input_that_has_times(self):
        for name in TIMED:
            with self.subTest(name):
                everything = self.times(FORMS / name)
                self.assertEqual(len(everything), len(TOUR))
                begin, end = sorted(everything)[3], sorted(everything)[6]
                some = [time for time in everything if begin <= time <= end]
                self.assertEqual(len(some), 4)
                window = "--from", f"{begin:.6f}", "--to", f"{end:.6f}"
                self.assertEqual(self.times(*window, FORMS / name), some)
                self.assertEqual(self.times(*window, "--jobs", "3", FORMS / name), some)

    def test_a_time_of_day(self):
        window = "--from", "2023-11-14T22:13:20.05Z", "--to", "2023-11-14T23:13:20.1+01:00"
        self.assertEqual(self.times(*window, FORMS / "tour.hid"),
                         [BEGIN + 0.050001, BEGIN + 0.066668, BEGIN + 0.083335])

    def test_every_form_of_output(self):
        """What is in the window comes as it comes from a capture of no more."""
        whole = recording("1.000000", "2.000000", "3.000000")
        part = recording("2.000000")
        for form in set(forms("-o")) - {"screen", "html", "tap", "results", "junit"}:  # which need more
            with self.subTest(form):
                shown = Run("-o", form, "--from", "1.5", "--to", "2.5", stdin=whole)
                alone = Run("-o", form, stdin=part)
                self.assertEqual((shown.status, shown.err), (ALL_DECODED, alone.err))
                place = b'"line":6', b'"line":5'
                self.assertEqual(shown.out.replace(*place).replace(b"-:6", b"-:5"), alone.out)

    def test_a_recording_keeps_what_it_says_of_the_device(self):
        """Its lines on the device stand in front of a report that may be left out."""
        first, second, third = (f"F: 00000{n}.000000 2 de 01\n".encode() for n in (1, 2, 3))
        one, other = (b"D: %d\nR: 1 00\nN: panel %d\n" % (n, n) for n in (0, 1))
        for whole, part in (
            (one + first + second + third, one + second),
            (one + first + other + second + third, one + other + second),
            (one + first + other + second + b"D: 0\n" + third, one + other + second),
        ):
            run = Run("-o", "recording", "--from", "2", "--to", "2", stdin=whole)
            self.expect(run, ALL_DECODED, part, "")
        run = Run("-o", "recording", "--from", "3", stdin=one + first + other + second + b"D: 0\n" + third)
        self.expect(run, ALL_DECODED, one + other + b"D: 0\n" + third, "")
        run = Run("-o", "recording", "--report", "0xDE", stdin=one + b"E: 1.0 1 76\n" + second)
        self.expect(run, ALL_DECODED, one + second, "")

    def test_together_with_other_selections(self):
        file = FORMS / "tour.hid"
        window = ["--from", f"{BEGIN}.05", "--to", f"{BEGIN}.1"]
        self.assertEqual(len(self.times(*window, "--type", "input", file)), 1)
        self.assertEqual(len(self.times(*window, "--report", "0xDC,0xA9,0xE1", file)), 2)

    def test_headers_show_the_time(self):
        run = Run("--headers", "--from", "2", "--to", "2", stdin=recording("1.500000", "2.000000"))
        self.expect(run, ALL_DECODED, err="")
        self.assertIn(b", 2.000000 s, ", run.out)
        self.assertEqual(run.out.count(b"# "), 1)

    def test_nothing_outside_is_counted(self):
        bad = recording("1.000000", "9.000000") + b"F: 9.500000 1 de\nF: 2.000000 1 de\n"
        run = Run("-o", "ndjson", "--stats", "--to", "5", stdin=bad)
        self.assertEqual(run.status, SOME_REFUSED)
        counts = run.records()[-1]["statistics"]
        self.assertEqual((counts["reports"], counts["errors"]), (1, {"short_report": 1}))
        self.assertEqual(run.err.count("\n"), 1)

    def test_errors_are_selected_by_their_times(self):
        """Of the capture's two broken transfers, one is in the window."""
        usbmon = maker.Usbmon(False)
        packets = []
        for second in (1, 5):
            packets.append(((second, 0), usbmon.interrupt((second, 0), second, image(second), True)))
            whole = usbmon.interrupt((second, 500_000), 10 + second, image(second), True)
            packets.append(((second, 500_000), whole[:-9]))
        capture = maker.pcap(189, packets)
        self.assertEqual(len([r for r in Run("-o", "ndjson", stdin=capture).records() if "error" in r]), 2)
        records = Run("-o", "ndjson", "--to", "3", stdin=capture).records()
        self.assertEqual([("error" in record, record["time"]) for record in records],
                         [(False, 1), (True, 1.5)])

    def test_errors_without_a_time_stay(self):
        run = Run("-o", "ndjson", "--from", "2", stdin=recording("1.000000", "2.000000") + b"nonsense\n")
        self.assertEqual(run.status, SOME_REFUSED)
        self.assertEqual(["error" in record for record in run.records()], [False, True])

    def test_reports_without_a_time_are_left_out_and_told(self):
        file = self.file("a.hex", hex_lines(STATE, STATE))
        message = "vesk-decode: left out: {} without a time, which --from and --to can't select\n"
        self.expect(Run("--to", "99", file), SOME_REFUSED, b"", message.format("2 reports"))
        one = self.file("b.hex", hex_lines(image(3), STATE))
        run = Run("--from", "1", "--report", "0xDE", self.file("c.hid", recording("2.000000")), one)
        self.expect(run, SOME_REFUSED, STATE_LINES, message.format("1 report"))
        counted = Run("-o", "ndjson", "--stats", "--to", "99", file)
        record, = counted.records()
        jsonschema.validate(record, SCHEMA)
        self.assertEqual((record["statistics"]["reports"], record["statistics"]["untimed"]), (0, 2))
        self.assertIn("         2  without a time, left out\n", Run("--stats", "--to", "99", file).err)
        self.expect(Run(file), ALL_DECODED, 2 * STATE_LINES, "")

    def test_a_window_that_nothing_is_in(self):
        some = recording("3.000000", "2.000000")
        message = ("vesk-decode: nothing matches --from 2023-11-14T22:13:20Z; the times of the reports "
                   "go from 2.000000 to 3.000000 s\n")
        self.expect(Run("--from", "2023-11-14T22:13:20Z", stdin=some), ALL_DECODED, b"", message)
        message = ("vesk-decode: nothing matches --report 222 --to 1; the times of the reports "
                   "go from 2.000000 to 3.000000 s\n")
        self.expect(Run("--to", "1", "--report", "222", stdin=some), ALL_DECODED, b"", message)
        self.expect(Run("--to", "1", "--report", "0x76", stdin=some), ALL_DECODED, b"",
                    "vesk-decode: nothing matches --report 0x76 --to 1\n")
        self.expect(Run("--to", "1", stdin=b""), ALL_DECODED, b"", "")

    def test_bad_usage(self):
        def refused(message, *options):
            self.expect(Run(*options, SAMPLES / "tour.hex"), BAD_USAGE, b"",
                        f"vesk-decode: {message}; --help shows the options\n")

        hint = ("a time is in the capture's seconds, such as 12.5, or in ISO 8601 with its zone, such as "
                "2023-11-14T22:13:20Z")
        for text in ("noon", "2023-11-14T22:13:20", "2023-02-29T00:00:00Z", "1e9"):
            refused(f"--from {text}: {hint}", "--from", text)
            refused(f"--to {text}: {hint}", "--to", text)
        refused("--from 5 is later than --to 4.5", "--from", "5", "--to", "4.5")
        self.assertEqual(Run("--from=", SAMPLES / "tour.hex").status, BAD_USAGE)
        self.expect(Run("--layout", "--from", "5"), BAD_USAGE, b"",
                    "vesk-decode: --layout has no times for --from and --to; --help shows the options\n")


if __name__ == "__main__":
    unittest.main()
