"""Pages with reports inside: what is in them is what a recording has, nothing that a file says can be
markup, and there is a whole page or none. A stand-in takes the place of the viewer's page, which not
every machine can build; viewer/tests has what a browser shows.
"""

import json
import os
import pty
import re
import shutil
import signal
import subprocess
import unittest
import unittest.mock
from pathlib import Path

from support import (
    ALL_DECODED,
    BAD_USAGE,
    CANNOT_READ_OR_WRITE,
    FORMS,
    LIMIT_NOT_KEPT,
    PROGRAM,
    SAMPLES,
    SOME_REFUSED,
    STATE,
    HostTest,
    Run,
    contents_of,
    hex_lines,
    image,
    maker,
    packet,
    page_with,
    stand_in,
)
from outputs_test import two_panels

HEAD, TAIL = page_with("").split('<script type="text/plain" id="carried" data-version=""></script>\n')
BLOCK = r'<script type="text/plain" id="(carried" data-version="[\d.]+|capture-\d+)">[A-Za-z0-9+/=]*</script>\n'

# Names and texts that would be markup, script or the end of a block.
HOSTILE = [
    b"</script><script>alert(1)</script>", b"<!--", b"-->", b"<!--<script>", b"]]>", b'"><img src=x onerror=1>',
    b"\xff\xfe\x80", b"a\nb", b"a'b`c${d}", "\u2028\u202e".encode(), b"&lt;", b"<\0/script>",
]


class PagesTest(HostTest):
    def setUp(self):
        super().setUp()
        self.page = self.file("stand-in.html", stand_in())

    def run_html(self, *arguments, **settings):
        return Run("-o", "html", "--viewer", self.page, *arguments, **settings)

    def contents(self, run, status=ALL_DECODED, err=""):
        """The description, and the recordings by what the page calls them."""
        self.expect(run, status, err=err)
        return contents_of(run.out)

    def refused(self, status, *arguments, **settings):
        run = Run("-o", "html", *arguments, **settings)
        self.assertEqual((run.status, run.out), (status, b""), run.err)
        return run.err.replace(str(self.folder) + "/", "")


