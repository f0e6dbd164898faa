#!/usr/bin/env python3
"""A second, independent decoder of the Vesk controller's reports.

The plug-in is proven against this program, so the two share nothing, and everything here is
written for plainness: one field is read at a time, nothing is cached, nothing is clever.

    python3 vesk_reference.py [--decimal] [--object] TYPE HEXBYTES...

decodes one report by hand, e.g. `vesk_reference.py feature d0 31 2e 32 00`.
"""

import argparse
import math
import struct
import sys
from dataclasses import dataclass

INPUT, OUTPUT, FEATURE = 0, 1, 2
YES = True

ERROR_DOMAIN = "HIDReportVeskPlugin"
BAD_ARGUMENT = -536870206  # 0xE00002C2 as a signed 32-bit number

CHANNELS = 48
IMAGE_SIZE = 792
PACKET_SIZE = 2064
PACKET_WORDS = 512

VERSION_KEYS = ["PROJECT", "SDK", "TOOLCHAIN", "QOREX", "VENDOR", "ALGS"]
POWER_MODES = ["INIT", "ACTIVE", "TIMEOUT", "READY", "LIGHT_SLEEP"]
SEVERITIES = ["TRACE", "DEBUG", "INFO", "WARNING", "ERROR", "CRITICAL"]
GPIO_TEXTS = ["", "GPIO_0 ", "GPIO_1 ", "GPIO_2 "]

IMAGE_BLOCKS = [
    ("D-SCAN I", "D_SCAN_I", 16),
    ("D-SCAN Q", "D_SCAN_Q", 208),
    ("P-SCAN I", "P_SCAN_I", 400),
    ("P-SCAN Q", "P_SCAN_Q", 592),
]

OPEN_SHORT_MASKS = [
    ("\tShort TX+ ", "SHORT_TX_POS", 1),
    ("\tShort TX- ", "SHORT_TX_NEG", 9),
    ("\tShort BOTH", "SHORT_BOTH", 17),
    ("\tOpen  TX+ ", "OPEN_TX_POS", 25),
    ("\tOpen  TX- ", "OPEN_TX_NEG", 33),
    ("\tOpen  BOTH", "OPEN_BOTH", 41),
    ("\tWeak  O/S ", "WEAK_OS", 49),
]

# (module, offset of its flag byte, bit in that byte), as the summary lists them.
SUMMARY_FLAGS = [
    ("BLACK_BOX", 4, 0),
    ("PSE", 4, 1),
    ("OPEN_SHORT_TEST", 4, 2),
    ("SCAN_LOGGER", 4, 3),
    ("SVC_SMGR", 4, 4),
    ("BLOB_VAFE", 4, 5),
    ("BLOB_VFCL", 4, 6),
    ("BLOB_VPMp", 4, 7),
    ("BLOB_VSGC", 5, 0),
    ("BLOB_VSSp", 5, 1),
    ("BLOB_VSSC", 5, 2),
    ("BLOB_VSRx", 5, 3),
    ("BLOB_VSPM", 5, 4),
    ("BLOB_VRTC", 5, 5),
    ("HIDSPI_MASTER", 5, 6),
    ("HIDSPI_SLAVE", 6, 2),
    ("ALGS", 5, 7),
    ("SYS", 6, 0),
    ("ZUB", 6, 1),
    ("OTP", 6, 3),
    ("PMGR", 6, 4),
    ("BLOB_VSFN", 6, 5),
]

# The full report and the configuration take the blobs' names from here; None stands for a null
# pointer. The summary has names of its own, so a changed row does not show there.
blob_names = [
    "BLOB_VAFE",
    "BLOB_VFCL",
    "BLOB_VPMp",
    "BLOB_VSGC",
    "BLOB_VSSp",
    "BLOB_VSSC",
    "BLOB_VSRx",
    "BLOB_VSPM",
    "BLOB_VRTC",
    "BLOB_VSFN",
]

BLOB_EVENTS = [
    "GOOD_BLOB",
    "BAD_MAGIC",
    "BAD_CHECKSUM",
    "UNSUPPORTED_HEADER_VERSION",
    "OLD_VERSION",
    "BAD_VERSION",
    "DEFAULT",
]

HIDSPI_EVENTS = [
    "ACK_SENT",
    "NAK_SENT",
    "BUSY_SENT",
    "ERR_SENT",
    "ACK_RECEIVED",
    "NAK_RECEIVED",
    "BUSY_RECEIVED",
    "ERR_RECEIVED",
    "INVALID_ACK_RECEIVED",
    "TRANSFER_INVALID_CRC",
    "TRANSFER_INVALID_LEN",
    "TRANSFER_INVALID_TYPE",
    "TRANSFER_INVALID_IFACE_ID",
    "TRANSFER_RECEIVED",
    "TRANSFER_SENT",
    "TRANSFER_RETRY",
]

