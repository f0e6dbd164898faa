"""vesk-decode from the command line: options, messages, exit statuses, and how it ends."""

import contextlib
import json
import os
import pty
import re
import resource
import select
import signal
import struct
import subprocess
import time
import unittest

from support import (
    ALL_DECODED,
    BAD_USAGE,
    CANNOT_READ_OR_WRITE,
    FORMS,
    NO_PLUGIN,
    PROGRAM,
    SAMPLES,
    SOME_REFUSED,
    STATE,
    STATE_LINES,
    HostTest,
    Run,
    hex_lines,
    image,
    maker,
    packet,
)


class Reports(HostTest):
    """What is wrong with reports, with a good one before and behind."""

    def expect_between(self, line, message, *options):
        lines = hex_lines(STATE) + line + b"\n" + hex_lines(STATE)
        run = Run(*options, self.file("r.hex", lines))
        self.expect(run, SOME_REFUSED, STATE_LINES * 2, f"r.hex:2: {message}\n")

    def test_short_report(self):
        self.expect_between(b"e1" + b" 00" * 99, "report 0xE1 (feature): 100 bytes, its layout needs 991")

    def test_report_of_one_byte(self):
        self.expect_between(b"de", "report 0xDE (feature): 1 byte, its layout needs 2")

    def test_input_report_one_byte_short_or_long(self):
        for size, needs in ((791, "792"), (793, "exactly 792")):
            with self.subTest(size=size):
                line = (image(1) + b"\0")[:size].hex().encode()
                self.expect_between(line, f"report 0x76 (input): {size} bytes, its layout needs {needs}")

    def test_unknown_id(self):
        self.expect_between(b"99 00", "report 0x99: unknown; --list-reports shows the known ones")

    def test_unknown_type(self):
        message = "report 0xD0 (output): unknown; --list-reports shows the known ones"
        self.expect_between(b"output d0 31 00", message)

    def test_known_id_of_the_other_type(self):
        message = "report 0xDE (input): unknown; --list-reports shows the known ones"
        self.expect_between(b"input de 01", message)

    def test_type_without_bytes(self):
        self.expect_between(b"feature", "a report of no bytes")

    def test_odd_number_of_digits(self):
        self.expect_between(b"de 0", 'bad hex: odd number of digits in "0"')

    def test_letter_that_is_no_digit(self):
        self.expect_between(b"de 0g", 'bad hex: "g" is no hexadecimal digit, in "0g"')

    def test_text_that_is_not_utf8(self):
        for mode in ("text", "ndjson"):
            with self.subTest(mode=mode):
                run = Run("-o", mode, stdin=b"d0 ff fe 00\nde 01\n")
                self.assertEqual(run.status, SOME_REFUSED)
                message = "-:1: report 0xD0 (feature): its decoder failed: the version text is not UTF-8\n"
                self.assertEqual(run.err, message)
                self.assertIn(b"SINGLE", run.out)

    def test_extended_version_with_too_few_lines_has_text_but_no_object(self):
        line = b"d2 61 0a 62 00\n"
        self.expect(Run(stdin=line), ALL_DECODED, b"\na\nb\n\n", "")
        run = Run("-o", "ndjson", stdin=line)
        self.assertEqual((run.status, run.records()[0]["error"]["code"]), (SOME_REFUSED, "decoder_failed"))

    def test_version_text_without_nul_ends_with_its_report(self):
        self.expect(Run(stdin=b"d0 34 2e 32\nd0 31 00\n"), ALL_DECODED, b"\n4.2\n\n\n1\n\n", "")

    def test_empty_lines_comments_and_separators(self):
        lines = b"# comment\n\n   \nfeature\t0xDE,0x01 # behind\nDE:01\r\n\tde01\n0xde01"
        self.expect(Run(stdin=lines), ALL_DECODED, STATE_LINES * 4, "")

    def test_decimal(self):
        report = hex_lines(image(1))
        zeros = b"             0 " * 8
        for option in ("-decimal", "--decimal"):
            with self.subTest(option=option):
                run = Run(option, stdin=report)
                self.assertEqual((run.status, run.err), (ALL_DECODED, ""))
                self.assertIn(b"[D-SCAN I]\n" + zeros + b"\n", run.out)
        self.assertNotIn(zeros, Run(stdin=report).out)

    def test_nothing_at_all(self):
        self.expect(Run(), ALL_DECODED, b"", "")


