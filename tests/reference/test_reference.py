#!/usr/bin/env python3
"""Proof of the reference decoder against expectations written by hand from the report layouts.

    python3 -m unittest discover -s tests/reference
"""

import math
import struct
import unittest

import vesk_reference
from vesk_reference import FEATURE, INPUT, OUTPUT, Lines, Obj, PlatformError, ReferencePlugin

NEGATIVE_NAN = 0xFFC00000
POSITIVE_NAN = 0x7FC00000


def decode_lines(report, report_id=None, report_type=FEATURE, args=()):
    """The text lines of a report, None where the decoder declines it."""
    plugin = ReferencePlugin()
    plugin.parse_args(list(args))
    plugin.use_strings = True
    report_id = report[0] if report_id is None else report_id
    result = plugin.run_parser(bytes(report), report_id, report_type, len(report))
    return None if result is None else result.strings


def decode_object(report, report_id=None, report_type=FEATURE, args=()):
    """The object of a report: a string, a dictionary of (kind, value) or None."""
    plugin = ReferencePlugin()
    plugin.parse_args(list(args))
    report_id = report[0] if report_id is None else report_id
    result = plugin.report_to_object(bytes(report), report_id, report_type, len(report))
    if result is None or isinstance(result.content, str):
        return result and result.content
    keys = [key for key, _ in result.content]
    assert len(keys) == len(set(keys)), "a key occurs twice"
    return dict(result.content)


def blank_report(report_id, size):
    report = bytearray(size)
    report[0] = report_id
    return report


def report_with(report_id, size, **fields):
    """A report of zeros with bytes put at offsets: at_5=b"..."."""
    report = blank_report(report_id, size)
    for offset, content in fields.items():
        at = int(offset.removeprefix("at_"))
        report[at : at + len(content)] = content
    return report


def u32(value):
    return value.to_bytes(4, "little")


def image(**fields):
    return report_with(0x76, 792, **fields)


def packet(**fields):
    return report_with(0x77, 2064, **fields)


