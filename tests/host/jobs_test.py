"""Several threads: to the byte what one thread writes and says, on good and on broken input."""

import json
import os
import resource
import signal
import subprocess
import unittest

from support import (
    ALL_DECODED,
    BAD_USAGE,
    CANNOT_READ_OR_WRITE,
    FORMS,
    PROGRAM,
    SAMPLES,
    SANITIZED,
    SOME_REFUSED,
    STATE,
    STATE_LINES,
    TOUR,
    HostTest,
    Run,
    forms,
    hex_lines,
    image,
    output,
    packet,
)

COUNTS = (1, 2, 3)
# Others take one thread whatever is asked for, which a sanitizer need not see of each file. The screen
# needs a terminal, and html the viewer's page: they have tests of their own.
WITHOUT = ("screen", "html")
FORMS_OF_OUTPUT = (
    ["text", "ndjson"] if SANITIZED else [form for form in forms("--output") if form not in WITHOUT]
)


class Same(HostTest):
    """The same bytes on standard output and on standard error, and the same exit status."""

    def expect_same(self, *arguments, **settings):
        one, *others = (Run("--jobs", count, *arguments, **settings) for count in COUNTS)
        for other in others:
            self.assertEqual((other.status, other.err), (one.status, one.err))
            self.assertEqual(len(other.out), len(one.out))
            self.assertTrue(other.out == one.out)
        return one

    def mixed(self):
        """Reports of every kind between streams with gaps, and something wrong here and there."""
        tour = [hex_lines(data) for _, data in TOUR]
        bad = [b"de\n", b"99 01\n", b"zz\n", b"d0 ff 00\n", b"output d0 31 00\n", b"76 00\n", b"feature\n"]
        lines = []
        for number in range(1500):
            lines.append(hex_lines(packet(2 * number) if number % 3 else image(number)))
            lines += [tour[number % len(tour)], hex_lines(STATE) * (number % 60)]
            if number % 7 == 0:
                lines.append(bad[number // 7 % len(bad)])
        return b"".join(lines)

    def test_every_sample_in_every_output(self):
        for path in [*SAMPLES.glob("*.hex"), *FORMS.glob("tour*")]:
            for form in FORMS_OF_OUTPUT:
                with self.subTest(path=path.name, form=form):
                    self.expect_same(*output(form), "--headers", "--stats", path)

    def test_a_large_mixed_capture_with_errors(self):
        path = self.file("mixed.hex", self.mixed())
        for form in FORMS_OF_OUTPUT:
            for options in ([], ["--stats", "--headers", "--lines", "--color=always"], ["--type=input"]):
                with self.subTest(form=form, options=options):
                    run = self.expect_same(*output(form), *options, path)
                    self.assertEqual(run.status, SOME_REFUSED)

    def test_the_same_without_being_asked(self):
        path = self.file("mixed.hex", self.mixed())
        self.assertGreater(path.stat().st_size, 4_000_000)
        for form in ("text", "ndjson"):
            one = Run("--jobs=1", "-o", form, "--stats", path)
            unasked = Run("-o", form, "--stats", path)
            self.assertTrue((unasked.out, unasked.err) == (one.out, one.err))

    def test_from_a_pipe(self):
        self.expect_same("-o", "ndjson", "--stats", stdin=self.mixed())

    def test_decimal(self):
        self.expect_same("--decimal", stdin=hex_lines(image(1), packet(2)) * 100)

    def test_several_files_some_of_which_are_unreadable(self):
        first = self.file("first.bin", packet(1) * 200 + b"\x99")
        last = self.file("last.bin", packet(3) * 200)
        for form in ("text", "ndjson"):
            files = [first, "/none", last, self.folder, first]
            run = self.expect_same("-v", "--headers", "--stats", "-o", form, *files)
            self.assertEqual(run.status, CANNOT_READ_OR_WRITE)
        records = self.expect_same("-o", "ndjson", first, "/none").records()
        self.assertEqual(records[-1]["source"]["file"], "/none")

    def test_nothing_at_all(self):
        self.expect(self.expect_same(stdin=b""), ALL_DECODED, b"", "")


class Endings(HostTest):
    def start(self, *arguments, **settings):
        usual = {
            "stdin": subprocess.PIPE,
            "stdout": subprocess.PIPE,
            "stderr": subprocess.PIPE,
            "preexec_fn": lambda: signal.signal(signal.SIGINT, signal.SIG_DFL),
        }
        command = [PROGRAM, "--jobs=3", *map(str, arguments)]
        process = subprocess.Popen(command, **{**usual, **settings})
        self.addCleanup(process.__exit__, None, None, None)
        self.addCleanup(process.kill)
        return process

    def test_full_disk(self):
        path = self.file("many.bin", packet(1) * 5000)
        with open("/dev/full", "wb") as full:
            process = self.start("-o", "ndjson", path, stdout=full)
            _, messages = process.communicate(timeout=600)
        message = b"vesk-decode: cannot write standard output: No space left on device\n"
        self.assertEqual((process.returncode, messages), (CANNOT_READ_OR_WRITE, message))

    def test_closed_pipe(self):
        path = self.file("many.bin", packet(1) * 5000)
        process = self.start("-o", "ndjson", path)
        process.stdout.read(100_000)
        process.stdout.close()
        self.assertEqual((process.wait(600), process.stderr.read()), (-signal.SIGPIPE, b""))

    def test_a_follower_of_a_silent_pipe_has_everything(self):
        process = self.start()
        for _ in range(3):
            process.stdin.write(hex_lines(STATE))
            process.stdin.flush()
            self.assertEqual(os.read(process.stdout.fileno(), 4096), STATE_LINES)
        process.communicate(timeout=600)
        self.assertEqual(process.returncode, ALL_DECODED)

    def test_interrupt_while_waiting(self):
        process = self.start("-o", "ndjson", "--stats")
        process.stdin.write(hex_lines(STATE) + b"de 0")
        process.stdin.flush()
        begin = os.read(process.stdout.fileno(), 4096)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(600), -signal.SIGINT)
        records = [json.loads(line) for line in (begin + process.stdout.read()).splitlines()]
        self.assertEqual([record.get("value") for record in records], ["SINGLE", None])
        self.assertEqual(records[-1]["statistics"]["reports"], 1)

    def test_interrupt_in_the_middle_leaves_whole_records_and_the_counts(self):
        path = self.file("many.bin", packet(1) * 20000)
        for _ in range(5):
            process = self.start("-o", "ndjson", "--stats", path)
            begin = os.read(process.stdout.fileno(), 65536)
            process.send_signal(signal.SIGINT)
            lines = (begin + process.stdout.read()).splitlines()
            self.assertEqual(process.wait(600), -signal.SIGINT)
            self.assertLess(len(lines), 20000)
            offsets = [json.loads(line)["source"]["offset"] for line in lines[:-1]]
            self.assertEqual(offsets, [2064 * number for number in range(len(offsets))])
            self.assertEqual(json.loads(lines[-1])["statistics"]["reports"], len(offsets))

    @unittest.skipIf(SANITIZED, "a sanitizer reserves terabytes of addresses")
    def test_constant_memory(self):
        limit = 256 << 20
        for form, block in (("text", packet(3) * 1000), ("ndjson", STATE * 100_000)):
            with self.subTest(form=form):
                process = self.start(
                    "-o", form, "-i", "binary", stdout=subprocess.DEVNULL,
                    preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_AS, (limit, limit)),
                )
                for _ in range(128 if form == "text" else 20):
                    process.stdin.write(block)
                _, messages = process.communicate(timeout=600)
                self.assertEqual((process.returncode, messages), (ALL_DECODED, b""))


class CommandLine(HostTest):
    def test_numbers_that_make_no_sense(self):
        for count in ("0", "65", "-1", "two"):
            with self.subTest(count=count):
                message = (
                    f"vesk-decode: --jobs {count}: a number of threads is 1 to 64;"
                    " --help shows the options\n"
                )
                self.expect(Run(f"--jobs={count}"), BAD_USAGE, b"", message)


if __name__ == "__main__":
    unittest.main()