class Selection(HostTest):
    LINES = hex_lines(STATE, image(7), bytes([0xDE, 2]), b"\x99\x01")

    def ids(self, *options):
        run = Run("-o", "ndjson", *options, stdin=self.LINES)
        return [record["report_id"] for record in run.records()], run.status

    def test_report(self):
        self.assertEqual(self.ids("--report", "0xDE"), ([0xDE, 0xDE], ALL_DECODED))
        self.assertEqual(self.ids("--report=118,222"), ([0xDE, 0x76, 0xDE], ALL_DECODED))
        self.assertEqual(self.ids("--report", "0x76", "--report", "0x99"), ([0x76, 0x99], SOME_REFUSED))

    def test_an_id_that_cannot_be_decimal_is_hexadecimal(self):
        for name in ("DE", "de", "0xdE"):
            self.assertEqual(self.ids("--report", name), ([0xDE, 0xDE], ALL_DECODED))
        self.assertEqual(self.ids("--report", "76,DE"), ([0xDE, 0xDE], ALL_DECODED))

    def expect_told(self, message, *options, lines=LINES):
        run = Run(*options, stdin=lines)
        self.expect(run, ALL_DECODED, err=f"vesk-decode: {message}\n" if message else "")

    def test_a_selection_that_matches_nothing(self):
        self.expect_told("nothing matches --report 76; did you mean 0x76?", "--report", "76")
        self.expect_told("nothing matches --report 0x4C", "--report=0x4C")
        self.expect_told("nothing matches --report 76; did you mean 0x76?", "--report", "76,DE")
        self.expect_told(
            "nothing matches --report 76,77; did you mean 0x76,0x77?", "--report=76", "--report=77"
        )
        self.expect_told("nothing matches --report 0xDE --type input", "--report=0xDE", "--type=input")
        self.expect_told("nothing matches --type output", "--type", "output")

    def test_a_selection_that_matches_something_or_has_nothing_to_match(self):
        self.expect_told(None, "--report", "118")
        self.expect_told(None, "--report", "0xDE,0xE1")
        self.expect_told(None, "--report", "0x76", lines=b"# nothing\n")
        self.assertNotIn("nothing matches", Run("--report=0xDE", stdin=b"de\n").err)

    def stalled(self, report_id, usb_type):
        """A capture of a request that failed, and of a frame."""
        usbmon = maker.Usbmon(False)
        setup = maker.GET_REPORT + bytes([report_id, usb_type, 0, 0, 0, 16])
        answer = usbmon.control((1, 0), 1, b"", completed=True)
        packets = [
            usbmon.control((1, 0), 1, setup, completed=False),
            answer[:28] + struct.pack("<i", -32) + answer[32:],
            usbmon.interrupt((1, 0), 2, image(1), completed=True),
        ]
        return maker.pcap(189, [((1, 0), packet) for packet in packets])

    def test_errors_are_selected_as_reports_are(self):
        capture = self.stalled(0x99, 3)
        for options in (["--report=0x76"], ["--type=input"], ["--jobs=2", "--report=0x76"]):
            with self.subTest(options=options):
                run = Run("-o", "ndjson", "--stats", *options, stdin=capture)
                self.expect(run, ALL_DECODED, err="")
                frame, counts = run.records()
                self.assertEqual((frame["report_id"], counts["statistics"]["errors"]), (0x76, {}))
        for options in ([], ["--report=0x99"], ["--type=feature"]):
            with self.subTest(options=options):
                run = Run("-o", "ndjson", *options, stdin=capture)
                self.assertEqual(run.status, SOME_REFUSED)
                self.assertEqual(run.records()[0]["error"]["code"], "failed_request")

    def test_a_truncated_report_is_known_by_its_first_byte(self):
        frame = maker.Usbmon(False).interrupt((1, 0), 2, image(1), completed=True)[:-700]
        capture = maker.pcap(189, [((1, 0), frame)])
        self.assertEqual(Run("--report=0x76", stdin=capture).status, SOME_REFUSED)
        message = "vesk-decode: nothing matches --report 0x77\n"
        self.expect(Run("--report=0x77", stdin=capture), ALL_DECODED, b"", message)

    def test_errors_of_unknown_reports_stay(self):
        run = Run("--report=0x76", "--type=input", stdin=hex_lines(image(1)) + b"zz\n")
        self.expect(run, SOME_REFUSED, err='-:2: bad hex: "z" is no hexadecimal digit, in "zz"\n')

    def test_type(self):
        self.assertEqual(self.ids("--type", "input"), ([0x76], ALL_DECODED))
        self.assertEqual(self.ids("--type=feature"), ([0xDE, 0xDE], ALL_DECODED))
        self.assertEqual(self.ids("--type", "output"), ([], ALL_DECODED))