# (what it shows, options, report in hex, text lines, object listing)
HAND_WRITTEN = [
    (
        "one version string",
        [],
        "d0 31 2e 32 2e 33 00",
        ["1.2.3"],
        'string "1.2.3"\n',
    ),
    (
        "text is cut at the first NUL and may hold newlines",
        [],
        "d0 61 0a 62 00 63 00",
        ["a\nb"],
        'string "a\\nb"\n',
    ),
    (
        "an empty version",
        [],
        "d0 00 31 00",
        [""],
        'string ""\n',
    ),
    (
        "six version lines and a closing newline",
        [],
        "d2 50 31 0a 53 32 0a 54 33 0a 51 34 0a 56 35 0a 41 36 0a 00",
        ["P1", "S2", "T3", "Q4", "V5", "A6", ""],
        "dictionary 6\n"
        '"PROJECT" string "P1"\n'
        '"SDK" string "S2"\n'
        '"TOOLCHAIN" string "T3"\n'
        '"QOREX" string "Q4"\n'
        '"VENDOR" string "V5"\n'
        '"ALGS" string "A6"\n',
    ),
    (
        "a watchdog fed 42 times, last after one second",
        [],
        "df 2a 00 00 00 40 42 0f 00 00 00 00 00 ab 00 00 00 03 00 00 00 02 01 00 00",
        [
            "Watchdog Data:",
            "    Feed Count:42",
            "Feed Timestamp:0x00000000000F4240",
            "Feed Wallclock:          1.000",
            "      Register:0x000000AB",
            "          Wake:3",
            "         Sleep:258",
        ],
        "dictionary 6\n"
        '"Count" unsigned int 42\n'
        '"Timestamp" long long 1000000\n'
        '"Wallclock" double 1\n'
        '"Register" unsigned int 171\n'
        '"Wake" unsigned int 3\n'
        '"Idle" unsigned int 258\n',
    ),
    (
        "a watchdog record of all ones",
        [],
        "df" + " ff" * 24,
        [
            "Watchdog Data:",
            "    Feed Count:4294967295",
            "Feed Timestamp:0xFFFFFFFFFFFFFFFF",
            # The timestamp becomes 2^64, and 1e-6 in single precision is 8796093 x 2^-43.
            "Feed Wallclock:18446744027136.000",
            "      Register:0xFFFFFFFF",
            "          Wake:4294967295",
            "         Sleep:4294967295",
        ],
        "dictionary 6\n"
        '"Count" unsigned int 4294967295\n'
        '"Timestamp" long long -1\n'
        '"Wallclock" double 18446744027136\n'
        '"Register" unsigned int 4294967295\n'
        '"Wake" unsigned int 4294967295\n'
        '"Idle" unsigned int 4294967295\n',
    ),
    (
        "power modes, each field a number of its own, the first at its maximum",
        [],
        "a9 ff ff ff ff 01 00 00 00 02 00 00 00 03 00 00 00 04 00 00 00 05 00 00 00"
        " 06 00 00 00 07 00 00 00 08 01 00 00 00 00 00 80",
        [
            "Power Mode Statistics - Total Time:",
            "INIT        :   4294967295 ms",
            "ACTIVE      :            2 ms",
            "TIMEOUT     :            4 ms",
            "READY       :            6 ms",
            "LIGHT_SLEEP :          264 ms",
            "",
            "Power Mode Statistics - Number of Times Entered:",
            "INIT        : 1",
            "ACTIVE      : 3",
            "TIMEOUT     : 5",
            "READY       : 7",
            "LIGHT_SLEEP : 2147483648",
        ],
        "dictionary 10\n"
        '"INIT time ms" unsigned int 4294967295\n'
        '"INIT times entered" unsigned int 1\n'
        '"ACTIVE time ms" unsigned int 2\n'
        '"ACTIVE times entered" unsigned int 3\n'
        '"TIMEOUT time ms" unsigned int 4\n'
        '"TIMEOUT times entered" unsigned int 5\n'
        '"READY time ms" unsigned int 6\n'
        '"READY times entered" unsigned int 7\n'
        '"LIGHT_SLEEP time ms" unsigned int 264\n'
        '"LIGHT_SLEEP times entered" unsigned int 2147483648\n',
    ),
    (
        "an ADC capture of the first and the last channel",
        ["-decimal"],
        "dc 00 10 00 20 01 00 00 00 00 80 00 00 00 02 00 00 0a 00 00 00 00 00 00 00",
        [
            "--ADC Dump Configuration--",
            "",
            "Start Address       = 0x20001000",
            "Channel Enable Mask = 800000000001",
            "Sample Count        = 512",
            "Stim Timer Compare  = 10",
            "Trigger Source      = RX_EN",
        ],
        "dictionary 5\n"
        '"START_ADDRESS" unsigned int 536875008\n'
        '"CHANNEL_ENABLE_MASK" unsigned long long 140737488355329\n'
        '"SAMPLE_COUNT" unsigned int 512\n'
        '"STIM_TIMER_COMPARE" unsigned int 10\n'
        '"TRIGGER_SOURCE" string "RX_EN"\n',
    ),
    (
        "an ADC capture whose high mask word is wider than 48 channels need",
        [],
        "dc ef be ad de 04 03 02 01 44 33 22 11 ff ff ff ff 00 00 00 80 00 01 00 00",
        [
            "--ADC Dump Configuration--",
            "",
            "Start Address       = 0xdeadbeef",
            "Channel Enable Mask = 1122334401020304",
            "Sample Count        = 4294967295",
            "Stim Timer Compare  = 2147483648",
            "Trigger Source      = STIM_TIMER",
        ],
        "dictionary 5\n"
        '"START_ADDRESS" unsigned int 3735928559\n'
        '"CHANNEL_ENABLE_MASK" unsigned long long 1234605615020638980\n'
        '"SAMPLE_COUNT" unsigned int 4294967295\n'
        '"STIM_TIMER_COMPARE" unsigned int 2147483648\n'
        '"TRIGGER_SOURCE" string "STIM_TIMER"\n',
    ),
    (
        "ADC capture standing by",
        [],
        "de 00",
        ["ADC Dump State: STANDBY"],
        'string "STANDBY"\n',
    ),
    (
        "a single ADC capture",
        [],
        "de 01",
        ["ADC Dump State: SINGLE"],
        'string "SINGLE"\n',
    ),
    (
        "a continuous ADC capture",
        [],
        "de 02",
        ["ADC Dump State: CONTINUOUS"],
        'string "CONTINUOUS"\n',
    ),
    (
        "an ADC capture state without a name",
        [],
        "de ff",
        ["ADC Dump State: INVALID"],
        'string "INVALID"\n',
    ),
    (
        "a black box summary with one flag in each byte and stray upper severity bits",
        [],
        "e0 0d 34 12 02 80 04",
        [
            "--Black Box Summary--",
            "Severity Level: CRITICAL",
            "Module Count:   4660",
            "",
            "           BLACK_BOX: 0",
            "                 PSE: 1",
            "     OPEN_SHORT_TEST: 0",
            "         SCAN_LOGGER: 0",
            "            SVC_SMGR: 0",
            "           BLOB_VAFE: 0",
            "           BLOB_VFCL: 0",
            "           BLOB_VPMp: 0",
            "           BLOB_VSGC: 0",
            "           BLOB_VSSp: 0",
            "           BLOB_VSSC: 0",
            "           BLOB_VSRx: 0",
            "           BLOB_VSPM: 0",
            "           BLOB_VRTC: 0",
            "       HIDSPI_MASTER: 0",
            "        HIDSPI_SLAVE: 1",
            "                ALGS: 1",
            "                 SYS: 0",
            "                 ZUB: 0",
            "                 OTP: 0",
            "                PMGR: 0",
            "           BLOB_VSFN: 0",
        ],
        "dictionary 24\n"
        '"SEVERITY_LEVEL" unsigned char 13\n'
        '"MODULE_COUNT" unsigned short 4660\n'
        '"BLACK_BOX" unsigned char 0\n'
        '"PSE" unsigned char 1\n'
        '"OPEN_SHORT_TEST" unsigned char 0\n'
        '"SCAN_LOGGER" unsigned char 0\n'
        '"SVC_SMGR" unsigned char 0\n'
        '"BLOB_VAFE" unsigned char 0\n'
        '"BLOB_VFCL" unsigned char 0\n'
        '"BLOB_VPMp" unsigned char 0\n'
        '"BLOB_VSGC" unsigned char 0\n'
        '"BLOB_VSSp" unsigned char 0\n'
        '"BLOB_VSSC" unsigned char 0\n'
        '"BLOB_VSRx" unsigned char 0\n'
        '"BLOB_VSPM" unsigned char 0\n'
        '"BLOB_VRTC" unsigned char 0\n'
        '"HIDSPI_MASTER" unsigned char 0\n'
        '"HIDSPI_SLAVE" unsigned char 1\n'
        '"ALGS" unsigned char 1\n'
        '"SYS" unsigned char 0\n'
        '"ZUB" unsigned char 0\n'
        '"OTP" unsigned char 0\n'
        '"PMGR" unsigned char 0\n'
        '"BLOB_VSFN" unsigned char 0\n',
    ),
    (
        "a panel with channel 1 shorted, channel 47 open and bits beyond the last channel",
        [],
        "e3 02 00 00 00 00 00 00 00  00 00 00 00 00 00 00 80  ff ff ff ff ff ff ff ff"
        " 00 00 00 00 00 80 00 00  00 00 00 00 00 00 01 00  01 00 00 00 00 00 00 00"
        " 00 01 80 00 00 00 00 00",
        [
            "Open/Short Test Results:",
            "",
            "\t                  40       32       24       16        8        0",
            "\tShort TX+   ........ ........ ........ ........ ........ ......X.",
            "\tShort TX-   ........ ........ ........ ........ ........ ........",
            "\tShort BOTH  XXXXXXXX XXXXXXXX XXXXXXXX XXXXXXXX XXXXXXXX XXXXXXXX",
            "\tOpen  TX+   X....... ........ ........ ........ ........ ........",
            "\tOpen  TX-   ........ ........ ........ ........ ........ ........",
            "\tOpen  BOTH  ........ ........ ........ ........ ........ .......X",
            "\tWeak  O/S   ........ ........ ........ X....... .......X ........",
        ],
        "dictionary 7\n"
        '"SHORT_TX_POS" unsigned long long 2\n'
        '"SHORT_TX_NEG" unsigned long long 9223372036854775808\n'
        '"SHORT_BOTH" unsigned long long 18446744073709551615\n'
        '"OPEN_TX_POS" unsigned long long 140737488355328\n'
        '"OPEN_TX_NEG" unsigned long long 281474976710656\n'
        '"OPEN_BOTH" unsigned long long 1\n'
        '"WEAK_OS" unsigned long long 8388864\n',
    ),
]


class HandWrittenReports(unittest.TestCase):
    maxDiff = None

    def test_hand_written_reports(self):
        for name, args, hex_bytes, lines, listing in HAND_WRITTEN:
            with self.subTest(name):
                report = bytes.fromhex(hex_bytes)
                self.assertEqual(decode_lines(report, args=args), lines)
                plugin = ReferencePlugin()
                plugin.parse_args(args)
                obj = plugin.report_to_object(report, report[0], FEATURE, len(report))
                self.assertEqual(vesk_reference.dump_object(obj), listing)


class PluginObject(unittest.TestCase):
    def test_fresh_object_is_all_zero_and_in_object_mode(self):
        plugin = ReferencePlugin()
        self.assertIsNone(plugin.report_buf)
        self.assertEqual((plugin.report_type, plugin.report_id, plugin.report_len), (0, 0, 0))
        self.assertFalse(plugin.use_strings)
        self.assertFalse(plugin.display_decimal)
        self.assertEqual(plugin.report_to_object(b"\xde\x01", 0xDE, FEATURE, 2), Obj("SINGLE"))

    def test_report_tables(self):
        plugin = ReferencePlugin()
        self.assertEqual(
            len(plugin.report_ids) + len(plugin.input_report_ids), len(vesk_reference.LAYOUTS)
        )
        self.assertEqual(plugin.report_ids[0xE1], plugin.report_ids[0xEA])
        self.assertEqual(plugin.report_ids[0xE4], plugin.report_ids[0xE5])
        for name in [*plugin.report_ids.values(), *plugin.input_report_ids.values()]:
            self.assertTrue(callable(getattr(plugin, name)))

    def test_display_names(self):
        names = ReferencePlugin().report_id_names
        self.assertEqual(names[0xD0], "ersion")
        self.assertEqual(names[0xA2], "VeskAlgBaselineRequest")
        self.assertNotIn(0x76, names)


