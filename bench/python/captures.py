"""Image frames as a controller sends them, in the forms that the benchmark reads."""

import numpy as np

SENSORS = 48
KEYS = ("D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q")

FIELDS = [
    ("report_id", "u1"),
    ("COOKIE", "u1"),
    ("FLAGS", "<u2"),
    ("FRAME_NUMBER", "<u4"),
    ("FRAME_PARAMS", "<u4"),
    ("TIMESTAMP_MS", "<u4"),
    *((key, "<i4", (SENSORS,)) for key in KEYS),
    ("TMON_PARAMS", "<u4"),
    ("TMON_DEG_C", "<f4"),
]

# As the report's bytes stand, and as a program wants them: each number where its type belongs.
PACKED = np.dtype(FIELDS)
ALIGNED = np.dtype(FIELDS, align=True)

START_SECONDS = 1_700_000_000
FRAME_MICROSECONDS = 8333
FIRST_FRAME = 4000

# A packet of usbmon in a file of pcap: the file's header of it, then 64 bytes of usbmon's own.
USBMON = [
    ("seconds", "<u4"),
    ("microseconds", "<u4"),
    ("kept", "<u4"),
    ("length", "<u4"),
    ("request", "<u8"),
    ("event", "u1"),
    ("transfer", "u1"),
    ("endpoint", "u1"),
    ("device", "u1"),
    ("bus", "<u2"),
    ("no_setup", "u1"),
    ("no_data", "u1"),
    ("event_seconds", "<i8"),
    ("event_microseconds", "<i4"),
    ("status", "<i4"),
    ("urb_length", "<u4"),
    ("data_length", "<u4"),
    ("setup", "V8"),
    ("interval", "<i4"),
    ("start_frame", "<i4"),
    ("transfer_flags", "<u4"),
    ("iso_descriptors", "<u4"),
]
PCAP_HEADER = np.array(
    (0xA1B2C3D4, 2, 4, 0, 0, 262144, 220),  # link type 220: usbmon with 64 bytes
    "<u4, <u2, <u2, <i4, <u4, <u4, <u4").tobytes()
USB_HEADER = 64
# A frame there is a request, which holds nothing, and its completion with the report.
EXCHANGE = np.dtype([("request", USBMON), ("completion", USBMON), ("report", PACKED)])


def frames(count, seed=1):
    """As many frames, all different: noise of some ten thousand around each channel's level."""
    chance = np.random.default_rng(seed)
    made = np.zeros(count, PACKED)
    made["report_id"] = 0x76
    made["COOKIE"] = 0x2A
    made["FLAGS"] = 3
    made["FRAME_NUMBER"] = np.arange(count) + FIRST_FRAME
    made["FRAME_PARAMS"] = 0x00010400
    made["TIMESTAMP_MS"] = np.arange(count) * 25 // 3
    for key in KEYS:
        level = chance.integers(-3000, 3000, SENSORS)
        for begin in range(0, count, 10_000):
            part = made[key][begin:begin + 10_000]
            part[:] = np.round(chance.normal(level, 20_000, part.shape))
    made["TMON_PARAMS"] = 0x1F10
    made["TMON_DEG_C"] = 31 + np.cumsum(chance.integers(-1, 2, count)) / 64
    return made


def write_binary(path, made):
    made.tofile(path)


def write_hex(path, made):
    with path.open("w") as file:
        for frame in made:
            file.write(frame.tobytes().hex(" ") + "\n")


def write_usbmon(path, made):
    with path.open("wb") as file:
        file.write(PCAP_HEADER)
        for begin in range(0, len(made), 10_000):
            _exchanges(made[begin:begin + 10_000]).tofile(file)


def microseconds(made):
    """When each frame comes, since the first one's second."""
    return (made["FRAME_NUMBER"].astype(np.int64) - FIRST_FRAME) * FRAME_MICROSECONDS


def _exchanges(made):
    packets = np.zeros(len(made), EXCHANGE)
    packets["report"] = made
    number, times = made["FRAME_NUMBER"].astype(np.uint64), microseconds(made)
    for part, event, data in (("request", b"S", 0), ("completion", b"C", PACKED.itemsize)):
        packet = packets[part]
        packet["event"] = event[0]
        packet["seconds"] = packet["event_seconds"] = START_SECONDS + times // 1_000_000
        packet["microseconds"] = packet["event_microseconds"] = times % 1_000_000
        packet["kept"] = packet["length"] = USB_HEADER + data
        packet["request"] = 0xFFFF_8880_0000_0000 + 0x100 * (number % 8)
        packet["transfer"], packet["endpoint"] = 1, 0x81
        packet["bus"], packet["device"] = 1, 5
        packet["no_setup"] = ord("-")
        packet["no_data"] = 0 if data else ord("<")
        packet["urb_length"], packet["data_length"] = PACKED.itemsize, data
        packet["status"] = 0 if data else -115  # in progress
        packet["interval"] = 1
    return packets


WRITERS = {"binary": write_binary, "usbmon": write_usbmon, "hex": write_hex}
NAMES = {"binary": "frames.bin", "usbmon": "frames.pcap", "hex": "frames.hex"}