class CommandLine(HostTest):
    def expect_usage(self, message, *arguments):
        self.expect(Run(*arguments), BAD_USAGE, b"", f"vesk-decode: {message}; --help shows the options\n")

    def test_unknown_option(self):
        run = Run("--nonsense")
        self.assertEqual((run.status, run.out), (BAD_USAGE, b""))
        self.assertRegex(run.err, r"^vesk-decode: .*--nonsense.*\n$")

    def test_values_that_make_no_sense(self):
        shown = re.split(r"--input FORM|--output FORM|--device|--decimal", Run("--help").out.decode())
        inputs, outputs = (", ".join(re.findall(r"^(?: {30})?(?: +)?([\w-]+): ", part, re.M))
                           for part in (shown[1], shown[3]))
        self.assertTrue(inputs.startswith("hex, dump, ") and outputs.startswith("text, ndjson, "))
        self.expect_usage(f"--output xml: choose one of {outputs}", "-o", "xml")
        self.expect_usage(f"--input tar: choose one of {inputs}", "--input=tar")
        self.expect_usage("--type both: choose one of input, output, feature", "--type", "both")
        self.expect_usage("--color red: choose one of auto, always, never", "--color", "red")
        self.expect_usage("--report E1E: an ID is 0 to 255, such as 0x76", "--report", "E1E")
        self.expect_usage("--report G1: an ID is 0 to 255, such as 0x76", "--report", "G1")
        self.expect_usage("--report 256: an ID is 0 to 255, such as 0x76", "--report", "256")
        self.expect_usage("--device 5: a device is BUS:DEV, such as 1:5", "--device", "5")
        self.expect_usage(
            "--endpoint 99: an endpoint is 0 to 15, or 0x81 to 0x8F", "--endpoint", "99"
        )

    def test_empty_values(self):
        """As from a variable that isn't set."""
        options = ("--input", "--device", "--endpoint", "--output", "--jobs", "--color", "--report")
        for option in (*options, "--type", "--plugin", "--limits"):
            with self.subTest(option=option):
                self.expect_usage(f"{option}: its value is empty", option, "", SAMPLES / "tour.hex")
                self.expect_usage(f"{option}: its value is empty", f"{option}=", SAMPLES / "tour.hex")
        for ids in ("0x76,", ",0x76", "0x76,,0x77", ","):
            self.expect_usage("--report: an ID in its list is empty", "--report", ids)

    def test_options_behind_operands_and_double_dash(self):
        path = self.file("r.hex", hex_lines(STATE))
        self.assertEqual(Run(path, "-o", "ndjson").records()[0]["value"], "SINGLE")
        odd = self.file("-decimal", hex_lines(STATE))
        run = Run("--output=json", "--", odd.name, cwd=self.folder)
        self.assertEqual(json.loads(run.out)[0]["source"]["file"], "-decimal")

    def test_the_last_of_an_option_counts(self):
        self.expect(Run("-o", "json", "-o", "text", stdin=b"de 01"), ALL_DECODED, STATE_LINES, "")

    def test_help(self):
        run = Run("--help")
        self.expect(run, ALL_DECODED, err="")
        for part in ("Usage: vesk-decode", "\nInput:", "\nOutput:", "\nExamples:", "\nExit status:"):
            self.assertIn(part, run.out.decode())

    def test_help_where_a_terminal_is_the_input(self):
        master, terminal = pty.openpty()
        run = subprocess.run([PROGRAM], stdin=terminal, capture_output=True, timeout=600, check=False)
        os.close(master)
        os.close(terminal)
        self.assertEqual((run.returncode, run.stdout), (ALL_DECODED, Run("--help").out))

    def test_version(self):
        run = Run("--version")
        self.expect(run, ALL_DECODED, err="")
        self.assertRegex(
            run.out.decode(), r"^vesk-decode \d+\.\d+\.\d+\nplug-in \d\S* \(ABI version 1\) at /\S+\n$"
        )

    def test_list_reports(self):
        run = Run("--list-reports")
        self.expect(run, ALL_DECODED, err="")
        lines = run.out.decode().splitlines()
        for line in lines[1:]:
            self.assertRegex(line, r"^(feature|input  )  0x[0-9A-F]{2}  (text|at least \d+|\d+) +parse\w+")
        self.assertEqual(lines[1].split(), ["feature", "0xD0", "text", "parseVersion", "ersion"])
        self.assertIn("input    0x76  792           parseVeskImage", lines)

    def test_verbose_tells_the_form(self):
        run = Run("-v", FORMS / "tour.od", SAMPLES / "tour.hex")
        self.assertIn("/tour.od: read as a dump by xxd, hexdump -C or od -A x -t x1, known by its "
                      "first line\n", run.err)
        self.assertIn("/tour.hex: read as lines of hex digits, since it is text that begins as "
                      "no other form\n", run.err)
        self.assertEqual(run.status, ALL_DECODED)

    def test_colours(self):
        bad = b"zz"
        self.assertNotIn("\x1b", Run(stdin=bad).err)
        self.assertIn("\x1b[31m", Run("--color=always", stdin=bad).err)
        coloured = Run("--color=always", "--headers", stdin=b"de 01").out
        self.assertTrue(coloured.startswith(b"\x1b[36m# -:1, report 0xDE (feature)"), coloured)

    def colours_on_a_terminal(self, environment):
        master, terminal = pty.openpty()
        subprocess.run(
            [PROGRAM], input=b"zz", stdout=subprocess.DEVNULL, stderr=terminal, timeout=600,
            check=False, env={**os.environ, **environment},
        )
        os.close(terminal)
        shown = os.read(master, 4096)
        os.close(master)
        return b"\x1b[31m" in shown

    def test_no_color(self):
        self.assertTrue(self.colours_on_a_terminal({"NO_COLOR": ""}))
        self.assertFalse(self.colours_on_a_terminal({"NO_COLOR": "1"}))