class Options(unittest.TestCase):
    def test_no_options(self):
        plugin = ReferencePlugin()
        plugin.display_decimal = plugin.use_strings = True
        self.assertTrue(plugin.parse_args([]))
        self.assertFalse(plugin.display_decimal)
        self.assertFalse(plugin.use_strings)
        self.assertEqual(plugin.printed, b"")

    def test_decimal_once_and_twice(self):
        for args in (["-decimal"], ["-decimal", "-decimal"]):
            plugin = ReferencePlugin()
            self.assertTrue(plugin.parse_args(args))
            self.assertTrue(plugin.display_decimal)
            self.assertFalse(plugin.use_strings)

    def test_invalid_options(self):
        for option in ("-Decimal", "decimal", "--decimal", "-decimal ", "-x", ""):
            plugin = ReferencePlugin()
            self.assertFalse(plugin.parse_args([option, "-never-examined"]))
            self.assertEqual(
                plugin.printed.decode(),
                'Error Domain=HIDReportVeskPlugin Code=-536870206 "Invalid option: %s" '
                "UserInfo={NSLocalizedDescription=Invalid option: %s}\n" % (option, option),
            )

    def test_only_the_first_options_count(self):
        plugin = ReferencePlugin()
        self.assertTrue(plugin.parse_args(["-decimal", "-x"], 1))
        self.assertTrue(plugin.display_decimal)
        for count in (0, -1):
            self.assertTrue(plugin.parse_args(["-x"], count))
            self.assertFalse(plugin.display_decimal)

    def test_invalid_option_changes_neither_switch(self):
        for switches in ((False, False), (True, False), (False, True), (True, True)):
            plugin = ReferencePlugin()
            plugin.display_decimal, plugin.use_strings = switches
            self.assertFalse(plugin.parse_args(["-decimal", "-x"]))
            self.assertEqual((plugin.display_decimal, plugin.use_strings), switches)

    def test_configuration(self):
        plugin = ReferencePlugin()
        self.assertEqual(plugin.args_to_config([]), {})
        self.assertEqual(plugin.args_to_config(["-decimal"]), {"Decimal": True})
        self.assertIsNone(plugin.args_to_config(["-x"]))
        self.assertTrue(plugin.config_parser({"UseStrings": True}))
        self.assertTrue(plugin.use_strings)
        self.assertFalse(plugin.display_decimal)

    def test_options_end_text_mode(self):
        plugin = ReferencePlugin()
        plugin.parse_report(b"\xde\x01", 0xDE, FEATURE, 2)
        self.assertTrue(plugin.parse_args(["-decimal"]))
        self.assertEqual(plugin.report_to_object(b"\xde\x01", 0xDE, FEATURE, 2), Obj("SINGLE"))


class Dispatch(unittest.TestCase):
    def test_printing_frames_the_lines(self):
        plugin = ReferencePlugin()
        self.assertTrue(plugin.parse_report(b"\xde\x02", 0xDE, FEATURE, 2))
        self.assertEqual(plugin.printed, b"\nADC Dump State: CONTINUOUS\n\n")

    def test_text_mode_sticks(self):
        plugin = ReferencePlugin()
        self.assertEqual(plugin.report_to_object(b"\xde\x00", 0xDE, FEATURE, 2), Obj("STANDBY"))
        plugin.parse_report(b"\xde\x00", 0xDE, FEATURE, 2)
        self.assertEqual(
            plugin.report_to_object(b"\xde\x00", 0xDE, FEATURE, 2),
            Lines(["ADC Dump State: STANDBY"]),
        )

    def test_text_mode_sticks_even_where_nothing_is_decoded(self):
        plugin = ReferencePlugin()
        self.assertFalse(plugin.parse_report(b"\x01", 1, FEATURE, 1))
        self.assertTrue(plugin.use_strings)

    def test_unknown_types_and_ids_are_remembered_and_decline(self):
        for report_id, report_type in (
            (0x76, FEATURE),
            (0x77, FEATURE),
            (0xD0, INPUT),
            (0xD0, OUTPUT),
            (0xD0, 3),
            (0xD0, -1),
            (0xD1, FEATURE),
            (0, INPUT),
            (0xFFFFFFFF, FEATURE),
            (0x1D0, FEATURE),
        ):
            with self.subTest(id=report_id, type=report_type):
                plugin = ReferencePlugin()
                report = b"\x01\x00"
                self.assertIsNone(plugin.report_to_object(report, report_id, report_type, 77))
                self.assertFalse(plugin.parse_report(report, report_id, report_type, -5))
                self.assertEqual(plugin.printed, b"")
                self.assertIs(plugin.report_buf, report)
                self.assertEqual(plugin.report_id, report_id)
                self.assertEqual(plugin.report_type, report_type % 2**32)
                self.assertEqual(plugin.report_len, -5)

    def test_print_strings(self):
        plugin = ReferencePlugin()
        self.assertFalse(plugin.print_strings(None))
        self.assertEqual(plugin.printed, b"")
        self.assertTrue(plugin.print_strings(Lines([])))
        self.assertEqual(plugin.printed, b"\n\n")

    def test_lengths_of_feature_reports_are_not_looked_at(self):
        for length in (-1, 0, 1, 10**12):
            plugin = ReferencePlugin()
            self.assertEqual(
                plugin.report_to_object(b"\xde\x01", 0xDE, FEATURE, length), Obj("SINGLE")
            )

    def test_decoders_go_by_the_id_handed_in_not_by_byte_zero(self):
        self.assertEqual(decode_object(b"\x00\x01", report_id=0xDE), "SINGLE")


class ValueArrays(unittest.TestCase):
    def test_rows_of_eight(self):
        self.assertEqual(vesk_reference.rows_of_eight([]), [""])
        self.assertEqual(vesk_reference.rows_of_eight(["1 "] * 8), ["1 1 1 1 1 1 1 1 "])
        self.assertEqual(vesk_reference.rows_of_eight(["1 "] * 9), ["1 1 1 1 1 1 1 1 ", "1 "])

    def test_sample_texts(self):
        self.assertEqual(vesk_reference.decimal_text(0xFFFFFFFF), "            -1 ")
        self.assertEqual(vesk_reference.decimal_text(0x80000000), "   -2147483648 ")
        self.assertEqual(vesk_reference.decimal_text(0x7FFFFFFF), "    2147483647 ")
        self.assertEqual(vesk_reference.hex_text(0xFFFFFFFF), "ffffffff ")
        self.assertEqual(vesk_reference.hex_text(0x1A), "0000001a ")

    def test_baseline_texts(self):
        for value, text in (
            (1.5, " 1.500        "),
            (-2.25, "-2.250        "),
            (0.0, " 0.000        "),
            (-0.0, "-0.000        "),
            (-0.0001, "-0.000        "),
            (123456789.0, " 123456789.000 "),
            (math.inf, " inf          "),
            (-math.inf, "-inf          "),
            (struct.unpack("<f", u32(POSITIVE_NAN))[0], " nan          "),
            (struct.unpack("<f", u32(NEGATIVE_NAN))[0], "-nan          "),
        ):
            self.assertEqual(vesk_reference.baseline_text(value), text)


