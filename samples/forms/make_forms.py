#!/usr/bin/env python3
"""Write the reports of ../tour.hex in every other form that vesk-decode reads.

They are made here and not by the tools that usually make them, so that anybody can make them again
and gets the same bytes. Where xxd, hexdump and od are at hand, a test compares.
"""

import struct
import sys
from pathlib import Path

HERE = Path(__file__).resolve().parent
TYPES = {"input": 0, "output": 1, "feature": 2}

START_SECONDS = 1_700_000_000
INTERVAL_MICROSECONDS = 16_667
BUS, DEVICE, INTERRUPT_ENDPOINT, CONTROL_ENDPOINT = 1, 5, 0x81, 0x80
GET_REPORT, GET_DESCRIPTOR = bytes([0xA1, 0x01]), bytes([0x80, 0x06, 0x00, 0x01, 0, 0, 18, 0])


def read_reports(path):
    """(type, bytes) of each report in a file of hex lines that begin with the type."""
    for line in path.read_text().splitlines():
        if line and not line.startswith("#"):
            kind, digits = line.split(maxsplit=1)
            yield kind, bytes.fromhex(digits)


def rows(data, width=16):
    for offset in range(0, len(data), width):
        yield offset, data[offset : offset + width]


def printable(data):
    return "".join(chr(byte) if 0x20 <= byte <= 0x7E else "." for byte in data)


def xxd(data):
    lines = []
    for offset, row in rows(data):
        groups = " ".join(row[i : i + 2].hex() for i in range(0, len(row), 2))
        lines.append(f"{offset:08x}: {groups:<39}  {printable(row)}")
    return "\n".join(lines) + "\n"


def xxd_plain(data):
    return "".join(row.hex() + "\n" for _, row in rows(data, 30))


def hexdump_canonical(data):
    """As hexdump -C: of equal rows the first, and one line with an asterisk."""
    lines, previous = [], None
    for offset, row in rows(data):
        if row == previous:
            if lines[-1] != "*":
                lines.append("*")
            continue
        previous = row
        halves = f"{row[:8].hex(' '):<23}  {row[8:].hex(' '):<23}"
        lines.append(f"{offset:08x}  {halves}  |{printable(row)}|")
    return "\n".join(lines) + f"\n{len(data):08x}\n"


def od(data):
    """As od -A x -t x1 -v."""
    lines = [f"{offset:06x} {row.hex(' ')}" for offset, row in rows(data)]
    return "\n".join(lines) + f"\n{len(data):06x}\n"


def times(count):
    """(seconds, microseconds) of that many reports, one a frame."""
    for i in range(count):
        yield divmod(START_SECONDS * 1_000_000 + i * INTERVAL_MICROSECONDS, 1_000_000)


def recording(reports):
    lines = [
        "# made by make_forms.py",
        "D: 0",
        "R: 9 06 00 ff 09 01 a1 01 c0 00",
        "N: Sample controller",
        "P: usb-0000:00:14.0-1/input0",
        "I: 3 0000 0001",
    ]
    for (kind, data), (seconds, micros) in zip(reports, times(len(reports))):
        prefix = {"input": "E", "feature": "F"}[kind]
        lines.append(f"{prefix}: {seconds:06d}.{micros:06d} {len(data)} {data.hex(' ')}")
    return "\n".join(lines) + "\n"


def arrays(reports):
    """As somebody pastes them into a program."""
    lines = ["/* Made by make_forms.py. */", "#include <stdint.h>"]
    for number, (kind, data) in enumerate(reports):
        lines += ["", f"static const uint8_t report_{number}[{len(data)}] = {{  // {kind}"]
        lines += [f"    {', '.join(f'0x{byte:02X}' for byte in row)}," for _, row in rows(data, 12)]
        lines.append("};")
    return "\n".join(lines) + "\n"


def table(reports):
    """As a logic analyzer exports them."""
    lines = ["name,type,start_time,duration,data"]
    for number, (_, data) in enumerate(reports):
        lines.append('"I2C","start",' + f"{number}.016600300,0.000000100,")
        lines.append('"I2C","data",' + f"{number}.016667400,0.000200000,0x{data.hex().upper()}")
    return "\n".join(lines) + "\n"


def kernel_log(reports):
    """As the kernel logs rows of bytes, among lines of its own."""
    lines = ["[    4.181002] usb 1-3: new high-speed USB device number 5 using xhci_hcd"]
    for number, (_, data) in enumerate(reports):
        stamp = f"[{12 + number:5}.{number * 1001:06}]"
        lines.append(f"{stamp} vesk 0018:1209:0001.0001: got a report")
        for offset, row in rows(data):
            lines.append(f"{stamp} vesk: {offset:08x}: {row.hex(' '):<47}  {printable(row)}")
    return "\n".join(lines) + "\n"