class WrongForm(HostTest):
    """A file that is something else: a few errors, and what is the matter."""

    LOG = b"".join(b"line %d of a log\n" % number for number in range(300))

    def verdict(self, run):
        self.assertEqual(run.status, SOME_REFUSED)
        *errors, verdict = run.err.splitlines()
        return len(errors), verdict.replace(str(self.folder) + "/", "")

    def test_few_errors_are_all_shown(self):
        run = Run("-i", "hex", stdin=b"zz\n" * 5)
        self.assertEqual((run.status, run.err.count("\n")), (SOME_REFUSED, 5))

    def test_log(self):
        run = Run("-i", "hex", stdin=self.LOG)
        self.assertEqual(
            self.verdict(run),
            (5, "-: 295 more errors are not shown (295 bad_hex); the file was read as lines of hex "
                "digits, and no report in it was decoded: it may be something else"),
        )

    def test_form_that_it_looks_like(self):
        path = self.file("tour.xxd", (FORMS / "tour.xxd").read_bytes())
        errors, verdict = self.verdict(Run("-i", "hex", path))
        self.assertRegex(
            verdict,
            r"^tour.xxd: \d+ more errors are not shown \(.*\); the file was read as lines of hex "
            r"digits, and looks like a dump by .*: try without -i$",
        )

    def test_form_that_is_left_is_no_guess(self):
        _, verdict = self.verdict(Run("-i", "recording", self.file("r.log", self.LOG)))
        self.assertIn("no report in it was decoded", verdict)

    def test_kinds_are_counted_apart(self):
        errors, verdict = self.verdict(Run(stdin=hex_lines(STATE) + b"zz\nde\n" * 8))
        self.assertEqual(errors, 10)
        self.assertEqual(
            verdict,
            "-: 6 more errors are not shown (3 bad_hex, 3 short_report); the file was read as lines of "
            "hex digits",
        )

    def test_each_file_has_its_own(self):
        path = self.file("r.log", self.LOG)
        run = Run("-i", "hex", path, path)
        self.assertEqual(run.err.count("r.log: 295 more errors"), 2)
        self.assertEqual(run.err.count("\n"), 12)

    def test_records_and_counts_have_all(self):
        for jobs in ("1", "3"):
            run = Run("-i", "hex", "-o", "ndjson", "--stats", "--jobs", jobs, stdin=self.LOG)
            *records, counts = run.records()
            self.assertEqual([record["error"]["code"] for record in records], ["bad_hex"] * 300)
            self.assertEqual(counts["statistics"]["errors"], {"bad_hex": 300})
            self.assertEqual(run.err.count("\n"), 6)