class Versions(unittest.TestCase):
    six = b"a\nb\nc\nd\ne\nf"

    def test_extended_without_closing_newline(self):
        self.assertEqual(decode_lines(b"\xd2" + self.six + b"\0"), ["a", "b", "c", "d", "e", "f"])

    def test_extended_with_eight_lines(self):
        report = b"\xd2" + self.six + b"\ng\nh\0"
        self.assertEqual(decode_lines(report), ["a", "b", "c", "d", "e", "f", "g", "h"])
        self.assertEqual(
            decode_object(report),
            {
                "PROJECT": ("string", "a"),
                "SDK": ("string", "b"),
                "TOOLCHAIN": ("string", "c"),
                "QOREX": ("string", "d"),
                "VENDOR": ("string", "e"),
                "ALGS": ("string", "f"),
            },
        )

    def test_extended_with_adjacent_newlines(self):
        self.assertEqual(decode_lines(b"\xd2a\n\nb\0"), ["a", "", "b"])

    def test_extended_with_five_lines_has_no_object(self):
        report = b"\xd2a\nb\nc\nd\ne\0"
        self.assertEqual(len(decode_lines(report)), 5)
        with self.assertRaises(PlatformError):
            decode_object(report)

    def test_extended_with_no_text(self):
        self.assertEqual(decode_lines(b"\xd2\0"), [""])
        with self.assertRaises(PlatformError):
            decode_object(b"\xd2\0")

    def test_invalid_utf8(self):
        for text in (
            b"\xff",
            b"\x80",  # a continuation without a start
            b"1.2\xc3",  # cut short
            b"\xc0\xaf",  # overlong
            b"\xe0\x80\xaf",  # overlong
            b"\xed\xa0\x80",  # a surrogate
            b"\xf4\x90\x80\x80",  # beyond the last code point
            b"a\nb\nc\nd\ne\nf\xfe",
        ):
            with self.subTest(text):
                version = b"\xd0" + text + b"\0"
                self.assertIsNone(decode_object(version))
                with self.assertRaises(PlatformError):
                    decode_lines(version)
                extended = b"\xd2" + text + b"\0"
                self.assertIsNone(decode_lines(extended))
                with self.assertRaises(PlatformError):
                    decode_object(extended)

    def test_invalid_utf8_prints_nothing(self):
        plugin = ReferencePlugin()
        with self.assertRaises(PlatformError):
            plugin.parse_report(b"\xd0\xff\0", 0xD0, FEATURE, 3)
        self.assertFalse(plugin.parse_report(b"\xd2\xff\0", 0xD2, FEATURE, 3))
        self.assertEqual(plugin.printed, b"")

    def test_valid_utf8(self):
        for character in ("\u00e9", "\u20ac", "\ufffe", "\U0001f600", "\U0010ffff"):
            report = b"\xd0" + character.encode() + b"\0"
            self.assertEqual(decode_object(report), character)


class WatchDog(unittest.TestCase):
    def wallclock(self, timestamp):
        report = report_with(0xDF, 25, at_5=timestamp.to_bytes(8, "little"))
        return decode_lines(report)[3], decode_object(report)["Wallclock"]

    def test_timestamp_beyond_24_bits_is_rounded(self):
        text, (kind, seconds) = self.wallclock(2**24 + 1)
        self.assertEqual(text, "Feed Wallclock:         16.777")
        # 2^24 times the single nearest to 1e-6, which is 8796093 x 2^-43
        self.assertEqual((kind, seconds), ("double", 8796093 / 2**19))
        self.assertEqual(self.wallclock(2**24 + 1), self.wallclock(2**24))

    def test_single_from_integer_rounds_once(self):
        single = vesk_reference.float32_from_integer
        self.assertEqual(single(0), 0.0)
        self.assertEqual(single(2**24 - 1), 16777215.0)
        self.assertEqual(single(2**24 + 1), 16777216.0)  # a tie, down to even
        self.assertEqual(single(2**24 + 3), 16777220.0)  # a tie, up to even
        self.assertEqual(single(2**64 - 1), 2.0**64)
        # Just above a tie; a double would have lost the one that decides.
        self.assertEqual(single(2**60 + 2**36 + 1), 2.0**60 + 2.0**37)
        self.assertEqual(single(2**60 + 2**36), 2.0**60)
        self.assertEqual(single(2**60 + 2**36 - 1), 2.0**60)

    def test_timestamp_zero(self):
        self.assertEqual(self.wallclock(0), ("Feed Wallclock:          0.000", ("double", 0.0)))


class PowerModes(unittest.TestCase):
    def test_all_zero(self):
        report = blank_report(0xA9, 41)
        lines = decode_lines(report)
        self.assertEqual(len(lines), 13)
        self.assertEqual(lines[1], "INIT        :            0 ms")
        self.assertEqual(lines[5], "LIGHT_SLEEP :            0 ms")
        self.assertEqual(lines[6], "")
        self.assertEqual(lines[8], "INIT        : 0")
        self.assertEqual(list(decode_object(report).values()), [("unsigned int", 0)] * 10)


