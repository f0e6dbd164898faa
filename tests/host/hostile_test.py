"""Inputs that lie: bounded time and memory for each, an error that names the place, and what is good
is still decoded."""

import re
import resource
import struct
import unittest

from support import (
    ALL_DECODED,
    CANNOT_READ_OR_WRITE,
    FORMS,
    NO_PLUGIN,
    SAMPLES,
    SANITIZED,
    SOME_REFUSED,
    STATE,
    STATE_LINES,
    HostTest,
    Run,
    hex_lines,
    image,
    maker,
)

LIMIT = 256 << 20
SECONDS = 60
GOOD_HEX = hex_lines(STATE)
GOOD_LINE = b"F: 0.0 2 de 01\n"


class Hostile(HostTest):
    def used(self):
        """Seconds of a processor, which others that are busy don't lengthen."""
        children = resource.getrusage(resource.RUSAGE_CHILDREN)
        return children.ru_utime + children.ru_stime

    def run_limited(self, content, *options):
        begin = self.used()
        run = Run(*options, stdin=content, limit=LIMIT)
        self.assertLess(self.used() - begin, SECONDS)
        self.assertIn(run.status, range(5), run.err)
        return run

    def test_endless_line_of_digits(self):
        run = self.run_limited(GOOD_HEX + b"00" * (100 << 20) + b"\n" + GOOD_HEX)
        message = "-:2: the line is longer than any report; reports are lines of hex digits\n"
        self.expect(run, SOME_REFUSED, STATE_LINES * 2, message)

    def test_endless_line_from_the_start(self):
        for byte in (b"0", b" ", b"#", b"E", b"\xff", b"\0", b"v"):
            for form in ("hex", "dump", "xxd-p", "binary", "recording", None):
                with self.subTest(byte=byte, form=form):
                    self.run_limited(byte * (20 << 20), *(["-i", form] if form else []))

    def test_endless_lines_of_each_text_form(self):
        for piece in (b"0xDE,", b"{", b"de 01 ", b"RX: ", b"[1.5] ", b"17:02:37 ", b"a,data\n", b"/*", b'"'):
            for form in ("usbhid-dump", "usbmon", "packets", "array", "csv", "log"):
                with self.subTest(piece=piece, form=form):
                    self.run_limited(piece * ((2 << 20) // len(piece)), "-i", form)

    def test_endless_comment_is_no_error(self):
        run = self.run_limited(GOOD_HEX + b"#" * (50 << 20) + b"\n" + GOOD_HEX)
        self.expect(run, ALL_DECODED, STATE_LINES * 2, "")

    def test_report_longer_than_any(self):
        run = self.run_limited(b"de" + b"00" * 65536 + b"\n" + GOOD_HEX)
        message = "-:1: 65537 bytes, and no report is longer than 65536\n"
        self.expect(run, SOME_REFUSED, STATE_LINES, message)

    def test_longest_report(self):
        run = self.run_limited(b"de01" + b"0x00, " * 65534 + b"\n")
        self.expect(run, ALL_DECODED, STATE_LINES, "")

    def test_nul_bytes_in_text(self):
        run = self.run_limited(GOOD_HEX + b"de\0 01\n" + GOOD_HEX)
        message = '-:2: bad hex: "?" is no hexadecimal digit, in "de?"\n'
        self.expect(run, SOME_REFUSED, STATE_LINES * 2, message)

    def test_half_a_character_at_the_end(self):
        for form in ("text", "ndjson", "csv"):
            run = self.run_limited(GOOD_HEX + b"de 01 \xc3", "-o", form)
            self.assertEqual(run.status, SOME_REFUSED)
            self.assertEqual(run.err, '-:2: bad hex: "?" is no hexadecimal digit, in "?"\n')
            run.out.decode()

    def test_version_text_that_ends_in_half_a_character(self):
        for form in ("text", "ndjson"):
            run = self.run_limited(b"\xd0" + b"abc\xc3\0" + STATE, "-o", form)
            self.assertEqual(run.status, SOME_REFUSED)
            self.assertIn("-: byte 0: report 0xD0 (feature): its decoder failed", run.err)
            self.assertIn(b"SINGLE", run.out)

    def test_version_text_without_end(self):
        run = self.run_limited(b"\xd0" + b"a" * (50 << 20))
        self.assertEqual(run.status, SOME_REFUSED)
        self.assertIn("-: byte 65536: report 0x61: unknown", run.err)

    def test_endless_padding(self):
        self.expect(self.run_limited(STATE + bytes(100 << 20)), ALL_DECODED, STATE_LINES, "")

    def test_lengths_that_lie_in_a_recording(self):
        for length in ("4294967296", "18446744073709551615", "3", "0"):
            with self.subTest(length=length):
                line = f"F: 0.0 {length} de 01\n".encode()
                run = self.run_limited(GOOD_LINE + line + GOOD_LINE)
                message = f"-:2: 2 bytes, and the line says {length}\n"
                self.expect(run, SOME_REFUSED, STATE_LINES * 2, message)
        line = b"F: 0.0 18446744073709551616 de 01\n"
        message = '-:2: "18446744073709551616" is no length\n'
        self.expect(self.run_limited(GOOD_LINE + line), SOME_REFUSED, STATE_LINES, message)

    def test_nothing_but_device_lines(self):
        run = self.run_limited(b"N: a name\n" * 100_000 + GOOD_LINE)
        self.assertEqual((run.status, run.out), (SOME_REFUSED, STATE_LINES))
        self.assertIn("too many or too long lines on the device\n", run.err)

    def test_repetition_without_end(self):
        dump = b"00000000: de01 de01\n*\nfffffffffffffff0: de01\n"
        run = self.run_limited(dump)
        message = (
            '-:3: "*" stands for 18446744073709551596 bytes, and no more than 16777216 are filled in\n'
        )
        self.expect(run, SOME_REFUSED, STATE_LINES * 2, message)

    def test_repetition_of_nothing(self):
        for dump in (b"*\n00000010: de01\n", b"00000000\n*\n00000010\n", b"00000000: de\n*\n00000000: de\n"):
            self.run_limited(dump, "-i", "dump")

    def test_longest_repetition(self):
        run = self.run_limited(b"00000000: de01 de01\n*\n01000000:\n", "--type=output")
        self.expect(run, ALL_DECODED, b"", "vesk-decode: nothing matches --type output\n")

    def usbmon(self, packets):
        return maker.pcap(189, [((1, 0), packet) for packet in packets])

    def frame(self):
        return maker.Usbmon(False).interrupt((1, 0), 1, image(1), completed=True)

    def test_packet_that_claims_four_gigabytes(self):
        frame = self.frame()
        lying = frame[:32] + struct.pack("<II", 2**32 - 1, 2**32 - 1) + frame[40:]
        run = self.run_limited(self.usbmon([lying, frame]))
        message = (
            "-: packet 1: 4294967295 bytes transferred, 792 captured; capture whole packets (-s 0)\n"
        )
        self.expect(run, SOME_REFUSED, err=message)
        self.assertIn(b"[Frame # = 1]", run.out)

    def test_capture_record_that_claims_four_gigabytes(self):
        good = self.usbmon([self.frame()])
        for claim in (2**32 - 1, 2**31, 2**27, 2**27 + 1):
            with self.subTest(claim=claim):
                run = self.run_limited(good + struct.pack("<IIII", 1, 0, claim, claim) + bytes(100))
                self.assertEqual(run.status, SOME_REFUSED)
                self.assertIn(b"[Frame # = 1]", run.out)
                self.assertIn("what was good is decoded", run.err)

    def test_pcapng_blocks_that_lie(self):
        content = (FORMS / "tour-usbmon-mapped.pcapng").read_bytes()
        for offset in range(4, 300, 4):
            for value in (0, 1, 0x7FFFFFFF, 0xFFFFFFFF):
                lying = content[:offset] + struct.pack("<I", value) + content[offset + 4 :]
                self.run_limited(lying)

    def test_packets_of_zero_bytes(self):
        run = self.run_limited(self.usbmon([b"", b"", self.frame()]))
        self.assertEqual(run.status, SOME_REFUSED)
        self.assertEqual(run.err.count("cut off in its header: 0 bytes captured"), 2)
        self.assertIn(b"[Frame # = 1]", run.out)

    def test_requests_that_never_complete(self):
        transfers = maker.Usbmon(False)
        setup = maker.GET_REPORT + bytes([0xDE, 3, 0, 0, 0, 16])
        count = 20_000
        packets = [transfers.control((1, 0), n, setup, completed=False) for n in range(count)]
        run = self.run_limited(self.usbmon([*packets, self.frame()]))
        self.assertEqual(run.status, SOME_REFUSED)
        self.assertEqual(run.err.count("its request has no answer in the capture\n"), 5)
        self.assertIn(f"{count - 5} more errors are not shown", run.err)
        self.assertIn(b"[Frame # = 1]", run.out)

    def test_usbpcap_headers_that_lie(self):
        frame = maker.UsbPcap().interrupt((1, 0), 1, image(1), completed=True)
        for length in (0, 1, 26, 28, 400, 65535):
            with self.subTest(length=length):
                lying = struct.pack("<H", length) + frame[2:]
                packets = [((1, 0), lying), ((1, 0), frame)]
                run = self.run_limited(maker.pcap(249, packets))
                self.assertEqual(run.status, SOME_REFUSED)
                self.assertIn("-: packet 1: ", run.err)
                self.assertIn(b"[Frame # = 1]", run.out)

    def test_times_that_nobody_can_mean(self):
        block = struct.pack("<IIIII", 0, 2**32 - 1, 2**32 - 1, len(self.frame()), len(self.frame()))
        capture = maker.pcapng(189, []) + maker.pcapng_block(6, block + self.frame())
        for form in ("ndjson", "recording", "csv"):
            run = self.run_limited(capture, "-o", form)
            self.expect(run, ALL_DECODED, err="")

    @unittest.skipIf(SANITIZED, "a sanitizer reserves terabytes of addresses")
    def test_little_memory(self):
        """From too little to be loaded to just enough: nothing crashes, and what is written is whole
        records in their order."""
        content = (SAMPLES / "tour.hex").read_bytes()
        for options in (["--jobs", "1"], ["--jobs", "2"]):
            whole = Run("-o", "ndjson", *options, stdin=content).out.splitlines(keepends=True)
            statuses = set()
            for kilobytes in range(6400, 20_000, 100):
                with self.subTest(options=options, kilobytes=kilobytes):
                    run = Run("-o", "ndjson", *options, stdin=content, limit=kilobytes << 10)
                    statuses.add(run.status)
                    if re.search("error while loading shared libraries|cannot allocate TLS", run.err):
                        continue  # it did not begin: this is the system's loader
                    written = run.out.splitlines(keepends=True)
                    if run.status == SOME_REFUSED:
                        self.assertIn("out of memory", run.err)
                        self.assertEqual(len(written), len(whole))
                        continue
                    self.assertIn(run.status, (ALL_DECODED, CANNOT_READ_OR_WRITE, NO_PLUGIN), run.err)
                    self.assertEqual(written, whole[: len(written)])
                    if run.status == ALL_DECODED:
                        self.assertEqual((len(written), run.err), (len(whole), ""))
                    else:
                        self.assertRegex(run.err, "out of memory|cannot|failed to map")
            self.assertLessEqual({ALL_DECODED, CANNOT_READ_OR_WRITE}, statuses)


if __name__ == "__main__":
    unittest.main()