class Terminals(HostTest):
    """What files and devices say does not steer the terminal."""

    TEXT = "a\x1b[2J\tb\x07\x7f\u009bcé".encode()
    ESCAPED = "a\\u001b[2J\tb\\u0007\\u007f\\u009bcé".encode()

    def on_a_terminal(self, *arguments, stdin=b"", stream="stdout"):
        """What comes to a terminal, with its line ends as they were."""
        master, terminal = pty.openpty()
        streams = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL, stream: terminal}
        run = subprocess.run(
            [PROGRAM, *map(str, arguments)], input=stdin, timeout=600, check=False,
            env={**os.environ, "NO_COLOR": "1"}, **streams,
        )
        os.close(terminal)
        self.assertIn(run.returncode, range(5))
        shown = os.read(master, 65536)
        os.close(master)
        return shown.replace(b"\r\n", b"\n")

    def test_texts(self):
        line = hex_lines(b"\xd0" + self.TEXT + b"\0")
        self.assertEqual(self.on_a_terminal(stdin=line), b"\n" + self.ESCAPED + b"\n\n")
        self.assertEqual(self.on_a_terminal("--jobs=2", stdin=line), b"\n" + self.ESCAPED + b"\n\n")
        self.expect(Run(stdin=line), ALL_DECODED, b"\n" + self.TEXT + b"\n\n", "")
        self.assertEqual(self.on_a_terminal("-o", "csv", stdin=line).split(b",")[-1], self.ESCAPED + b"\n")
        record = json.loads(self.on_a_terminal("-o", "ndjson", stdin=line))
        self.assertEqual(record["value"], self.TEXT.decode())
        recording = b"N: \x1b]0;x\nF: 0.0 2 de 01\n"
        shown = self.on_a_terminal("-o", "recording", stdin=recording)
        self.assertTrue(shown.startswith(b"N: \\u001b]0;x\n"), shown)
        self.assertIn(b"N: \x1b]0;x\n", Run("-o", "recording", stdin=recording).out)

    def test_file_names(self):
        path = self.file("r\x1b[2J\n\x9b.hex", hex_lines(STATE) + b"zz\n")
        name = os.fsencode(self.folder) + b"/r\\u001b[2J\\u000a\\u009b.hex"
        run = Run("--headers", path)
        self.assertTrue(run.out.startswith(b"# " + name + b":1, "), run.out)
        self.assertTrue(run.err.encode().startswith(name + b":2: bad hex"), run.err)
        for stream, begin in (("stdout", b"# " + name), ("stderr", name + b":2: bad hex")):
            shown = self.on_a_terminal("--headers", path, stream=stream)
            self.assertTrue(shown.startswith(begin), shown)
        self.assertEqual(Run("-o", "ndjson", path).records()[0]["source"]["file"], str(path))
        gap = self.file("g\x1b.bin", image(1) + image(3))
        self.assertIn(b"2 missing before %s/g\\u001b.bin" % os.fsencode(self.folder),
                      self.on_a_terminal("--stats", gap, stream="stderr"))

    def test_name_that_is_no_utf8(self):
        name = os.fsencode(self.folder) + b"/\x9b.hex"
        with open(name, "wb") as file:
            file.write(hex_lines(STATE))
        run = Run("--headers", os.fsdecode(name))
        self.assertIn(b"/\\x9b.hex:1, ", run.out)

    def test_colours_of_our_own(self):
        shown = self.on_a_terminal("--headers", "--color=always", stdin=hex_lines(STATE))
        self.assertTrue(shown.startswith(b"\x1b[36m# -:1, "), shown)