class Image(unittest.TestCase):
    def test_header_and_structure(self):
        report = image(
            at_1=b"\x07",
            at_2=b"\x01\x00",
            at_4=u32(123456),
            at_8=u32(0xAB12),
            at_12=u32(4294967295),
            at_784=u32(0x10020030),
            at_788=struct.pack("<f", 25.5),
        )
        lines = decode_lines(report, report_type=INPUT)
        self.assertEqual(len(lines), 40)
        self.assertEqual(
            lines[:9],
            [
                "[Frame # = 123456]",
                "[Frame Params = 0x0000ab12]",
                "[Timestamp = 4294967295 ms]",
                "[TMON = 25.500000 degC]",
                "[TMON Params = 0x10020030]",
                "[Cookie = 0x07]",
                "[Flags = 0x0001]",
                "",
                "[D-SCAN I]",
            ],
        )
        self.assertEqual(lines[9], "00000000 " * 8)
        titles = [lines[i] for i in (16, 24, 32)]
        self.assertEqual(titles, ["[D-SCAN Q]", "[P-SCAN I]", "[P-SCAN Q]"])
        self.assertEqual([lines[i] for i in (15, 23, 31, 39)], [""] * 4)
        obj = decode_object(report, report_type=INPUT)
        self.assertEqual(
            list(obj),
            [
                "COOKIE", "FLAGS", "FRAME_NUMBER", "FRAME_PARAMS", "TIMESTAMP_MS",
                "D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q", "TMON_PARAMS", "TMON_DEG_C",
            ],
        )
        self.assertEqual(obj["COOKIE"], ("unsigned char", 7))
        self.assertEqual(obj["FLAGS"], ("unsigned short", 1))
        self.assertEqual(obj["FRAME_NUMBER"], ("unsigned int", 123456))
        self.assertEqual(obj["FRAME_PARAMS"], ("unsigned int", 0xAB12))
        self.assertEqual(obj["TIMESTAMP_MS"], ("unsigned int", 4294967295))
        self.assertEqual(obj["TMON_PARAMS"], ("unsigned int", 0x10020030))
        self.assertEqual(obj["TMON_DEG_C"], ("float", 25.5))

    def test_samples_stand_in_report_order(self):
        report = image()
        for block in range(4):
            for channel in range(48):
                at = 16 + 192 * block + 4 * channel
                report[at : at + 4] = u32(0x100 * block + channel)
        lines = decode_lines(report, report_type=INPUT)
        self.assertEqual(
            lines[9], "00000000 00000001 00000002 00000003 00000004 00000005 00000006 00000007 "
        )
        self.assertEqual(
            lines[38], "00000328 00000329 0000032a 0000032b 0000032c 0000032d 0000032e 0000032f "
        )
        obj = decode_object(report, report_type=INPUT)
        for block, key in enumerate(("D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q")):
            kind, element_kind, samples = obj[key]
            self.assertEqual((kind, element_kind), ("array", "int"))
            self.assertEqual(samples, list(range(0x100 * block, 0x100 * block + 48)))

    def test_negative_samples(self):
        report = image(at_16=u32(0xFFFFFFFF), at_780=u32(0x80000000))
        zero = "             0 "
        decimal = decode_lines(report, report_type=INPUT, args=["-decimal"])
        self.assertEqual(decimal[9], "            -1 " + zero * 7)
        self.assertEqual(decimal[38], zero * 7 + "   -2147483648 ")
        self.assertEqual(decode_lines(report, report_type=INPUT)[9], "ffffffff " + "00000000 " * 7)
        plain = decode_object(report, report_type=INPUT)
        self.assertEqual(plain["D_SCAN_I"][2][0], -1)
        self.assertEqual(plain["P_SCAN_Q"][2][47], -(2**31))
        self.assertEqual(decode_object(report, report_type=INPUT, args=["-decimal"]), plain)

    def test_odd_temperatures(self):
        for bits, text in (
            (POSITIVE_NAN, "[TMON = nan degC]"),
            (NEGATIVE_NAN, "[TMON = -nan degC]"),
            (0x7F800000, "[TMON = inf degC]"),
            (0xFF800000, "[TMON = -inf degC]"),
            (0x80000000, "[TMON = -0.000000 degC]"),
            (0x7F7FFFFF, "[TMON = 340282346638528859811704183484516925440.000000 degC]"),
        ):
            self.assertEqual(decode_lines(image(at_788=u32(bits)), report_type=INPUT)[3], text)
        obj = decode_object(image(at_788=u32(POSITIVE_NAN)), report_type=INPUT)
        kind, value = obj["TMON_DEG_C"]
        self.assertEqual(kind, "float")
        self.assertTrue(math.isnan(value))

    def test_other_lengths_are_refused(self):
        for length in (-1, 0, 791, 793, 792 + 2**32):
            plugin = ReferencePlugin()
            report = bytes(image())
            self.assertIsNone(plugin.report_to_object(report, 0x76, INPUT, length))
            self.assertFalse(plugin.parse_report(report, 0x76, INPUT, length))
            self.assertEqual(plugin.printed, b"")


class AdcDump(unittest.TestCase):
    def test_states_without_names(self):
        for code in range(3, 256):
            self.assertEqual(decode_object(bytes([0xDE, code])), "INVALID")

    def test_packet(self):
        report = packet(
            at_1=b"\xab\xcd\xef",
            at_4=u32(17),
            at_8=u32(0),
            at_12=u32(4096),
            at_16=u32(0xDEADBEEF),
            at_2060=u32(0xFFFFFFFF),
        )
        for args in ([], ["-decimal"]):
            lines = decode_lines(report, report_type=INPUT, args=args)
            self.assertEqual(len(lines), 70)
            self.assertEqual(
                lines[:6],
                [
                    "[ADC Packet #    = 17]",
                    "[Magic Value     = 0xabcdef]",
                    "[Payload Size    = 0]",
                    "[Total Dump Size = 4096]",
                    "",
                    "[Packet Payload Data]",
                ],
            )
            self.assertEqual(lines[6], "deadbeef " + "00000000 " * 7)
            self.assertEqual(lines[69], "00000000 " * 7 + "ffffffff ")
        obj = decode_object(report, report_type=INPUT)
        self.assertEqual(
            list(obj),
            ["PACKET_ID", "MAGIC_VALUE", "PAYLOAD_SIZE", "TOTAL_DUMP_SIZE", "PAYLOAD_DATA"],
        )
        self.assertEqual(obj["PACKET_ID"], ("unsigned int", 17))
        self.assertEqual(obj["MAGIC_VALUE"], ("int", 0x3FF))
        self.assertEqual(obj["PAYLOAD_SIZE"], ("unsigned int", 0))
        self.assertEqual(obj["TOTAL_DUMP_SIZE"], ("unsigned int", 4096))
        kind, element_kind, words = obj["PAYLOAD_DATA"]
        self.assertEqual((kind, element_kind, len(words)), ("array", "unsigned int", 512))
        self.assertEqual((words[0], words[1], words[511]), (0xDEADBEEF, 0, 0xFFFFFFFF))

    def test_packet_magic_in_small_numbers(self):
        report = packet(at_1=b"\x01\x02\x03")
        self.assertEqual(
            decode_lines(report, report_type=INPUT)[1], "[Magic Value     = 0x010203]"
        )
        self.assertEqual(decode_object(report, report_type=INPUT)["MAGIC_VALUE"], ("int", 7))

    def test_packets_of_other_lengths_are_refused(self):
        for length in (-1, 0, 16, 2063, 2065):
            plugin = ReferencePlugin()
            report = bytes(packet())
            self.assertIsNone(plugin.report_to_object(report, 0x77, INPUT, length))
            self.assertFalse(plugin.parse_report(report, 0x77, INPUT, length))
            self.assertEqual(plugin.printed, b"")


class Baseline(unittest.TestCase):
    def test_structure(self):
        values = [1.5, -2.25] + [float(n) for n in range(2, 48)]
        report = b"\xa2" + struct.pack("<48f", *values)
        lines = decode_lines(report, args=["-decimal"])
        self.assertEqual(len(lines), 9)
        self.assertEqual(lines[:2] + lines[8:], ["Vesk Algorithms Baseline:", "", ""])
        self.assertEqual(
            lines[2],
            " 1.500        -2.250         2.000         3.000        "
            " 4.000         5.000         6.000         7.000        ",
        )
        self.assertTrue(lines[7].endswith(" 47.000       "))
        self.assertEqual(decode_object(report), {"BASELINE": ("array", "float", values)})

    def test_sign_of_a_nan_is_shown(self):
        report = bytearray(b"\xa2" + bytes(192))
        report[1:5] = u32(NEGATIVE_NAN)
        report[5:9] = u32(POSITIVE_NAN)
        self.assertTrue(decode_lines(report)[2].startswith("-nan           nan           0.000"))