# The named modules with their events, in the order in which the texts list the modules.
EVENTS = {
    "BLACK_BOX": [
        "BLACK_BOX_EVENT_UNKNOWN",
        "BLACK_BOX_EVENT_BAD_MODULE_ID",
        "BLACK_BOX_EVENT_BAD_EVENT_ID",
        "BLACK_BOX_EVENT_BAD_BUFFER_SZ",
        "BLACK_BOX_EVENT_THROW_EXTERNAL",
    ],
    "PSE": [
        "PSE_EVENT_AFE_LDO_FAULT",
        "PSE_EVENT_FS_PPM_LDO",
        "PSE_EVENT_AFE_BROWNOUT",
        "PSE_EVENT_FS_TX_PUP",
        "PSE_EVENT_FS_LDO_PUP",
        "PSE_EVENT_FS_LDO_2V5",
        "PSE_EVENT_FS_LDO_5V6",
        "PSE_EVENT_FS_IDAC_SWING",
        "PSE_EVENT_FS_DIG_ISO",
        "PSE_EVENT_FS_IDAC_PUP",
    ],
    "OPEN_SHORT_TEST": [
        "OPEN_SHORT_EVENT_UNKNOWN",
        "OPEN_SHORT_EVENT_DOUBLE_SHORT",
        "OPEN_SHORT_EVENT_SINGLE_SHORT",
        "OPEN_SHORT_EVENT_DOUBLE_OPEN",
        "OPEN_SHORT_EVENT_SINGLE_OPEN",
        "OPEN_SHORT_EVENT_WEAK_OS",
    ],
    "SCAN_LOGGER": ["SCAN_LOGGER_EVENT_FAILED_IMAGE_ALLOC"],
    "SVC_SMGR": [
        "SVC_SMGR_EVENT_FRAME_TRIG_ERR",
        "SVC_SMGR_EVENT_SCANITEM_Q_ERR",
        "SVC_SMGR_EVENT_PRODUCT_HANDLER_ERR",
        "SVC_SMGR_EVENT_FRAME_TRIG_NOT_READY",
    ],
    "HIDSPI_MASTER": [
        *("HIDSPI_MASTER_EVENT_" + tail for tail in HIDSPI_EVENTS),
        "HIDSPI_MASTER_EVENT_KELMORA_MISSING",
    ],
    "HIDSPI_SLAVE": [
        *("HIDSPI_SLAVE_EVENT_" + tail for tail in HIDSPI_EVENTS),
        "HIDSPI_SLAVE_EVENT_SPI_CS_ACTIVATED",
        "HIDSPI_SLAVE_EVENT_SPI_CS_DEACTIVATED",
        "HIDSPI_SLAVE_EVENT_SPI_DATA_LOST",
        "HIDSPI_SLAVE_EVENT_SPI_MODE_FAULT",
        "HIDSPI_SLAVE_EVENT_SPI_XFER_COMPLETE",
        "HIDSPI_SLAVE_EVENT_SPI_XFER_ABORTED",
        "HIDSPI_SLAVE_EVENT_BUS_PRESLEEP",
        "HIDSPI_SLAVE_EVENT_BUS_SLEEP",
        "HIDSPI_SLAVE_EVENT_BUS_RESUME",
        "HIDSPI_SLAVE_EVENT_BUS_DETACH",
    ],
    "ALGS": [
        "ALGS_EVENT_VESK_ITEM_TIMEOUT",
        "ALGS_EVENT_TOUCH_DEADLINE_EXPIRED",
        "ALGS_EVENT_FRAME_MISMATCH",
        "ALGS_EVENT_MAX_MISSED_TRACKED_TOUCH",
        "ALGS_EVENT_DISCARDED_PATH",
        "ALGS_EVENT_PIXEL_NOISE_RUN_CNT",
        "ALGS_EVENT_PIXEL_NOISE_VALID_CNT",
        "ALGS_EVENT_PIXEL_NOISE_INVALID_CNT",
        "ALGS_EVENT_PIXEL_NOISE_BAD_CH_CNT",
        *("ALGS_EVENT_PIXEL_NOISE_PRE_HYST_BIN_%d" % n for n in range(5)),
        *("ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_%d" % n for n in range(5)),
        "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_5_10",
        "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_11_20",
        "ALGS_EVENT_PIXEL_NOISE_POST_HYST_BIN_21_N",
        *("ALGS_EVENT_PIXEL_NOISE_CNT_CH_%d" % n for n in range(CHANNELS)),
    ],
    "SYS": ["SYS_EVENT_BSYNC_MISSING", "SYS_EVENT_MISSED_HSPI_CS_EDGE"],
    "ZUB": [
        "ZUB_EVENT_DOWNSTREAM_DEVICE_ABSENT",
        "ZUB_EVENT_DEV_ATTACH_RETRY",
        "ZUB_EVENT_TPT_TX_ERROR_COUNT",
        "ZUB_EVENT_VESK_TX_ERROR_COUNT",
        "ZUB_EVENT_SYSTEM_TX_ERROR_COUNT",
        "ZUB_EVENT_TPT_TOUCH_RX_COUNT",
        "ZUB_EVENT_TPT_ZUB_RX_COUNT",
        "ZUB_EVENT_VESK_RX_COUNT",
        "ZUB_EVENT_VESK_TX_COUNT",
        "ZUB_EVENT_TOUCH_ATTACH_TIMEOUT",
    ],
    "OTP": [
        "OTP_EVENT_CHECKSUM_MISSING",
        "OTP_EVENT_POWERUP_FAILED",
        "OTP_EVENT_TRIM_MISSING",
    ],
    "PMGR": ["PMGR_EVENT_WAKE_SRC_UNKNOWN"],
}