class Files(HostTest):
    """One bad file does not hide the others."""

    def expect_unreadable(self, path, message):
        good = self.file("good.hex", hex_lines(STATE))
        run = Run(good, path, good)
        name = str(path).replace(str(self.folder) + "/", "")
        self.expect(run, CANNOT_READ_OR_WRITE, STATE_LINES * 2, f"{name}: {message}\n")

    def test_missing_file(self):
        self.expect_unreadable(self.folder / "none.hex", "cannot open: No such file or directory")

    def test_directory(self):
        self.expect_unreadable(self.folder / "..", "cannot read: Is a directory")

    @unittest.skipIf(os.geteuid() == 0, "root may read everything")
    def test_unreadable_file(self):
        path = self.file("secret.hex", b"de 01\n")
        path.chmod(0)
        self.expect_unreadable(path, "cannot open: Permission denied")

    def test_read_that_fails(self):
        self.expect_unreadable("/proc/self/mem", "cannot read: Input/output error")

    def test_compressed_file(self):
        path = self.file("r.gz", b"\x1f\x8b\x08\0rest")
        self.expect_unreadable(path, "begins as a compressed file does, and is damaged")

    def test_utf16_text(self):
        path = self.file("r.txt", "de 01".encode("utf-16"))
        self.expect_unreadable(path, "text in UTF-16; use: iconv -f UTF-16 -t UTF-8 FILE | vesk-decode")

    def test_unreadable_counts_more_than_refused(self):
        self.expect(Run("-", "/none", stdin=b"99"), CANNOT_READ_OR_WRITE)

    def test_unreadable_file_is_a_record_too(self):
        run = Run("-o", "ndjson", "/none")
        self.assertEqual(run.status, CANNOT_READ_OR_WRITE)
        self.assertEqual(run.records()[0]["error"]["code"], "unreadable_input")

    def test_byte_order_mark(self):
        self.expect(Run(stdin=b"\xef\xbb\xbfde 01"), ALL_DECODED, STATE_LINES, "")