class BlackBoxSummary(unittest.TestCase):
    def test_severities(self):
        for byte, name in enumerate(
            ["TRACE", "DEBUG", "INFO", "WARNING", "ERROR", "CRITICAL", "(null)", "(null)"]
        ):
            for upper_bits in (0, 0x08, 0xF8):
                report = report_with(0xE0, 7, at_1=bytes([byte | upper_bits]))
                self.assertEqual(decode_lines(report)[1], "Severity Level: " + name)
                self.assertEqual(
                    decode_object(report)["SEVERITY_LEVEL"], ("unsigned char", byte | upper_bits)
                )

    def test_no_flags_still_list_every_module(self):
        lines = decode_lines(blank_report(0xE0, 7))
        self.assertEqual(len(lines), 26)
        self.assertTrue(all(line.endswith(": 0") for line in lines[4:]))

    def test_each_flag_lights_its_own_module(self):
        names = (
            "BLACK_BOX PSE OPEN_SHORT_TEST SCAN_LOGGER SVC_SMGR BLOB_VAFE BLOB_VFCL BLOB_VPMp"
            " BLOB_VSGC BLOB_VSSp BLOB_VSSC BLOB_VSRx BLOB_VSPM BLOB_VRTC HIDSPI_MASTER ALGS"
            " SYS ZUB HIDSPI_SLAVE OTP PMGR BLOB_VSFN"
        ).split()
        for index, name in enumerate(names):
            flags = (1 << index).to_bytes(3, "little")
            report = report_with(0xE0, 7, at_4=flags)
            lit = [line.strip() for line in decode_lines(report)[4:] if line.endswith(": 1")]
            self.assertEqual(lit, [name + ": 1"])
            flagged = decode_object(report)
            self.assertEqual(len(flagged), 24)
            self.assertEqual(
                [key for key, value in flagged.items() if value == ("unsigned char", 1)], [name]
            )

    def test_hidspi_slave_line(self):
        lines = decode_lines(report_with(0xE0, 7, at_6=b"\x04"))
        self.assertEqual(
            lines[18:21],
            ["       HIDSPI_MASTER: 0", "        HIDSPI_SLAVE: 1", "                ALGS: 0"],
        )

    def test_unused_flag_bits(self):
        report = report_with(0xE0, 7, at_6=b"\xc0")
        self.assertEqual(decode_lines(report), decode_lines(blank_report(0xE0, 7)))
        self.assertEqual(decode_object(report), decode_object(blank_report(0xE0, 7)))


class Catalogue(unittest.TestCase):
    def test_event_counts(self):
        self.assertEqual(
            {module: len(events) for module, events in vesk_reference.EVENTS.items()},
            {
                "BLACK_BOX": 5,
                "PSE": 10,
                "OPEN_SHORT_TEST": 6,
                "SCAN_LOGGER": 1,
                "SVC_SMGR": 4,
                "HIDSPI_MASTER": 17,
                "HIDSPI_SLAVE": 26,
                "ALGS": 70,
                "SYS": 2,
                "ZUB": 10,
                "OTP": 3,
                "PMGR": 1,
            },
        )

    def test_algs_names(self):
        names = vesk_reference.EVENTS["ALGS"]
        self.assertEqual(names[9], "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_0")
        self.assertEqual(names[13], "ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_4")
        self.assertEqual(names[14], "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_0")
        self.assertEqual(names[18], "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_4")
        self.assertEqual(names[21], "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_21_N")
        self.assertEqual(names[22], "ALGS_EVENT_PIXEL_NOISE_CNT_CH_0")
        self.assertEqual(names[69], "ALGS_EVENT_PIXEL_NOISE_CNT_CH_47")

    def test_hidspi_names(self):
        master = vesk_reference.EVENTS["HIDSPI_MASTER"]
        slave = vesk_reference.EVENTS["HIDSPI_SLAVE"]
        self.assertEqual(master[0], "HIDSPI_MASTER_EVENT_ACK_SENT")
        self.assertEqual(slave[15], "HIDSPI_SLAVE_EVENT_TRANSFER_RETRY")
        self.assertFalse([name for name in slave if "KELMORA" in name])
        self.assertFalse([name for name in master if "_SPI_" in name or "_BUS_" in name])

    def test_names_wider_than_their_column(self):
        wide = {
            name: len(name)
            for events in vesk_reference.EVENTS.values()
            for name in events
            if len(name) > 40
        }
        self.assertEqual(
            wide,
            {
                "HIDSPI_MASTER_EVENT_TRANSFER_INVALID_TYPE": 41,
                "HIDSPI_MASTER_EVENT_TRANSFER_INVALID_IFACE_ID": 45,
                "HIDSPI_SLAVE_EVENT_TRANSFER_INVALID_IFACE_ID": 44,
                "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_5_10": 41,
                "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_11_20": 42,
                "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_21_N": 41,
            },
        )