def device_log(reports):
    """As a telephone logs them: a line each."""
    lines = ["--------- beginning of main"]
    for number, (_, data) in enumerate(reports):
        stamp = f"11-21 17:02:{number:02}.125  1234  1250"
        lines.append(f"{stamp} I touch   : {len(data)} bytes")
        lines.append(f"{stamp} D touch   : Received: {data.hex(' ')}")
    return "\n".join(lines) + "\n"


class Transfers:
    """USB packets of the reports, with a request for a descriptor before them, whose header the
    subclasses write."""

    def packets(self, reports):
        moments = times(len(reports) + 1)
        yield from self.request(next(moments), 0x100, GET_DESCRIPTOR, bytes(18))
        for number, ((kind, data), moment) in enumerate(zip(reports, moments)):
            request = 0xFFFF_8880_0000_0000 + 0x100 * number
            if kind == "input":
                yield moment, self.interrupt(moment, request, b"", completed=False)
                yield moment, self.interrupt(moment, request, data, completed=True)
            else:
                usb_type = TYPES[kind] + 1
                setup = GET_REPORT + bytes([data[0], usb_type, 0, 0]) + struct.pack("<H", 4096)
                yield from self.request(moment, request, setup, data)

    def request(self, moment, request, setup, data):
        yield moment, self.control(moment, request, setup, completed=False)
        yield moment, self.control(moment, request, data, completed=True)


class Usbmon(Transfers):
    """Linux: 48 bytes, or 64 where the buffer is mapped."""

    IN_PROGRESS = -115

    def __init__(self, mapped):
        self.tail = struct.pack("<iiII", 0, 0, 0, 0) if mapped else b""

    def header(self, moment, request, transfer, endpoint, setup, data, completed):
        return struct.pack(
            "<QBBBBHbbqiiII8s", request, ord("C" if completed else "S"), transfer, endpoint, DEVICE,
            BUS, 0 if setup else ord("-"), 0 if data else ord("<"), *moment,
            0 if completed else self.IN_PROGRESS, len(data), len(data), setup,
        ) + self.tail + data

    def interrupt(self, moment, request, data, completed):
        return self.header(moment, request, 1, INTERRUPT_ENDPOINT, b"", data, completed)

    def control(self, moment, request, content, completed):
        setup, data = (b"", content) if completed else (content, b"")
        return self.header(moment, request, 2, CONTROL_ENDPOINT, setup, data, completed)


class UsbPcap(Transfers):
    """Windows: 27 bytes, and for control transfers one more with their stage."""

    SETUP, COMPLETE = 0, 3

    def header(self, request, transfer, endpoint, stage, data, completed):
        extra = b"" if stage is None else bytes([stage])
        return struct.pack(
            "<HQIHBHHBBI", 27 + len(extra), request, 0, 9, int(completed), BUS, DEVICE, endpoint,
            transfer, len(data),
        ) + extra + data

    def interrupt(self, _moment, request, data, completed):
        return self.header(request, 1, INTERRUPT_ENDPOINT, None, data, completed)

    def control(self, _moment, request, content, completed):
        stage = self.COMPLETE if completed else self.SETUP
        return self.header(request, 2, CONTROL_ENDPOINT, stage, content, completed)


def usbhid_dump(reports):
    """As usbhid-dump -e all: the report descriptor, and the stream of input reports."""
    inputs = [data for kind, data in reports if kind == "input"]
    blocks = [("DESCRIPTOR", bytes.fromhex("0600ff0901a101c0")), *(("STREAM", data) for data in inputs)]
    text = ""
    for (name, data), (seconds, micros) in zip(blocks, times(len(blocks))):
        text += f"{BUS:03}:{DEVICE:03}:000:{name:<16} {seconds}.{micros:06}\n"
        text += "".join(f" {row.hex(' ').upper()}\n" for _, row in rows(data)) + "\n"
    return text