class Plugins(HostTest):
    def expect_refused(self, path, pattern):
        run = Run("--plugin", path, stdin=b"de 01")
        self.assertEqual((run.status, run.out), (NO_PLUGIN, b""))
        self.assertRegex(run.err, f"^vesk-decode: {pattern}\n$")

    def test_missing(self):
        self.expect_refused("/none.so", "cannot load the plug-in: .*/none.so.*")

    def test_no_library(self):
        path = self.file("text.so", b"This is no library.")
        self.expect_refused(path, "cannot load the plug-in: .*text.so.*")

    def test_name_without_a_slash_is_a_file_and_no_system_library(self):
        self.expect_refused("libc.so.6", "cannot load the plug-in: ./libc.so.6: .*")

    def test_other_abi_version(self):
        path = os.environ["VESK_FAKE_OTHER_ABI"]
        self.expect_refused(path, ".* is a plug-in of ABI version 2, and this program needs version 1")

    def test_table_too_small(self):
        path = os.environ["VESK_FAKE_SMALL_TABLE"]
        self.expect_refused(path, r".* lacks functions of ABI version 1: its table has 16 bytes, not \d+")

    def test_without_entry(self):
        path = os.environ["VESK_FAKE_NO_ENTRY"]
        self.expect_refused(path, ".* is no plug-in: it has no vesk_plugin_entry")

    def test_visits_that_fail_are_no_empty_records(self):
        path = os.environ["VESK_FAKE_WITHOUT_VISITS"]
        for arguments in (["-o", "ndjson"], ["-o", "json"], ["-o", "csv"], ["-o", "ndjson", "--jobs", "2"]):
            with self.subTest(arguments):
                run = Run("--plugin", path, *arguments, stdin=b"de 01\n")
                self.assertEqual(run.status, NO_PLUGIN)
                self.assertNotIn(b"0xDE", run.out)
                self.assertNotIn(b"parseAdcDumpState", run.out)
                self.assertEqual(
                    run.err, "vesk-decode: the plug-in refused to show what a report says\n"
                )