class BlackBoxFullReport(unittest.TestCase):
    # (module, where its record starts, number of counters)
    named_records = [
        ("BLACK_BOX", 3, 5),
        ("PSE", 27, 10),
        ("OPEN_SHORT_TEST", 71, 6),
        ("SCAN_LOGGER", 99, 1),
        ("SVC_SMGR", 107, 4),
        ("HIDSPI_MASTER", 415, 17),
        ("HIDSPI_SLAVE", 827, 26),
        ("ALGS", 487, 70),
        ("SYS", 771, 2),
        ("ZUB", 783, 10),
        ("OTP", 935, 3),
        ("PMGR", 951, 1),
    ]
    blob_records = [
        ("BLOB_VAFE", 127),
        ("BLOB_VFCL", 159),
        ("BLOB_VPMp", 191),
        ("BLOB_VSGC", 223),
        ("BLOB_VSSp", 255),
        ("BLOB_VSSC", 287),
        ("BLOB_VSRx", 319),
        ("BLOB_VSPM", 351),
        ("BLOB_VRTC", 383),
        ("BLOB_VSFN", 959),
    ]

    def numbered_report(self):
        """A report in which every field holds its own offset, so that a stray read shows."""
        report = blank_report(0xE1, 991)
        report[1:3] = (1).to_bytes(2, "little")
        records = self.named_records + [(name, start, 7) for name, start in self.blob_records]
        for _, start, counters in records:
            report[start : start + 2] = start.to_bytes(2, "little")
            report[start + 2 : start + 4] = (start + 2).to_bytes(2, "little")
            for k in range(counters):
                at = start + 4 + 4 * k
                report[at : at + 4] = u32(0x80000000 + at)
        return report

    def test_every_field_of_the_text(self):
        lines = iter(decode_lines(self.numbered_report()))
        self.assertEqual(next(lines), "---Black Box Full Report---")
        self.assertEqual(next(lines), "")
        self.assertEqual(next(lines), "                            Module Count: 1")
        self.assertEqual(next(lines), "")
        for module, start, counters in self.named_records:
            self.assertEqual(next(lines), f"{module + ' Module ID':>40}: 0x{start:04X}")
            self.assertEqual(next(lines), f"{module + ' # Events':>40}: {start + 2}")
            for k, event in enumerate(vesk_reference.EVENTS[module]):
                self.assertEqual(next(lines), f"{event:>40}: {start + 4 + 4 * k - 2**31}")
            self.assertEqual(k + 1, counters)
            self.assertEqual(next(lines), "")
        for name, start in self.blob_records:
            self.assertEqual(next(lines), f"{name:>30} Module ID: 0x{start:04X}")
            self.assertEqual(next(lines), f"                           BLOB # Events: {start + 2}")
            for k, event in enumerate(vesk_reference.BLOB_EVENTS):
                self.assertEqual(
                    next(lines), f"{'BLOB_EVENT_' + event:>40}: {start + 4 + 4 * k - 2**31}"
                )
            self.assertEqual(next(lines), "")
        self.assertEqual(list(lines), [])

    def test_every_field_of_the_object(self):
        expected = [("MODULE_COUNT", ("unsigned short", 1))]
        for module, start, _ in self.named_records:
            expected.append((module + "_MODULE_ID", ("unsigned short", start)))
            if module != "PMGR":
                expected.append((module + "_NUM_EVENTS", ("unsigned short", start + 2)))
            for k, event in enumerate(vesk_reference.EVENTS[module]):
                expected.append((event, ("unsigned int", 2**31 + start + 4 + 4 * k)))
        for name, start in self.blob_records:
            expected.append((name + "_MODULE_ID", ("unsigned short", start)))
            expected.append((name + "_NUM_EVENTS", ("unsigned short", start + 2)))
            for k, event in enumerate(vesk_reference.BLOB_EVENTS):
                counter = 2**31 + start + 4 + 4 * k
                expected.append((f"{name}_EVENT_{event}", ("unsigned int", counter)))
        self.assertEqual(list(decode_object(self.numbered_report()).items()), expected)

    def test_both_ids_decode_alike(self):
        report = self.numbered_report()
        self.assertEqual(decode_lines(report, 0xE1), decode_lines(report, 0xEA))
        self.assertEqual(decode_object(report, 0xE1), decode_object(report, 0xEA))

    def test_all_zero(self):
        report = blank_report(0xE1, 991)
        lines = decode_lines(report)
        self.assertEqual(len(lines), 295)
        for line in lines[2:]:
            if "Module ID" in line:
                self.assertTrue(line.endswith(": 0x0000"))
            elif line:
                self.assertTrue(line.endswith(": 0"))
        obj = decode_object(report)
        self.assertEqual(len(obj), 269)
        self.assertEqual({number for _, number in obj.values()}, {0})
        self.assertIn("BLOB_VPMp_EVENT_UNSUPPORTED_HEADER_VERSION", obj)

    def test_counters_are_signed_in_text_only(self):
        for bits, text in ((0x80000000, "-2147483648"), (0xFFFFFFFF, "-1")):
            report = report_with(0xE1, 991, at_931=u32(bits))
            line = "           HIDSPI_SLAVE_EVENT_BUS_DETACH: " + text
            self.assertIn(line, decode_lines(report))
            self.assertEqual(
                decode_object(report)["HIDSPI_SLAVE_EVENT_BUS_DETACH"], ("unsigned int", bits)
            )

    def test_channel_counter(self):
        report = report_with(0xE1, 991, at_579=u32(5))
        self.assertIn("         ALGS_EVENT_PIXEL_NOISE_CNT_CH_0: 5", decode_lines(report))

    def test_numbers_of_events_walk_nothing(self):
        report = report_with(0xE1, 991, at_489=b"\x03\x00", at_767=u32(9))
        lines = decode_lines(report)
        self.assertEqual(len(lines), 295)
        self.assertIn("                           ALGS # Events: 3", lines)
        self.assertIn("        ALGS_EVENT_PIXEL_NOISE_CNT_CH_47: 9", lines)

    def test_blob_header(self):
        lines = decode_lines(report_with(0xE1, 991, at_127=b"\x34\x12\x07\x00"))
        at = lines.index("                     BLOB_VAFE Module ID: 0x1234")
        self.assertEqual(lines[at + 1], "                           BLOB # Events: 7")

    def test_pmgr_has_no_number_of_events_key(self):
        report = blank_report(0xE1, 991)
        obj = decode_object(report)
        self.assertIn("PMGR_MODULE_ID", obj)
        self.assertNotIn("PMGR_NUM_EVENTS", obj)
        self.assertIn("                           PMGR # Events: 0", decode_lines(report))

    def test_blob_names_come_from_the_table(self):
        original = list(vesk_reference.blob_names)
        self.addCleanup(vesk_reference.blob_names.__setitem__, slice(None), original)
        vesk_reference.blob_names[0] = "OTHER"
        vesk_reference.blob_names[9] = None
        lines = decode_lines(blank_report(0xE1, 991))
        self.assertIn("                         OTHER Module ID: 0x0000", lines)
        self.assertIn("                        (null) Module ID: 0x0000", lines)
        obj = decode_object(blank_report(0xE1, 991))
        self.assertIn("OTHER_EVENT_DEFAULT", obj)
        self.assertIn("(null)_MODULE_ID", obj)
        config = decode_lines(blank_report(0xE2, 232))
        self.assertIn("                                   OTHER", config)
        self.assertIn("                                  (null)", config)
        summary = decode_lines(blank_report(0xE0, 7))
        self.assertIn("           BLOB_VAFE: 0", summary)