def usbmon_text(reports):
    """As /sys/kernel/debug/usb/usbmon/1u shows them: 32 bytes of each transfer at most."""
    lines = []
    for number, (kind, data) in enumerate(reports):
        tag, time = f"ffff88800000{number:04x}", 1463094432 + number * INTERVAL_MICROSECONDS
        words = " ".join(group.hex() for _, group in rows(data[:32], 4))
        if kind == "input":
            lines.append(f"{tag} {time} S Ii:{BUS}:{DEVICE:03}:1 -115:8 4096 <")
            lines.append(f"{tag} {time + 400} C Ii:{BUS}:{DEVICE:03}:1 0:8 {len(data)} = {words}")
        else:
            value = TYPES[kind] + 1 << 8 | data[0]
            lines.append(f"{tag} {time} S Ci:{BUS}:{DEVICE:03}:0 s a1 01 {value:04x} 0000 1000 4096 <")
            lines.append(f"{tag} {time + 400} C Ci:{BUS}:{DEVICE:03}:0 0 {len(data)} = {words}")
    return "\n".join(lines) + "\n"


def packet_rows(packets):
    """As tshark -x."""
    blocks = []
    for _, packet in packets:
        lines = []
        for offset, row in rows(packet):
            text = printable(row)
            lines.append(f"{offset:04x}  {row.hex(' '):<47}   {text}")
        blocks.append("\n".join(lines) + "\n")
    return "\n".join(blocks) + "\n"


def pcap(link_type, packets):
    parts = [struct.pack("<IHHiIII", 0xA1B2C3D4, 2, 4, 0, 0, 262144, link_type)]
    for (seconds, micros), packet in packets:
        parts.append(struct.pack("<IIII", seconds, micros, len(packet), len(packet)) + packet)
    return b"".join(parts)


def pcapng_block(kind, body):
    body += bytes(-len(body) % 4)
    length = len(body) + 12
    return struct.pack("<II", kind, length) + body + struct.pack("<I", length)


def pcapng(link_type, packets):
    return pcapng_of_links([link_type], ((0, moment, packet) for moment, packet in packets))


def pcapng_of_links(link_types, packets):
    """An interface for each link type, and packets that begin with the number of theirs."""
    parts = [pcapng_block(0x0A0D0D0A, struct.pack("<IHHq", 0x1A2B3C4D, 1, 0, -1))]
    for link_type in link_types:
        parts.append(pcapng_block(1, struct.pack("<HHI", link_type, 0, 262144)))
    for interface, (seconds, micros), packet in packets:
        high, low = divmod(seconds * 1_000_000 + micros, 1 << 32)
        head = struct.pack("<IIIII", interface, high, low, len(packet), len(packet))
        parts.append(pcapng_block(6, head + packet))
    return b"".join(parts)


def two_links(reports):
    """The short reports, on usbmon and on USBPcap in turn, as of two machines."""
    short = [(kind, data) for kind, data in reports if len(data) <= 64]
    linux, windows = Usbmon(mapped=False).packets(short), UsbPcap().packets(short)
    packets = []
    for (moment, first), (_, second) in zip(linux, windows):
        packets += [(0, moment, first), (1, moment, second)]
    return pcapng_of_links([189, 249], packets)


def forms(reports):
    """File name and content of every form."""
    data = b"".join(content for _, content in reports)
    yield "tour.bin", data
    yield "tour.xxd", xxd(data).encode()
    yield "tour.xxd-p", xxd_plain(data).encode()
    yield "tour.hexdump", hexdump_canonical(data).encode()
    yield "tour.od", od(data).encode()
    yield "tour.hid", recording(reports).encode()
    yield "tour-array.txt", arrays(reports).encode()
    yield "tour.csv", table(reports).encode()
    yield "tour-dmesg.log", kernel_log(reports).encode()
    yield "tour-logcat.log", device_log(reports).encode()
    yield "tour-usbhid-dump.txt", usbhid_dump(reports).encode()
    short = [(kind, content) for kind, content in reports if len(content) <= 32]
    yield "tour-usbmon.txt", usbmon_text(short).encode()
    yield "tour-tshark.txt", packet_rows(Usbmon(mapped=True).packets(reports)).encode()
    yield "tour-tshark-usbpcap.txt", packet_rows(UsbPcap().packets(reports)).encode()
    yield "tour-usbmon.pcap", pcap(189, Usbmon(mapped=False).packets(reports))
    yield "tour-usbmon-mapped.pcapng", pcapng(220, Usbmon(mapped=True).packets(reports))
    yield "tour-usbpcap.pcap", pcap(249, UsbPcap().packets(reports))
    yield "two-links.pcapng", two_links(reports)


def main():
    folder = Path(sys.argv[1]) if len(sys.argv) > 1 else HERE
    for name, content in forms(list(read_reports(HERE.parent / "tour.hex"))):
        (folder / name).write_bytes(content)


if __name__ == "__main__":
    main()