class Contents(PagesTest):
    def test_what_is_inside_is_the_recording(self):
        for path in [*SAMPLES.glob("*.hex"), *FORMS.glob("tour*")]:
            with self.subTest(path.name):
                told, captures = self.contents(self.run_html(path))
                self.assertEqual([one["name"] for one in told["captures"]], [path.name])
                recording = Run("-o", "recording", path).out
                self.assertEqual(list(captures.values()), [recording])
                records = Run("-o", "ndjson", path).records()
                (row,) = told["captures"]
                self.assertEqual(row["reports"], len(records))
                self.assertEqual(row["known"], len(records))
                self.assertEqual(row["untimed"], sum("time" not in record for record in records))
                self.assertEqual((told["problems"], told["moreProblems"]), ([], 0))

    def test_the_page_is_as_it_was(self):
        run = self.run_html(FORMS / "tour.hid")
        text = run.out.decode()
        self.assertEqual(re.sub(BLOCK, "", text), HEAD + TAIL)
        self.assertEqual(len(re.findall(BLOCK, text)), 2)
        self.assertEqual(run.out, self.run_html(FORMS / "tour.hid").out)  # the same each time

    def test_selections(self):
        path = FORMS / "tour.hid"
        records = Run("-o", "ndjson", path).records()
        begin, end = (f"{records[n]['time']:.6f}" for n in (3, 6))
        for options in (["--report", "0x76,0xE1"], ["--type", "input"], ["--from", begin, "--to", end],
                        ["--count", "3"], ["--report", "0xE1", "--count", "1"]):
            with self.subTest(options):
                told, captures = self.contents(self.run_html(*options, path))
                self.assertEqual(list(captures.values()), [Run("-o", "hid", *options, path).out])
                self.assertEqual(told["selection"], " ".join(options))
        self.assertNotIn("selection", self.contents(self.run_html(path))[0])

    def test_nothing_is_left(self):
        err = "vesk-decode: nothing matches --report 0x01\n"
        told, captures = self.contents(self.run_html("--report", "0x01", FORMS / "tour.hid"), err=err)
        self.assertEqual((told["captures"], captures), ([{"name": "tour.hid", "reports": 0}], {}))

    def test_several_files(self):
        (self.folder / "other").mkdir()
        first = self.file("a.hex", hex_lines(STATE))
        second = self.file("other/a.hex", hex_lines(image(1)) + b"feature 99 01\n")
        empty = self.file("empty.hex", b"")
        run = self.run_html(first, empty, second, "-", first, stdin=hex_lines(image(2)))
        told, captures = self.contents(run)
        rows = [(row["name"], row.get("block"), row["reports"], row.get("known")) for row in told["captures"]]
        self.assertEqual(rows, [
            ("a.hex", "capture-1", 1, 1), ("a.hex (2)", "capture-4", 1, 1), ("empty.hex", None, 0, None),
            ("a.hex (3)", "capture-2", 2, 1), ("standard input", "capture-3", 1, 1)])
        for block, file in (("capture-1", first), ("capture-2", second), ("capture-4", first)):
            self.assertEqual(captures[block], Run("-o", "hid", file).out)
        self.assertEqual(len(captures), 4)

    def test_devices_of_a_capture_are_apart(self):
        """Else the numbers of one would look as if the other's were lost."""
        for link in (189, 220, 249):
            path = self.file("panels.pcap", two_panels(link, 20))
            told, captures = self.contents(self.run_html(path))
            self.assertEqual([row["name"] for row in told["captures"]], ["panels.pcap"] * 2)
            for row, device in zip(told["captures"], ("1:5", "1:9"), strict=True):
                self.assertRegex(row["device"], rf"^device {device}, endpoint 1$")
                alone = Run("-o", "hid", "--device", device, path).out
                self.assertEqual(captures[row["block"]], alone)
            told, captures = self.contents(self.run_html("--device", "1:9", path))
            self.assertEqual(list(captures.values()), [alone])
            self.assertEqual(told["selection"], "--device 1:9")

    def test_a_file_that_is_given_twice(self):
        path = self.file("panels.pcap", two_panels(220, 3))
        told, captures = self.contents(self.run_html(path, path))
        self.assertEqual([(row["name"], row["device"][:10]) for row in told["captures"]], [
            ("panels.pcap", "device 1:5"), ("panels.pcap", "device 1:9"),
            ("panels.pcap (2)", "device 1:5"), ("panels.pcap (2)", "device 1:9")])
        self.assertEqual(captures["capture-1"], captures["capture-3"])

    def test_endpoints_are_told(self):
        told, _ = self.contents(self.run_html(FORMS / "tour-usbmon.pcap"))
        self.assertEqual(told["captures"][0]["device"], "device 1:5, endpoints 0, 1")

    def test_more_devices_than_are_taken(self):
        transfers = maker.Usbmon(False)
        packets = []
        for number in range(300):
            one = bytearray(transfers.interrupt((1, number), number, STATE, True))
            one[11:14] = bytes([number % 256, number // 256, 0])  # the device, and the bus
            packets.append(((1, number), bytes(one)))
        path = self.file("many.pcap", maker.pcap(189, packets))
        err = self.refused(CANNOT_READ_OR_WRITE, "--viewer", self.page, path)
        self.assertEqual(err, "vesk-decode: -o html: more than 256 devices in many.pcap; choose one with "
                              "--device BUS:DEV\n")
        self.contents(self.run_html("--device", "0:7", path))

    def test_errors_are_inside(self):
        path = self.file("bad.hex", b"de 01\n" + b"zz\n" * 7 + b"99 01\n")
        run = self.run_html(path, "/none.hex")
        told, captures = contents_of(run.out)
        self.assertEqual(run.status, CANNOT_READ_OR_WRITE)
        self.assertEqual([row["name"] for row in told["captures"]], ["bad.hex", "none.hex"])
        shown = [f"{one['where']}: {one['what']}" for one in told["problems"]]
        messages = run.err.replace(str(self.folder) + "/", "").replace("/none", "none").splitlines()
        self.assertEqual(shown, [line for line in messages if "more errors" not in line])
        self.assertEqual(len(shown), 7)  # five, one of another kind, and one of the other file
        self.assertEqual(told["moreProblems"], 2)
        self.assertEqual(self.run_html(path).status, SOME_REFUSED)
        self.assertEqual(Run("-o", "hid", path).out, captures["capture-1"])

    def test_an_unknown_report_is_inside(self):
        told, captures = self.contents(self.run_html(stdin=b"input 99 01\nfeature e1\n"))
        self.assertIn(b"E: 000000.000000 2 99 01\n", captures["capture-1"])
        self.assertEqual([told["captures"][0][name] for name in ("reports", "known", "untimed")], [2, 1, 2])

    def test_counts_are_told_beside_it(self):
        run = self.run_html("--stats", FORMS / "tour.hid")
        self.assertEqual(run.err, Run("-o", "hid", "--stats", FORMS / "tour.hid").err)

    def test_verdicts_are_inside_and_beside_it(self):
        limits = SAMPLES / "limits" / "open-short.json"
        good = self.file("good.hex", hex_lines(b"\xe3" + bytes(56)))
        files = [FORMS / "tour.hid", good]
        run = self.run_html("--limits", limits, *files)
        self.assertEqual(run.err, Run("-o", "hid", "--limits", limits, *files).err)
        self.assertEqual(run.status, LIMIT_NOT_KEPT)
        told, captures = contents_of(run.out)
        verdicts = told.pop("verdicts")
        plain, recordings = contents_of(self.run_html(*files).out)
        self.assertEqual((told, captures), (plain, recordings))
        lines = []
        for verdict in verdicts:
            lines += [f"{one['where']}: {one['what']}" for one in verdict["failures"]]
            lines.append(f"{verdict['name']}: {verdict['summary']}")
        beside = [re.sub(r"^/.*/", "", line) for line in run.err.splitlines()]
        self.assertEqual(lines, beside)
        self.assertEqual([(one["passed"], one["moreFailures"]) for one in verdicts], [(False, 0), (True, 0)])

    def test_more_failures_than_standard_error_tells(self):
        keys = ["SHORT_TX_POS", "SHORT_TX_NEG", "SHORT_BOTH", "OPEN_TX_POS", "OPEN_TX_NEG", "OPEN_BOTH", "WEAK_OS"]
        schema = {"properties": {key: {"const": 0} for key in keys}}
        limits = self.file("limits.json", json.dumps(
            {"title": "</script>", "reports": {"0xE3": {"schema": schema}}}).encode())
        run = self.run_html("--limits", limits, stdin=hex_lines(STATE))
        self.assertEqual(run.status, LIMIT_NOT_KEPT)
        (verdict,) = contents_of(run.out)[0]["verdicts"]
        self.assertEqual((verdict["limits"], verdict["summary"]), ("</script>", "FAIL, 7 of 8 tests"))
        self.assertEqual(len(verdict["failures"]), 7)  # standard error has five
        self.assertEqual(verdict["failures"][6], {
            "where": "standard input", "what": "0xE3 WEAK_OS was not measured: no report 0xE3 (feature) came"})
        Hostile.expect_harmless(self, run)

    def test_a_plug_in_that_is_not_the_pages(self):
        plugin = os.environ["VESK_NEWER_PLUGIN"]
        version = Run("--plugin", plugin, "--version").out.decode().split()[3]
        told, captures = contents_of(self.run_html("--plugin", plugin, stdin=b"feature ab 5a\n").out)
        self.assertEqual(told["captures"][0]["reports"], 1)
        run = self.run_html("--plugin", plugin, stdin=b"feature ab 5a\n")
        self.expect(run, ALL_DECODED, err=f"vesk-decode: the page decodes as version {told['program']} does; the "
                                          f"plug-in of this run, {plugin}, is of version {version}\n")

    def test_more_threads_change_nothing(self):
        path = self.file("many.bin", packet(1) * 3000)
        self.assertEqual(self.run_html("--jobs", 3, path).out, self.run_html(path).out)


class Hostile(PagesTest):
    def expect_harmless(self, run):
        """Between the page's own parts there is nothing but blocks of base64."""
        text = run.out.decode("ascii")
        self.assertTrue(text.startswith(HEAD) and text.endswith(TAIL))
        inside = text[len(HEAD):-len(TAIL)]
        self.assertRegex(inside, rf"\A(?:{BLOCK})+\Z")

    def test_names_of_files(self):
        for name in HOSTILE:
            name = name.replace(b"/", b"_").replace(b"\0", b"_")
            path = os.path.join(os.fsencode(self.folder), name)
            with open(path, "wb") as file:
                file.write(hex_lines(STATE) + b"zz\n")
            done = subprocess.run([PROGRAM, "-o", "html", "--viewer", self.page, path], capture_output=True,
                                  check=False)
            self.assertEqual(done.returncode, SOME_REFUSED)
            run = unittest.mock.Mock(out=done.stdout)
            self.expect_harmless(run)
            told, _ = contents_of(done.stdout)
            shown = told["captures"][0]["name"]
            messages = done.stderr.decode().replace(str(self.folder) + "/", "")
            self.assertEqual(messages, f"{shown}:2: {told['problems'][0]['what']}\n")
            self.assertFalse(any(ord(character) < 0x20 for character in shown))

    def test_texts_of_reports_and_devices(self):
        for text in HOSTILE:
            version = b"\xd0" + text.replace(b"\0", b"") + b"\0"
            lines = b"N: " + text.replace(b"\n", b" ") + b"\nF: 0.0 %d %s\n" % (
                len(version), version.hex(" ").encode())
            run = self.run_html(stdin=lines)
            self.expect_harmless(run)
            _, captures = self.contents(run)
            self.assertEqual(captures["capture-1"], Run("-o", "hid", stdin=lines).out)

    def test_a_line_that_is_shown_in_a_message(self):
        for text in HOSTILE:
            run = self.run_html(stdin=b"F: 0.0 2 de 01\n" + text.replace(b"\n", b" ") + b"\n")
            self.expect_harmless(run)
            if run.status == SOME_REFUSED:
                told, _ = contents_of(run.out)
                self.assertEqual(f"-:2: {told['problems'][0]['what']}\n",
                                 run.err.replace("standard input", "-"))


class Size(PagesTest):
    """The limit is one of the reports' bytes."""

    def reports(self, count):
        """Of 64,000 bytes each."""
        line = b"feature 99 " + b"01" * 63_999 + b"\n"
        path = self.folder / "large.hex"
        with open(path, "wb") as file:
            for _ in range(count):
                file.write(line)
        return path

    def test_as_much_as_there_may_be(self):
        told, captures = self.contents(self.run_html(self.reports(1000)))
        self.assertEqual(told["captures"][0]["reports"], 1000)
        self.assertEqual(captures["capture-1"].count(b"\nF: "), 1000)

    def test_more(self):
        path = self.reports(1000)
        more = self.file("more.hex", hex_lines(STATE, image(1)))
        err = self.refused(CANNOT_READ_OR_WRITE, "--viewer", self.page, path, more)
        self.assertEqual(
            err,
            "vesk-decode: -o html: a page takes 64 MB of reports, and here are 64.1 MB in 1002 reports: report 0x99 "
            "(feature) 64.0 MB, report 0x76 (input) 0.1 MB, report 0xDE (feature) 0.1 MB; choose with --report, "
            "--type, --from, --to, --device or --count; -o recording takes all\n")
        self.contents(self.run_html("--report", "0x76", path, more))

    def test_errors_and_counts_are_told_all_the_same(self):
        path = self.reports(1001)
        bad = self.file("bad.hex", b"zz\n")
        err = self.refused(CANNOT_READ_OR_WRITE, "--viewer", self.page, "--stats", path, bad)
        self.assertRegex(err, r'(?s)^bad\.hex:1: bad hex.*\b1001\b.*\nvesk-decode: -o html: a page takes 64 MB')


class TheViewersPage(PagesTest):
    MISSING = ("; install the package vesk-viewer, build the page by scripts/viewer, or name it with "
               "--viewer FILE\n")

    def test_what_is_no_page(self):
        page = stand_in().decode()
        place = re.search(r"<script[^>]*carried.*\n", page)[0]
        for name, text, message in (
            ("none", page.replace(place, ""), "it is no page of the viewer: it has no place for reports"),
            ("twice", page.replace(place, place * 2), "it is no page of the viewer: it has no place"),
            ("empty", "", "it is no page of the viewer"),
            ("half", page[:-4], "the page is cut off; install or build it again"),
            ("begun", page[:page.index(place) + len(place) - 14], "the page is cut off"),
            ("older", stand_in("1.1.9").decode(), "it is the page of version 1.1.9, and this program needs that of"),
            ("strange", stand_in("\x1b[2J").decode(), "it is the page of version \\u001b[2J, and"),
            ("used", self.run_html(stdin=b"de 01").out.decode(), "there are reports in it already"),
        ):
            with self.subTest(name):
                path = self.file(f"{name}.html", text.encode())
                err = self.refused(CANNOT_READ_OR_WRITE, "--viewer", path, stdin=b"de 01")
                self.assertTrue(err.startswith(f"vesk-decode: -o html: {name}.html: {message}"), err)

    def test_what_cannot_be_read(self):
        for path, message in (("/none", "cannot open: No such file or directory"),
                              (self.folder, "cannot read: Is a directory"),
                              ("/dev/zero", "it is larger than any page of the viewer"),
                              ("-", "cannot open: No such file or directory")):
            err = self.refused(CANNOT_READ_OR_WRITE, "--viewer", path, stdin=stand_in(), cwd=self.folder)
            self.assertEqual(err, f"vesk-decode: -o html: {path}: {message}\n")

    def test_where_it_is_looked_for(self):
        """Beside the program, where it is installed, and where scripts/viewer builds it."""
        plugin = Path(re.search(r" at (/.*)", Run("--version").out.decode())[1])
        for number, (program, pages) in enumerate((
            ("bin", ["bin"]), ("bin", ["share/vesk"]), ("build/some/bin", ["build/viewer"]),
            ("bin", ["bin", "share/vesk"]),  # the first one
        )):
            root = self.folder / str(number)
            (root / program).mkdir(parents=True)
            shutil.copy(PROGRAM, root / program)
            (root / program / "../lib").mkdir()
            shutil.copy(plugin, root / program / "../lib/libvesk-report.so")
            run = self.run_copy(root / program)
            looked = f"{root / program}, {(root / program).parent}/share/vesk, "
            message = f"vesk-decode: -o html: cannot find vesk-viewer.html in {looked}"
            self.assertEqual((run.returncode, run.stdout), (CANNOT_READ_OR_WRITE, b""))
            self.assertTrue(run.stderr.decode().startswith(message), run.stderr)
            self.assertTrue(run.stderr.decode().endswith(self.MISSING), run.stderr)
            for page in pages:
                (root / page).mkdir(parents=True, exist_ok=True)
                (root / page / "vesk-viewer.html").write_bytes(stand_in(title=page))
            if program.startswith("build"):  # not before it is one
                self.assertEqual(self.run_copy(root / program).returncode, CANNOT_READ_OR_WRITE)
                (root / "build/some/CMakeCache.txt").touch()
            run = self.run_copy(root / program)
            self.assertEqual((run.returncode, run.stderr), (ALL_DECODED, b""))
            self.assertIn(f"<title>{pages[0]}</title>".encode(), run.stdout)

    def run_copy(self, folder):
        return subprocess.run([folder / "vesk-decode", "-o", "html"], input=b"de 01", capture_output=True, check=False)

    def test_other_forms_need_none(self):
        self.expect(Run("--viewer", self.page, stdin=b"de 01"), BAD_USAGE, b"",
                    "vesk-decode: --viewer goes with -o html; --help shows the options\n")


class Runs(PagesTest):
    def test_what_would_be_ignored(self):
        held = ": -o html holds reports undecoded"
        for options, message in (
            (["--headers"], f"--headers{held}"), (["--lines"], f"--lines{held}"),
            (["--decimal"], f"--decimal{held}"), (["--elements"], "--elements goes with"),
            (["--host-writes"], "--host-writes: -o html holds what devices send, as a recording"),
            (["--changes"], "--changes is for"), (["--baseline", "x"], "--baseline is for changes"),
            (["--across", "0xEA,0xE1"], "--across is for changes"), (["--layout"], "--layout goes with"),
        ):
            err = self.refused(BAD_USAGE, "--viewer", self.page, *options, FORMS / "tour.hid")
            self.assertTrue(err.startswith(f"vesk-decode: {message}"), err)

    def test_a_terminal(self):
        master, terminal = pty.openpty()
        run = subprocess.run([PROGRAM, "-o", "html", "--viewer", self.page], input=b"de 01", stdout=terminal,
                             stderr=subprocess.PIPE, check=False)
        os.close(terminal)
        os.close(master)
        self.assertEqual(run.returncode, BAD_USAGE)
        self.assertIn(b"-o html writes a page for a browser, and standard output is a terminal", run.stderr)

    def test_a_full_disk(self):
        with open("/dev/full", "wb") as full:
            run = subprocess.run([PROGRAM, "-o", "html", "--viewer", self.page], input=b"de 01", stdout=full,
                                 stderr=subprocess.PIPE, check=False)
        message = b"vesk-decode: cannot write standard output: No space left on device\n"
        self.assertEqual((run.returncode, run.stderr), (CANNOT_READ_OR_WRITE, message))

    def test_an_interrupt_leaves_a_whole_page_that_tells(self):
        process = subprocess.Popen(
            [PROGRAM, "-v", "-o", "html", "--viewer", self.page], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, stderr=subprocess.PIPE,
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_DFL))
        self.addCleanup(process.stderr.close)
        process.stdin.write(hex_lines(STATE) * 100)
        process.stdin.flush()
        while b"read as" not in process.stderr.readline():
            pass
        process.send_signal(signal.SIGINT)
        out = process.stdout.read()
        process.stdin.close()
        process.stdout.close()
        self.assertEqual(process.wait(600), -signal.SIGINT)
        told, _ = contents_of(out)
        self.assertIs(told["interrupted"], True)
        self.assertNotIn("interrupted", self.contents(self.run_html(stdin=b"de 01"))[0])


if __name__ == "__main__":
    unittest.main()