class Endings(HostTest):
    """Full disks, closed pipes, interrupts, and readers that wait."""

    def start(self, *arguments, **settings):
        """Starts the program with pipes and, where a shell runs these tests in the background and
        has interrupts ignored, with interrupts as they are elsewhere."""
        usual = {
            "stdin": subprocess.PIPE,
            "stdout": subprocess.PIPE,
            "stderr": subprocess.PIPE,
            "preexec_fn": lambda: signal.signal(signal.SIGINT, signal.SIG_DFL),
        }
        process = subprocess.Popen([PROGRAM, *map(str, arguments)], **{**usual, **settings})
        self.addCleanup(process.__exit__, None, None, None)
        self.addCleanup(process.kill)
        return process

    def read_soon(self, stream):
        ready, _, _ = select.select([stream], [], [], 600)
        self.assertTrue(ready, "nothing came")
        return os.read(stream.fileno(), 65536)

    def test_full_disk(self):
        for arguments in ([SAMPLES / "tour.hex"], ["--help"], ["--list-reports"], ["--version"]):
            with self.subTest(arguments=arguments), open("/dev/full", "wb") as full:
                process = self.start(*arguments, stdout=full)
                _, messages = process.communicate(timeout=600)
                message = b"vesk-decode: cannot write standard output: No space left on device\n"
                self.assertEqual((process.returncode, messages), (CANNOT_READ_OR_WRITE, message))

    def test_closed_standard_output(self):
        run = subprocess.run(
            ["/bin/sh", "-c", 'exec "$0" "$1" >&-', PROGRAM, SAMPLES / "tour.hex"],
            capture_output=True, check=False,
        )
        message = b"vesk-decode: cannot write standard output: Bad file descriptor\n"
        self.assertEqual((run.returncode, run.stderr), (CANNOT_READ_OR_WRITE, message))

    def test_closed_pipe(self):
        reader, writer = os.pipe()
        os.close(reader)
        process = self.start(SAMPLES / "tour.hex", stdout=writer)
        os.close(writer)
        _, messages = process.communicate(timeout=600)
        self.assertEqual((process.returncode, messages), (-signal.SIGPIPE, b""))

    def test_closed_pipe_where_the_signal_is_ignored(self):
        reader, writer = os.pipe()
        os.close(reader)
        ignore = lambda: signal.signal(signal.SIGPIPE, signal.SIG_IGN)
        process = self.start(
            SAMPLES / "tour.hex", stdout=writer, preexec_fn=ignore, restore_signals=False
        )
        os.close(writer)
        _, messages = process.communicate(timeout=600)
        self.assertEqual((process.returncode, messages), (-signal.SIGPIPE, b""))

    def test_a_follower_of_a_silent_pipe_has_everything(self):
        for form, report, shown in (
            ("hex", hex_lines(STATE), STATE_LINES),
            ("binary", STATE, STATE_LINES),
            ("recording", b"E: 0.0 1 99\nF: 1.5 2 de 01\n", STATE_LINES),
        ):
            with self.subTest(form=form):
                process = self.start()
                for _ in range(3):
                    process.stdin.write(report)
                    process.stdin.flush()
                    self.assertEqual(self.read_soon(process.stdout), shown)
                process.communicate(timeout=600)

    def test_interrupt_leaves_whole_records_and_the_counts(self):
        process = self.start("-o", "json", "--stats")
        process.stdin.write(hex_lines(STATE) + b"de 0")
        process.stdin.flush()
        begin = b""
        while b"SINGLE" not in begin:
            begin += self.read_soon(process.stdout)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(600), -signal.SIGINT)
        records = json.loads(begin + process.stdout.read())
        self.assertEqual([record.get("value") for record in records], ["SINGLE", None])
        self.assertEqual(records[-1]["statistics"]["reports"], 1)

    def test_interrupt_in_the_middle_of_much_output(self):
        path = self.file("many.bin", packet(1) * 20000)
        process = self.start("-o", "ndjson", "--stats", path)
        begin = os.read(process.stdout.fileno(), 65536)
        process.send_signal(signal.SIGTERM)
        lines = (begin + process.stdout.read()).splitlines()
        self.assertEqual(process.wait(600), -signal.SIGTERM)
        records = [json.loads(line) for line in lines]
        self.assertLess(len(records), 20000)
        self.assertEqual(records[-1]["statistics"]["reports"], len(records) - 1)

    def test_an_ignored_interrupt_stays_ignored(self):
        ignore = lambda: signal.signal(signal.SIGINT, signal.SIG_IGN)
        process = self.start(preexec_fn=ignore)
        process.stdin.write(hex_lines(STATE))
        process.stdin.flush()
        self.read_soon(process.stdout)
        process.send_signal(signal.SIGINT)
        out, _ = process.communicate(hex_lines(STATE), timeout=600)
        self.assertEqual((process.returncode, out), (ALL_DECODED, STATE_LINES))

    def test_progress_on_a_terminal(self):
        master, terminal = pty.openpty()
        process = self.start(stdout=subprocess.DEVNULL, stderr=terminal)
        os.close(terminal)
        shown = b""
        end = time.monotonic() + 600
        while not shown and time.monotonic() < end:
            process.stdin.write(hex_lines(STATE))
            process.stdin.flush()
            if select.select([master], [], [], 0.1)[0]:
                shown += os.read(master, 4096)
        process.stdin.close()
        self.assertEqual(process.wait(600), ALL_DECODED)
        with contextlib.suppress(OSError):  # how a terminal that nobody writes to any more ends
            while piece := os.read(master, 4096):
                shown += piece
        os.close(master)
        self.assertRegex(shown, rb"\r\x1b\[K\d+\.\d MB, \d+ reports/s")
        self.assertTrue(shown.endswith(b"\r\x1b[K"), shown)

    def test_constant_memory(self):
        """A quarter of a gigabyte goes through a process that may not have half of that."""
        limit = 96 << 20
        set_limit = lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit))
        for form in ("text", "ndjson", "csv", "recording"):
            with self.subTest(form=form):
                process = self.start(
                    "-o", form, stdout=subprocess.DEVNULL,
                    preexec_fn=None if os.environ.get("VESK_SANITIZE") else set_limit,
                )
                block = packet(3) * 1000
                for _ in range(128):
                    process.stdin.write(block)
                _, messages = process.communicate(timeout=600)
                self.assertEqual((process.returncode, messages), (ALL_DECODED, b""))


if __name__ == "__main__":
    unittest.main()