# The order in which the firmware lays its modules out in a report. A number stands for the blob
# in that row of blob_names.
REPORT_ORDER = [
    "BLACK_BOX", "PSE", "OPEN_SHORT_TEST", "SCAN_LOGGER", "SVC_SMGR",
    0, 1, 2, 3, 4, 5, 6, 7, 8,
    "HIDSPI_MASTER", "ALGS", "SYS", "ZUB", "HIDSPI_SLAVE", "OTP", "PMGR",
    9,
]


class PlatformError(Exception):
    """A missing element of one of the platform's collections, which the plug-in does not catch."""


@dataclass
class Lines:
    """What a decoder returns in text mode: output lines without terminators."""

    strings: list


@dataclass
class Obj:
    """What a decoder returns in object mode: a bare string, or a list of (key, value) in order.

    A value is (number kind, number), ("string", text) or ("array", number kind, [numbers]).
    """

    content: object


def as_int32(value):
    """The 32 bits of an unsigned number read as a signed one, as C's %i and %d do."""
    return value - (1 << 32) if value >= 1 << 31 else value


def as_int64(value):
    """The 64 bits of an unsigned number read as a signed one."""
    return value - (1 << 64) if value >= 1 << 63 else value


def float32(value):
    """The single-precision number nearest to a double."""
    return struct.unpack("<f", struct.pack("<f", value))[0]


def float32_from_integer(number):
    """The single-precision number nearest to an unsigned integer, ties going to the even one.

    Converting to double first would round twice, and the second rounding can then start from a
    tie that the number itself was not.
    """
    dropped_bits = max(0, number.bit_length() - 24)
    kept = number >> dropped_bits
    rest = number - (kept << dropped_bits)
    half = (1 << dropped_bits) / 2
    if rest > half or (rest == half and kept % 2 == 1):
        kept += 1
    return float(kept << dropped_bits)


def fixed_point(value, decimals, no_minus=""):
    """C's %f with so many decimals; no_minus stands where a minus sign would.

    The sign is looked up by itself because C shows the sign of a NaN and Python does not.
    """
    sign = "-" if math.copysign(1.0, value) < 0 else no_minus
    return sign + "%.*f" % (decimals, abs(value))


def c_string(text):
    """What C's %s shows: a null pointer has a rendering of its own."""
    return "(null)" if text is None else text


def c_string_right(text, width):
    """C's %<width>s, which counts bytes rather than characters."""
    shown = c_string(text)
    return " " * (width - len(shown.encode("utf-8"))) + shown


def hex_text(value):
    """A 32-bit value through "%08x "."""
    return "%08x " % (value & 0xFFFFFFFF)


def decimal_text(value):
    """A 32-bit value through "%14d ", signed whatever it was."""
    return "%14d " % as_int32(value & 0xFFFFFFFF)


def baseline_text(value):
    """A float through "% -13.3f "."""
    return fixed_point(value, 3, no_minus=" ").ljust(13) + " "


def rows_of_eight(texts):
    """Texts of single values joined into lines of eight; no values at all still make one line."""
    if not texts:
        return [""]
    return ["".join(texts[start : start + 8]) for start in range(0, len(texts), 8)]


def error_level_name(level):
    """The name of a severity level, None for those that have none."""
    return SEVERITIES[level] if level < len(SEVERITIES) else None