class BlackBoxConfig(unittest.TestCase):
    # (events, offset of the first option byte), as the text lists them
    named_sections = [
        ("BLACK_BOX", 7),
        ("PSE", 12),
        ("OPEN_SHORT_TEST", 22),
        ("SCAN_LOGGER", 28),
        ("SVC_SMGR", 29),
        ("HIDSPI_MASTER", 96),
        ("HIDSPI_SLAVE", 195),
        ("ALGS", 113),
        ("SYS", 183),
        ("ZUB", 185),
        ("OTP", 221),
        ("PMGR", 224),
    ]

    def event_line(self, option):
        """The line of the first BLACK_BOX event with a given option byte."""
        return decode_lines(report_with(0xE2, 232, at_7=bytes([option])))[7]

    def test_all_zero(self):
        lines = decode_lines(blank_report(0xE2, 232))
        self.assertEqual(len(lines), 264)
        self.assertEqual(lines[0], "                     Global Trace Config:  (no options set)")
        self.assertEqual(lines[5], "                  Global Critical Config:  (no options set)")
        self.assertEqual(lines[6], "")
        self.assertEqual(
            lines[7], "                 BLACK_BOX_EVENT_UNKNOWN: TRACE (no options set)"
        )
        self.assertEqual(lines[173], "")
        self.assertEqual(lines[174], "                               BLOB_VAFE")
        self.assertEqual(
            lines[175], "                    BLOB_EVENT_GOOD_BLOB: TRACE (no options set)"
        )
        self.assertEqual(lines[255], "                               BLOB_VSFN")
        self.assertEqual(lines[263], "")

    def test_option_bytes_of_events(self):
        name = "                 BLACK_BOX_EVENT_UNKNOWN: "
        for option, text in (
            (0x05, "CRITICAL (no options set)"),
            (0x06, "(null) (no options set)"),
            (0x07, "(null) (no options set)"),
            (0x08, "TRACE MASKED "),
            (0x10, "TRACE GPIO_0 "),
            (0x20, "TRACE GPIO_1 "),
            (0x30, "TRACE GPIO_2 "),
            (0x41, "DEBUG MESSAGE "),
            (0x82, "INFO BREAKPOINT "),
            (0xF8, "TRACE MASKED MESSAGE GPIO_2 BREAKPOINT "),
            (0xFD, "CRITICAL MASKED MESSAGE GPIO_2 BREAKPOINT "),
            (0xFF, "(null) MASKED MESSAGE GPIO_2 BREAKPOINT "),
        ):
            self.assertEqual(self.event_line(option), name + text)

    def test_option_bytes_of_levels(self):
        report = report_with(0xE2, 232, at_1=b"\x07\xff\x18\x40\x20\x80")
        self.assertEqual(
            decode_lines(report)[:6],
            [
                "                     Global Trace Config:  (no options set)",
                "                     Global Debug Config:  MASKED MESSAGE GPIO_2 BREAKPOINT ",
                "                      Global Info Config:  MASKED GPIO_0 ",
                "                   Global Warning Config:  MESSAGE ",
                "                     Global Error Config:  GPIO_1 ",
                "                  Global Critical Config:  BREAKPOINT ",
            ],
        )

    def test_every_line_reads_its_own_byte(self):
        """Setting one byte changes its own line alone, the open events of the panel test aside."""
        blank = decode_lines(blank_report(0xE2, 232))
        lines_of_byte = {}
        for offset in range(1, 232):
            report = report_with(0xE2, 232, **{f"at_{offset}": b"\x80"})
            changed = [i for i, line in enumerate(decode_lines(report)) if line != blank[i]]
            lines_of_byte[offset] = changed
        expected = {offset: [offset - 1] for offset in range(1, 7)}
        line = 7
        for module, start in self.named_sections:
            for k in range(len(vesk_reference.EVENTS[module])):
                expected[start + k] = [line]
                line += 1
            line += 1
        for start in [33 + 7 * row for row in range(9)] + [225]:
            line += 1
            for k in range(7):
                expected[start + k] = [line]
                line += 1
            line += 1
        self.assertEqual(line, 264)
        expected[25] = [expected[25][0], expected[26][0]]
        expected[26] = []
        self.assertEqual(lines_of_byte, expected)

    def test_no_object(self):
        self.assertIsNone(decode_object(blank_report(0xE2, 232)))
        self.assertIsNone(decode_object(b"\xe2" + b"\xff" * 231))


class OpenShort(unittest.TestCase):
    def test_result_structure(self):
        self.assertEqual(len(decode_lines(blank_report(0xE3, 57))), 10)
        self.assertEqual(len(decode_object(blank_report(0xE3, 57))), 7)

    def test_ruler_stands_over_the_marks(self):
        for report, row in ((blank_report(0xE3, 57), 3), (blank_report(0xE4, 401), 3)):
            ruler = decode_lines(report)[2]
            for channel in (0, 8, 16, 24, 32, 40):
                mask = (1 << channel).to_bytes(8, "little")
                marked = report.copy()
                marked[1:9] = mask
                column = decode_lines(marked)[row].index("X", 11)
                label = str(channel)
                self.assertEqual(ruler[column - len(label) : column + 2].strip(), label)
                self.assertTrue(ruler[: column + 1].endswith(label))

    def test_scan_data(self):
        report = report_with(
            0xE4,
            401,
            at_1=b"\x01\x00\x00\x00\x00\x80\xff\xff",
            at_9=u32(0xFFFFFFFF),
            at_389=u32(26),
        )
        zero = "             0 "
        self.assertEqual(
            decode_lines(report),
            [
                "Open/Short Test D-SCAN Data:",
                "",
                "                       40       32       24       16        8        0",
                "ADC Saturation   X....... ........ ........ ........ ........ .......X",
                "",
                "Brownout: NO",
                "",
                "[D-SCAN I]",
                "ffffffff " + "00000000 " * 7,
                *["00000000 " * 8] * 5,
                "",
                "[D-SCAN Q]",
                *["00000000 " * 8] * 5,
                "00000000 " * 7 + "0000001a ",
            ],
        )
        decimal = decode_lines(report, args=["-decimal"])
        self.assertEqual(len(decimal), 22)
        self.assertEqual(decimal[8], "            -1 " + zero * 7)
        self.assertEqual(decimal[21], zero * 7 + "            26 ")
        self.assertEqual(
            decode_object(report, args=["-decimal"]),
            {
                "SATURATION_DATA": ("unsigned long long", 0xFFFF800000000001),
                "BROWNOUT": ("unsigned char", 0),
                "SCAN_DATA_I": ("array", "unsigned int", [0xFFFFFFFF] + [0] * 47),
                "SCAN_DATA_Q": ("array", "unsigned int", [0] * 47 + [26]),
            },
        )

    def test_p_scan(self):
        lines = decode_lines(blank_report(0xE5, 401))
        self.assertEqual(lines[0], "Open/Short Test P-SCAN Data:")
        self.assertEqual((lines[7], lines[15]), ("[P-SCAN I]", "[P-SCAN Q]"))

    def test_scan_is_named_by_the_id_handed_in(self):
        lines = decode_lines(blank_report(0xE4, 401), report_id=0xE5)
        self.assertEqual(lines[0], "Open/Short Test P-SCAN Data:")

    def test_brownout(self):
        for status, text, flag in ((0xFE, "NO", 0), (0x01, "YES", 1), (0xFF, "YES", 1)):
            report = report_with(0xE4, 401, at_393=bytes([status]))
            self.assertEqual(decode_lines(report)[5], "Brownout: " + text)
            self.assertEqual(decode_object(report)["BROWNOUT"], ("unsigned char", flag))


class Dumps(unittest.TestCase):
    def test_lines(self):
        lines = Lines(["a ", "", "\u00e9"])
        self.assertEqual(vesk_reference.dump_lines(lines), b"a \n\n\xc3\xa9\n")

    def test_nil_and_strings(self):
        self.assertEqual(vesk_reference.dump_object(None), "nil\n")
        self.assertEqual(
            vesk_reference.dump_object(Obj('a"\\\n\r\t\x01\x7f\u00e9')),
            'string "a\\"\\\\\\n\\r\\t\\x01\\x7f\u00e9"\n',
        )

    def test_numbers_and_arrays(self):
        obj = Obj([
            ("I", ("int", -1)),
            ("F", ("float", vesk_reference.float32(0.1))),
            ("D", ("double", 0.1)),
            ("A", ("array", "float", [math.nan, -math.nan, -math.inf, -0.0])),
            ("E", ("array", "int", [])),
        ])
        self.assertEqual(
            vesk_reference.dump_object(obj),
            "dictionary 5\n"
            '"I" int -1\n'
            '"F" float 0.100000001\n'
            '"D" double 0.10000000000000001\n'
            '"A" array of float: nan nan -inf -0\n'
            '"E" array of int:\n',
        )


if __name__ == "__main__":
    unittest.main()
