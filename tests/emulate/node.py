"""What a program does with a node of hidraw, for the scripts that run under emulation."""

import errno
import fcntl
import os
import select
import struct
import time

NODE = "/dev/hidraw9"
ENTRIES = "/sys/class/hidraw"
READ, WRITE = 2, 1


def number(direction, request, size):
    """A request's number, as <linux/hidraw.h> makes it."""
    return direction << 30 | size << 16 | ord("H") << 8 | request


def call(node, direction, request, argument):
    """What ioctl gives back, and the argument's bytes after it."""
    buffer = bytearray(argument)
    result = fcntl.ioctl(node, number(direction, request, len(buffer)), buffer, True)
    return result, bytes(buffer)


def descriptor(node):
    size, = struct.unpack("i", call(node, READ, 1, bytes(4))[1])
    return call(node, READ, 2, struct.pack("I", size) + bytes(4096))[1][4:4 + size]


def info(node):
    return struct.unpack("IHH", call(node, READ, 3, bytes(8))[1])


def text(node, request, room=256):
    result, buffer = call(node, READ, request, bytes(room))
    return buffer[:result]


def feature(node, report_id, room=4096, request=7):
    """The report, or the name of the error. Python's other threads wait if the room is above 1024."""
    try:
        result, buffer = call(node, READ | WRITE, request, bytes([report_id]) + bytes(room - 1))
        return buffer[:result].hex(" ")
    except OSError as error:
        return errno.errorcode[error.errno]


def failure(function, *arguments):
    """The name of the error that a call ends with; None if it succeeds."""
    try:
        function(*arguments)
    except OSError as error:
        return errno.errorcode[error.errno]
    return None


def opened(flags=os.O_RDWR, path=NODE):
    return os.open(path, flags)


def is_readable(node, seconds):
    return bool(select.select([node], [], [], seconds)[0])


def numbers_until_the_end(node):
    """The numbers of all reports that come, and of those that wait, until the device is unplugged: by then
    all are sent."""
    numbers = []
    while True:
        try:
            report = os.read(node, 70000)
        except OSError as error:
            assert error.errno == errno.EIO, error
            return numbers
        numbers.append(report[1] | report[2] << 8)


def wait_for(condition):
    end = time.monotonic() + 240
    while not condition():
        if time.monotonic() > end:
            raise SystemExit("it does not come to pass")
        time.sleep(0.005)