def option_line(option, event_name, print_level):
    """One option byte of the black box configuration as a text line."""
    level = c_string(error_level_name(option & 0x07)) + " " if print_level else " "
    masked = "MASKED " if option & 0x08 else ""
    gpio = GPIO_TEXTS[(option & 0x30) >> 4]
    message = "MESSAGE " if option & 0x40 else ""
    breakpoint_ = "BREAKPOINT " if option & 0x80 else ""
    nothing_set = "(no options set)" if option & 0xF8 == 0 else ""
    return "%40s: " % event_name + level + masked + message + gpio + breakpoint_ + nothing_set


def mark_row(label, mask):
    """The low 48 bits of a channel mask as marks, the highest channel leftmost."""
    row = ""
    for channel in range(CHANNELS):
        row = ("X" if mask >> channel & 1 else ".") + row
        if channel % 8 == 7:
            row = " " + row
    return label + " " + row


@dataclass(frozen=True)
class Layout:
    """A report, and what a host must know of it before it hands one over."""

    report_type: int
    report_id: int
    decoder: str
    size: int  # bytes that are read, the report ID included; of a text the shortest
    exact: bool = False  # every other length is declined
    text: bool = False  # from byte 1 to its NUL, however long
    counter: tuple = (None, 0)  # of the reports of a stream: the key, the offset


# Every report that has a decoder.
LAYOUTS = []


def reads(report_type, *report_ids, **layout):
    """Marks a method of the plug-in object as the decoder of reports."""

    def add(method):
        for report_id in report_ids:
            LAYOUTS.append(Layout(report_type, report_id, method.__name__, **layout))
        return method

    return add


class ReferencePlugin:
    """The plug-in object as a host sees it: its properties and its operations.

    What the plug-in would write to standard output is appended to `printed`.
    """

    def __init__(self):
        self.report_buf = None
        self.report_type = 0
        self.report_id = 0
        self.report_len = 0
        self.display_decimal = False
        self.use_strings = False
        self.report_ids = self._table(FEATURE)
        self.input_report_ids = self._table(INPUT)
        # Six characters are cut, one more than "parse" has; hosts know the names in this form.
        self.report_id_names = {key: name[6:] for key, name in self.report_ids.items()}
        self.printed = bytearray()

    @staticmethod
    def _table(report_type):
        return {row.report_id: row.decoder for row in LAYOUTS if row.report_type == report_type}

    # Options

    def parse_args(self, args, count=None):
        """Apply the first count options; an invalid one changes nothing and is complained of."""
        if count is not None:
            args = args[: max(count, 0)]
        errors = []
        config = self.args_to_config(args, errors)
        if config is None:
            self._puts(errors[0])
            return False
        return self.config_parser(config)

    def args_to_config(self, args, errors=None):
        """The configuration for a list of options, or None with the first bad one put in errors."""
        config = {}
        for arg in args:
            if arg != "-decimal":
                if errors is not None:
                    message = "Invalid option: " + arg
                    errors.append(
                        'Error Domain=%s Code=%d "%s" UserInfo={NSLocalizedDescription=%s}'
                        % (ERROR_DOMAIN, BAD_ARGUMENT, message, message)
                    )
                return None
            config["Decimal"] = YES
        return config

    def config_parser(self, config):
        """Set both switches; whatever does not equal YES, or is missing, switches off."""
        self.use_strings = config.get("UseStrings") == YES
        self.display_decimal = config.get("Decimal") == YES
        return True

    # Reports

    def run_parser(self, buffer, report_id, report_type, length):
        """Remember the report, find its decoder and return what that makes of it."""
        self.report_type = report_type & 0xFFFFFFFF
        self.report_buf = buffer
        self.report_id = report_id & 0xFFFFFFFF
        self.report_len = length
        if report_type == FEATURE:
            table = self.report_ids
        elif report_type == INPUT:
            table = self.input_report_ids
        else:
            return None
        if self.report_id not in table:
            return None
        return getattr(self, table[self.report_id])()

    def report_to_object(self, buffer, report_id, report_type, length):
        """Decode in whatever mode the plug-in is in."""
        return self.run_parser(buffer, report_id, report_type, length)

    def parse_report(self, buffer, report_id, report_type, length):
        """Decode and print; the plug-in stays in text mode from here on."""
        self.use_strings = True
        return self.print_strings(self.run_parser(buffer, report_id, report_type, length))

    def print_strings(self, lines):
        """Print lines between two empty ones."""
        if lines is None:
            return False
        self.printed += b"\n"
        for string in lines.strings:
            self._puts(string)
        self.printed += b"\n"
        return True

    def _puts(self, string):
        self.printed += string.encode("utf-8") + b"\n"

    # Reading the report

    def _bytes(self, offset, count):
        field = self.report_buf[offset : offset + count]
        if len(field) != count:
            raise ValueError("the report ends before byte %d" % (offset + count))
        return field

    def _unsigned(self, offset, width):
        return int.from_bytes(self._bytes(offset, width), "little")

    def _float(self, offset):
        return struct.unpack("<f", self._bytes(offset, 4))[0]

    def _uint32s(self, offset, count):
        return [self._unsigned(offset + 4 * i, 4) for i in range(count)]

    def _text(self):
        """The text from byte 1 up to the first NUL, None where it is not UTF-8."""
        end = self.report_buf.index(0, 1)
        try:
            return self.report_buf[1:end].decode("utf-8")
        except UnicodeDecodeError:
            return None

    # Firmware status

    @reads(FEATURE, 0xD0, size=2, text=True)
    def parseVersion(self):
        text = self._text()
        if not self.use_strings:
            return None if text is None else Obj(text)
        if text is None:
            raise PlatformError("an array cannot hold a missing element")
        return Lines([text])

    @reads(FEATURE, 0xD2, size=2, text=True)
    def parseVersionExtended(self):
        text = self._text()
        components = None if text is None else text.split("\n")
        if self.use_strings:
            return None if components is None else Lines(components)
        if components is None:
            raise PlatformError("a dictionary cannot hold a missing value")
        if len(components) < len(VERSION_KEYS):
            raise PlatformError("index %d is beyond the array" % len(components))
        return Obj([(key, ("string", line)) for key, line in zip(VERSION_KEYS, components)])

    @reads(FEATURE, 0xDF, size=25)
    def parseWatchDogReport(self):
        count = self._unsigned(1, 4)
        timestamp = self._unsigned(5, 8)
        register = self._unsigned(13, 4)
        wake = self._unsigned(17, 4)
        sleep = self._unsigned(21, 4)
        # The product of two single-precision numbers is exact in double, so it is rounded once.
        wallclock = float32(float32_from_integer(timestamp) * float32(1e-6))
        if self.use_strings:
            return Lines([
                "Watchdog Data:",
                "    Feed Count:%d" % count,
                "Feed Timestamp:0x%016X" % timestamp,
                "Feed Wallclock:%15.3f" % wallclock,
                "      Register:0x%08X" % register,
                "          Wake:%d" % wake,
                "         Sleep:%d" % sleep,
            ])
        return Obj([
            ("Count", ("unsigned int", count)),
            ("Timestamp", ("long long", as_int64(timestamp))),
            ("Wallclock", ("double", wallclock)),
            ("Register", ("unsigned int", register)),
            ("Wake", ("unsigned int", wake)),
            ("Idle", ("unsigned int", sleep)),
        ])

    @reads(FEATURE, 0xA9, size=41)
    def parsePowerModeStats(self):
        records = []
        for index, mode in enumerate(POWER_MODES):
            time = self._unsigned(1 + 8 * index, 4)
            entered = self._unsigned(5 + 8 * index, 4)
            records.append((mode, time, entered))
        if self.use_strings:
            return Lines(
                ["Power Mode Statistics - Total Time:"]
                + ["%-12s: %12d ms" % (mode, time) for mode, time, _ in records]
                + ["", "Power Mode Statistics - Number of Times Entered:"]
                + ["%-12s: %d" % (mode, entered) for mode, _, entered in records]
            )
        entries = []
        for mode, time, entered in records:
            entries.append((mode + " time ms", ("unsigned int", time)))
            entries.append((mode + " times entered", ("unsigned int", entered)))
        return Obj(entries)

    # Sensor data

    def _sample_text(self):
        return decimal_text if self.display_decimal else hex_text

    @reads(INPUT, 0x76, size=IMAGE_SIZE, exact=True, counter=("FRAME_NUMBER", 4))
    def parseVeskImage(self):
        if self.report_len != IMAGE_SIZE:
            return None
        cookie = self._unsigned(1, 1)
        flags = self._unsigned(2, 2)
        frame_number = self._unsigned(4, 4)
        frame_params = self._unsigned(8, 4)
        timestamp = self._unsigned(12, 4)
        tmon_params = self._unsigned(784, 4)
        tmon = self._float(788)
        if self.use_strings:
            lines = [
                "[Frame # = %d]" % frame_number,
                "[Frame Params = 0x%08x]" % frame_params,
                "[Timestamp = %d ms]" % timestamp,
                "[TMON = %s degC]" % fixed_point(tmon, 6),
                "[TMON Params = 0x%08x]" % tmon_params,
                "[Cookie = 0x%02x]" % cookie,
                "[Flags = 0x%04x]" % flags,
                "",
            ]
            sample_text = self._sample_text()
            for title, _, offset in IMAGE_BLOCKS:
                lines.append("[%s]" % title)
                lines += rows_of_eight([sample_text(v) for v in self._uint32s(offset, CHANNELS)])
                lines.append("")
            return Lines(lines)
        entries = [
            ("COOKIE", ("unsigned char", cookie)),
            ("FLAGS", ("unsigned short", flags)),
            ("FRAME_NUMBER", ("unsigned int", frame_number)),
            ("FRAME_PARAMS", ("unsigned int", frame_params)),
            ("TIMESTAMP_MS", ("unsigned int", timestamp)),
        ]
        for _, key, offset in IMAGE_BLOCKS:
            samples = [as_int32(v) for v in self._uint32s(offset, CHANNELS)]
            entries.append((key, ("array", "int", samples)))
        entries.append(("TMON_PARAMS", ("unsigned int", tmon_params)))
        entries.append(("TMON_DEG_C", ("float", tmon)))
        return Obj(entries)

    @reads(FEATURE, 0xDC, size=25)
    def parseAdcDumpConfig(self):
        start_address = self._unsigned(1, 4)
        mask_low = self._unsigned(5, 4)
        mask_high = self._unsigned(9, 4)
        sample_count = self._unsigned(13, 4)
        stim_timer_compare = self._unsigned(17, 4)
        trigger = "RX_EN" if self._unsigned(21, 4) == 0 else "STIM_TIMER"
        if self.use_strings:
            return Lines([
                "--ADC Dump Configuration--",
                "",
                "Start Address       = 0x%08x" % start_address,
                "Channel Enable Mask = %04x%08x" % (mask_high, mask_low),
                "Sample Count        = %d" % sample_count,
                "Stim Timer Compare  = %d" % stim_timer_compare,
                "Trigger Source      = %s" % trigger,
            ])
        return Obj([
            ("START_ADDRESS", ("unsigned int", start_address)),
            ("CHANNEL_ENABLE_MASK", ("unsigned long long", mask_high << 32 | mask_low)),
            ("SAMPLE_COUNT", ("unsigned int", sample_count)),
            ("STIM_TIMER_COMPARE", ("unsigned int", stim_timer_compare)),
            ("TRIGGER_SOURCE", ("string", trigger)),
        ])

    @reads(FEATURE, 0xDE, size=2)
    def parseAdcDumpState(self):
        names = {0: "STANDBY", 1: "SINGLE", 2: "CONTINUOUS"}
        name = names.get(self._unsigned(1, 1), "INVALID")
        return Lines(["ADC Dump State: " + name]) if self.use_strings else Obj(name)

    @reads(INPUT, 0x77, size=PACKET_SIZE, exact=True, counter=("PACKET_ID", 4))
    def parseAdcDumpPacket(self):
        if self.report_len != PACKET_SIZE:
            return None
        magic = self._bytes(1, 3)
        packet_id = self._unsigned(4, 4)
        payload_size = self._unsigned(8, 4)
        total_dump_size = self._unsigned(12, 4)
        payload = self._uint32s(16, PACKET_WORDS)
        if self.use_strings:
            header = [
                "[ADC Packet #    = %d]" % packet_id,
                "[Magic Value     = 0x%02x%02x%02x]" % tuple(magic),
                "[Payload Size    = %d]" % payload_size,
                "[Total Dump Size = %d]" % total_dump_size,
                "",
                "[Packet Payload Data]",
            ]
            return Lines(header + rows_of_eight([hex_text(word) for word in payload]))
        return Obj([
            ("PACKET_ID", ("unsigned int", packet_id)),
            # The shifts overlap; consumers of the object know the value in this form.
            ("MAGIC_VALUE", ("int", magic[0] << 2 | magic[1] << 1 | magic[2])),
            ("PAYLOAD_SIZE", ("unsigned int", payload_size)),
            ("TOTAL_DUMP_SIZE", ("unsigned int", total_dump_size)),
            ("PAYLOAD_DATA", ("array", "unsigned int", payload)),
        ])

    @reads(FEATURE, 0xA2, size=193)
    def parserVeskAlgBaselineRequest(self):
        values = [self._float(1 + 4 * channel) for channel in range(CHANNELS)]
        if self.use_strings:
            rows = rows_of_eight([baseline_text(value) for value in values])
            return Lines(["Vesk Algorithms Baseline:", ""] + rows + [""])
        return Obj([("BASELINE", ("array", "float", values))])

    # Black box

    @reads(FEATURE, 0xE0, size=7)
    def parseBlackBoxSummary(self):
        severity = self._unsigned(1, 1)
        module_count = self._unsigned(2, 2)
        flags = [
            (module, self._unsigned(offset, 1) >> bit & 1) for module, offset, bit in SUMMARY_FLAGS
        ]
        if self.use_strings:
            header = [
                "--Black Box Summary--",
                "Severity Level: " + c_string(error_level_name(severity & 0x07)),
                "Module Count:   %d" % module_count,
                "",
            ]
            return Lines(header + ["%20s: %d" % flag for flag in flags])
        return Obj(
            [
                ("SEVERITY_LEVEL", ("unsigned char", severity)),
                ("MODULE_COUNT", ("unsigned short", module_count)),
            ]
            + [(module, ("unsigned char", flag)) for module, flag in flags]
        )

    @reads(FEATURE, 0xE1, 0xEA, size=991)
    def parseBlackBoxFullReport(self):
        module_count = self._unsigned(1, 2)
        records = {}
        offset = 3
        for module in REPORT_ORDER:
            events = len(EVENTS.get(module, BLOB_EVENTS))
            module_id = self._unsigned(offset, 2)
            event_count = self._unsigned(offset + 2, 2)
            records[module] = module_id, event_count, self._uint32s(offset + 4, events)
            offset += 4 + 4 * events
        if self.use_strings:
            return Lines(self._full_report_lines(module_count, records))
        return Obj(self._full_report_entries(module_count, records))

    def _full_report_lines(self, module_count, records):
        lines = ["---Black Box Full Report---", "", "%40s: %d" % ("Module Count", module_count), ""]
        for module, events in EVENTS.items():
            module_id, event_count, counters = records[module]
            lines.append("%40s: 0x%04X" % (module + " Module ID", module_id))
            lines.append("%40s: %d" % (module + " # Events", event_count))
            for event, counter in zip(events, counters):
                lines.append("%40s: %d" % (event, as_int32(counter)))
            lines.append("")
        for row, name in enumerate(blob_names):
            module_id, event_count, counters = records[row]
            lines.append("%s Module ID: 0x%04X" % (c_string_right(name, 30), module_id))
            lines.append("%40s: %d" % ("BLOB # Events", event_count))
            for event, counter in zip(BLOB_EVENTS, counters):
                lines.append("%40s: %d" % ("BLOB_EVENT_" + event, as_int32(counter)))
            lines.append("")
        return lines

    def _full_report_entries(self, module_count, records):
        # A dictionary, since changed blob names may repeat a key and the last value then counts.
        entries = {"MODULE_COUNT": ("unsigned short", module_count)}
        for module, events in EVENTS.items():
            module_id, event_count, counters = records[module]
            entries[module + "_MODULE_ID"] = "unsigned short", module_id
            if module != "PMGR":  # only the text tells PMGR's number of events
                entries[module + "_NUM_EVENTS"] = "unsigned short", event_count
            for event, counter in zip(events, counters):
                entries[event] = "unsigned int", counter
        for row, name in enumerate(blob_names):
            module_id, event_count, counters = records[row]
            prefix = c_string(name)
            entries[prefix + "_MODULE_ID"] = "unsigned short", module_id
            entries[prefix + "_NUM_EVENTS"] = "unsigned short", event_count
            for event, counter in zip(BLOB_EVENTS, counters):
                entries[prefix + "_EVENT_" + event] = "unsigned int", counter
        return list(entries.items())

    @reads(FEATURE, 0xE2, size=232)
    def parseBlackBoxConfig(self):
        if not self.use_strings:
            return None
        lines = []
        for level, option in zip(SEVERITIES, self._bytes(1, len(SEVERITIES))):
            lines.append(option_line(option, "Global %s Config" % level.capitalize(), False))
        lines.append("")
        options = {}
        offset = 7
        for module in REPORT_ORDER:
            events = len(EVENTS.get(module, BLOB_EVENTS))
            options[module] = list(self._bytes(offset, events))
            offset += events
        # Both open events are shown with the options of the double one.
        options["OPEN_SHORT_TEST"][4] = options["OPEN_SHORT_TEST"][3]
        for module, events in EVENTS.items():
            for event, option in zip(events, options[module]):
                lines.append(option_line(option, event, True))
            lines.append("")
        for row, name in enumerate(blob_names):
            lines.append(c_string_right(name, 40))
            for event, option in zip(BLOB_EVENTS, options[row]):
                lines.append(option_line(option, "BLOB_EVENT_" + event, True))
            lines.append("")
        return Lines(lines)

    # Open/short test

    @reads(FEATURE, 0xE3, size=57)
    def parseOpenShortTest(self):
        masks = [(label, key, self._unsigned(at, 8)) for label, key, at in OPEN_SHORT_MASKS]
        if self.use_strings:
            ruler = "\t                  40       32       24       16        8        0"
            rows = [mark_row(label, mask) for label, _, mask in masks]
            return Lines(["Open/Short Test Results:", "", ruler] + rows)
        return Obj([(key, ("unsigned long long", mask)) for _, key, mask in masks])

    @reads(FEATURE, 0xE4, 0xE5, size=401)
    def parseOpenShortData(self):
        scan = "D-SCAN" if self.report_id == 0xE4 else "P-SCAN"
        saturation = self._unsigned(1, 8)
        samples_i = self._uint32s(9, CHANNELS)
        samples_q = self._uint32s(201, CHANNELS)
        brownout = self._unsigned(393, 1) & 1
        if self.use_strings:
            sample_text = self._sample_text()
            return Lines(
                [
                    "Open/Short Test %s Data:" % scan,
                    "",
                    "                       40       32       24       16        8        0",
                    mark_row("ADC Saturation ", saturation),
                    "",
                    "Brownout: %s" % ("YES" if brownout else "NO"),
                    "",
                    "[%s I]" % scan,
                ]
                + rows_of_eight([sample_text(sample) for sample in samples_i])
                + ["", "[%s Q]" % scan]
                + rows_of_eight([sample_text(sample) for sample in samples_q])
            )
        return Obj([
            ("SATURATION_DATA", ("unsigned long long", saturation)),
            ("BROWNOUT", ("unsigned char", brownout)),
            ("SCAN_DATA_I", ("array", "unsigned int", samples_i)),
            ("SCAN_DATA_Q", ("array", "unsigned int", samples_q)),
        ])


def dump_lines(lines):
    """A text result as bytes, every line closed by a newline."""
    return b"".join(string.encode("utf-8") + b"\n" for string in lines.strings)


def dump_object(obj):
    """An object result as a listing of one entry a line, for comparing with another decoder's."""
    if obj is None:
        return "nil\n"
    if isinstance(obj.content, str):
        return "string %s\n" % quoted(obj.content)
    listing = "dictionary %d\n" % len(obj.content)
    for key, value in obj.content:
        listing += "%s %s\n" % (quoted(key), value_text(value))
    return listing


def value_text(value):
    """A dictionary's value with its kind in front."""
    if value[0] == "string":
        return "string " + quoted(value[1])
    if value[0] == "array":
        _, kind, numbers = value
        return "array of %s:" % kind + "".join(" " + number_text(kind, n) for n in numbers)
    return value[0] + " " + number_text(*value)


def number_text(kind, number):
    """A number with as many digits as its kind needs to be told from its neighbours."""
    if kind == "float":
        return "%.9g" % number
    if kind == "double":
        return "%.17g" % number
    return "%d" % number


def quoted(text):
    """Text in double quotes, with whatever would break the listing's lines escaped."""
    escapes = {"\\": "\\\\", '"': '\\"', "\n": "\\n", "\r": "\\r", "\t": "\\t"}
    shown = ""
    for character in text:
        if character in escapes:
            shown += escapes[character]
        elif character < " " or character == "\x7f":
            shown += "\\x%02x" % ord(character)
        else:
            shown += character
    return '"' + shown + '"'


def main():
    parser = argparse.ArgumentParser(description="Decode one report of the Vesk controller.")
    parser.add_argument("--decimal", action="store_true", help="give the plug-in -decimal")
    parser.add_argument("--object", action="store_true", help="list the object, not the text")
    parser.add_argument("type", metavar="TYPE", choices=["input", "output", "feature"])
    parser.add_argument("bytes", metavar="HEXBYTES", nargs="+", help="the report, its ID first")
    arguments = parser.parse_args()

    plugin = ReferencePlugin()
    plugin.parse_args(["-decimal"] if arguments.decimal else [])
    report_type = {"input": INPUT, "output": OUTPUT, "feature": FEATURE}[arguments.type]
    try:
        report = bytes.fromhex(" ".join(arguments.bytes))
        whole_report = (report, report[0], report_type, len(report))
        if arguments.object:
            sys.stdout.write(dump_object(plugin.report_to_object(*whole_report)))
        elif plugin.parse_report(*whole_report):
            sys.stdout.buffer.write(plugin.printed)
        else:
            sys.exit("nothing to show for this report")
    except (PlatformError, ValueError, IndexError) as error:
        sys.exit("the report cannot be decoded: %s" % error)


if __name__ == "__main__":
    main()
