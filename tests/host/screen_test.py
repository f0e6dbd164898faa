"""-o screen: what stands on a terminal, as a terminal emulator sees it, and that it is given back.

The emulator is pyte, which knows nothing of the second screen that a program draws on.
"""

import fcntl
import os
import pty
import re
import select
import signal
import struct
import termios
import time
import unittest

import pyte

from support import (
    ALL_DECODED,
    BAD_USAGE,
    FORMS,
    HostTest,
    PROGRAM,
    Run,
    SOME_REFUSED,
    hex_lines,
    image,
    packet,
)

TAKE = b"\x1b[?1049h\x1b[?25l\x1b[?7l"
GIVE_BACK = b"\x1b[0m\x1b[?7h\x1b[?25h\x1b[?1049l"

# The ends of the scale, in all of its colours and in those of a terminal of 256: 17 and 229 of the usual
# table are 0, 0, 95 and 255, 255, 175.
LOWEST, HIGHEST = "0a1046", "fdec6e"
LOWEST_256, HIGHEST_256 = "00005f", "ffffaf"

LABEL = 13  # columns in front of the cells: the room of a short scale and a gap


def frame(number, *scans):
    """An image of four scans of 48 samples; those that are not given are zeros."""
    scans = list(scans) + [[0] * 48] * (4 - len(scans))
    header = struct.pack("<BBHIII", 0x76, 1, 2, number, 3, 4)
    return header + b"".join(struct.pack("<48i", *scan) for scan in scans) + struct.pack("<If", 5, 25.5)


RAMP = list(range(48))


def lead(command, variables, terminal, stdin, to_parent, from_parent):
    """Leads a session, in which it runs a command."""
    os.setsid()
    fcntl.ioctl(terminal, termios.TIOCSCTTY, 0)
    program = os.fork()
    if program == 0:
        os.setpgid(0, 0)
        signal.signal(signal.SIGTTOU, signal.SIG_IGN)
        os.tcsetpgrp(terminal, os.getpgrp())
        signal.signal(signal.SIGTTOU, signal.SIG_DFL)
        for number, descriptor in enumerate((stdin, terminal, terminal)):
            os.dup2(descriptor, number)
        os.closerange(3, 100)
        os.execve(command[0], command, variables)
    os.close(terminal)
    os.close(stdin)
    os.write(to_parent, struct.pack("i", program))
    status = os.waitstatus_to_exitcode(os.waitpid(program, 0)[1])
    os.write(to_parent, struct.pack("i", status))
    os.read(from_parent, 1)  # until the test has seen all that stands on the terminal
    os._exit(0)


class Terminal:
    """A program on a terminal of its own, which a shell would have started: it does not lead the session,
    at whose leader's death the terminal is hung up."""

    def __init__(self, *arguments, columns=80, lines=24, stdin=None, environment=None):
        self.screen = pyte.Screen(columns, lines)
        self.stream = pyte.ByteStream(self.screen)
        self.bytes = b""
        self.master, slave = pty.openpty()
        self.resize(columns, lines, slave)
        self.from_leader, to_parent = os.pipe()
        from_parent, self.to_leader = os.pipe()
        self.leader = os.fork()
        if self.leader == 0:
            try:
                os.close(self.master)
                os.close(self.to_leader)
                stdin = os.open(os.devnull, os.O_RDONLY) if stdin is None else stdin
                command = [PROGRAM, *map(str, arguments)]
                variables = {"COLORTERM": "truecolor", "NO_COLOR": "", **(environment or {})}
                lead(command, {**os.environ, **variables}, slave, stdin, to_parent, from_parent)
            finally:
                os._exit(1)
        for descriptor in (slave, to_parent, from_parent):
            os.close(descriptor)
        self.pid = struct.unpack("i", os.read(self.from_leader, 4))[0]

    def resize(self, columns, lines, descriptor=None):
        fcntl.ioctl(descriptor or self.master, termios.TIOCSWINSZ, struct.pack("HHHH", lines, columns, 0, 0))
        self.screen.resize(lines, columns)

    def read(self, until=None, seconds=600):
        """Reads to the end, or until `until` is there."""
        end = time.monotonic() + seconds
        while until is None or until not in self.bytes:
            if not select.select([self.master], [], [], max(0, end - time.monotonic()))[0]:
                raise TimeoutError(f"{until!r} never came: {self.bytes!r}")
            try:
                data = os.read(self.master, 65536)
            except OSError:
                data = b""
            if not data:
                if until is not None:
                    raise EOFError(f"{until!r} never came: {self.bytes!r}")
                return
            self.bytes += data

    def kill(self, number):
        os.kill(self.pid, number)

    def finish(self):
        self.read()
        status = struct.unpack("i", os.read(self.from_leader, 4))[0]
        for descriptor in (self.to_leader, self.from_leader, self.master):
            os.close(descriptor)
        os.waitpid(self.leader, 0)
        return status

    def show(self):
        """The lines that stay when the program has given the terminal back: the last picture."""
        _, _, stays = self.bytes.partition(GIVE_BACK)
        self.stream.feed(stays)
        return [line.rstrip() for line in self.screen.display]

    def show_before(self, end):
        """The lines that stood on the terminal before `end` came the last time."""
        self.stream.feed(self.bytes[: self.bytes.rindex(end)])
        return [line.rstrip() for line in self.screen.display]

    def ground(self, line, column):
        return self.screen.buffer[line][column].bg


def lightness(colour):
    """Relative luminance of "rrggbb", by the definition of sRGB."""
    parts = [int(colour[i : i + 2], 16) / 255 for i in (0, 2, 4)]
    linear = [part / 12.92 if part <= 0.04045 else ((part + 0.055) / 1.055) ** 2.4 for part in parts]
    return 0.2126 * linear[0] + 0.7152 * linear[1] + 0.0722 * linear[2]


def state(pid):
    """The state of a process, by a letter: T is stopped."""
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        return file.read().rpartition(")")[2].split()[0]


class Picture(HostTest):
    def drawn(self, data, **settings):
        terminal = Terminal("-o", "screen", self.file("f.bin", data), **settings)
        self.assertEqual(terminal.finish(), ALL_DECODED, terminal.bytes)
        return terminal, terminal.show()

    def test_samples_have_their_colours(self):
        terminal, lines = self.drawn(frame(7, RAMP, RAMP[::-1]))
        self.assertRegex(lines[0], r"f\.bin: byte 0, report 0x76 \(input\)$")
        self.assertEqual([line[:8] for line in lines[1:13:3]], ["D_SCAN_I", "D_SCAN_Q", "P_SCAN_I", "P_SCAN_Q"])
        self.assertEqual([line[:LABEL].rstrip() for line in lines[2:14:3]], ["0 to 47"] * 2 + ["0 to 0"] * 2)
        self.assertEqual(terminal.ground(1, LABEL), LOWEST)
        self.assertEqual(terminal.ground(1, LABEL + 47), HIGHEST)
        self.assertEqual(terminal.ground(4, LABEL), HIGHEST)
        self.assertEqual(terminal.ground(4, LABEL + 47), LOWEST)
        self.assertEqual(terminal.ground(1, LABEL + 48), "default")
        colours = [terminal.ground(1, LABEL + i) for i in range(48)]
        self.assertEqual(colours, sorted(colours, key=lightness))
        self.assertEqual(len(set(colours)), 32)

    def test_a_half_line_ends_a_band(self):
        terminal, lines = self.drawn(frame(7, RAMP))
        cell = terminal.screen.buffer[3][LABEL + 47]
        self.assertEqual((cell.data, cell.fg, cell.bg), ("\u2580", HIGHEST, "default"))

    def test_cells_have_numbers(self):
        _, lines = self.drawn(frame(7))
        for number in range(0, 48, 8):
            column = LABEL + number
            self.assertEqual(lines[13][column : column + 2].strip(), str(number))

    def test_cells_are_as_wide_as_there_is_room(self):
        terminal, lines = self.drawn(frame(7, RAMP), columns=LABEL + 96)
        self.assertEqual(terminal.ground(1, LABEL + 94), HIGHEST)
        self.assertEqual(terminal.ground(1, LABEL + 95), HIGHEST)
        self.assertEqual(lines[13].index("40"), LABEL + 80)

    def test_long_arrays_go_on_in_the_next_line(self):
        terminal, lines = self.drawn(struct.pack("<B3sIII", 0x77, b"ADC", 5, 0, 0) + bytes(2048), columns=84, lines=60)
        starts = [line[:LABEL].strip() for line in lines if line.startswith("from ")]
        self.assertEqual(starts, [f"from {number}" for number in range(64, 512, 64)])

    def test_terminals_of_256_colours(self):
        terminal, _ = self.drawn(frame(7, RAMP), environment={"COLORTERM": ""})
        self.assertEqual(terminal.ground(1, LABEL), LOWEST_256)
        self.assertEqual(terminal.ground(1, LABEL + 47), HIGHEST_256)
        colours = [terminal.ground(1, LABEL + i) for i in range(48)]
        self.assertEqual(colours, sorted(colours, key=lightness))

    def test_shades_where_colours_are_not_wanted(self):
        terminal, lines = self.drawn(frame(7, RAMP), environment={"NO_COLOR": "1"})
        self.assertEqual(lines[1][LABEL], " ")
        self.assertEqual(lines[1][LABEL + 47 :], "\u2588")
        self.assertNotRegex(terminal.bytes, rb"\x1b\[[34]8")

    def test_values_and_losses_stand_below(self):
        _, lines = self.drawn(frame(7) + frame(8) + frame(11) + packet(1))
        self.assertEqual(lines[14], "FRAME_NUMBER 11, 2 lost, 3 frames, 1 other reports")
        self.assertRegex(lines[15], r"^TMON_DEG_C 25\.5  COOKIE 1  FLAGS 2  FRAME_PARAMS 3  TIMESTAMP_MS 4  ")

    def test_rate_by_the_times_of_the_reports(self):
        lines = [b"D: 0\n"]
        for number in range(10):
            data = frame(number)
            lines.append(b"E: %013.6f %d %s\n" % (5 + number / 100, len(data), data.hex(" ").encode()))
        _, shown = self.drawn(b"".join(lines))
        self.assertEqual(shown[14], "FRAME_NUMBER 9, 100.0 a second, 0 lost, 10 frames")

    def test_while_they_come_and_when_they_are_over(self):
        terminal, lines = self.drawn(frame(7, RAMP), columns=120)
        during = Terminal("-o", "screen", self.file("f.bin", frame(7, RAMP)), columns=120)
        self.assertEqual(during.finish(), ALL_DECODED)
        self.assertEqual(during.show_before(GIVE_BACK), lines)
        self.assertEqual(during.ground(1, LABEL + 95), terminal.ground(1, LABEL + 95))
        self.assertEqual(during.ground(1, LABEL + 95), HIGHEST)

    def test_small_terminals(self):
        for columns, lines, said in ((20, 24, "too narrow for the picture"), (80, 6, "too low for all")):
            with self.subTest(columns=columns, lines=lines):
                _, shown = self.drawn(frame(7), columns=columns, lines=lines)
                self.assertIn(said, "".join(shown))
        self.drawn(frame(7), columns=1, lines=1)

    def test_nothing_to_draw_leaves_the_terminal_alone(self):
        terminal = Terminal("-o", "screen", self.file("state.bin", b"\xde\x01"))
        self.assertEqual(terminal.finish(), ALL_DECODED)
        self.assertEqual(terminal.bytes, b"")


class Messages(HostTest):
    def test_errors_stand_below_and_again_at_the_end(self):
        path = self.file("f.hex", hex_lines(image(1), b"\x99\x00", image(2)))
        terminal = Terminal("-o", "screen", path, columns=150)
        self.assertEqual(terminal.finish(), SOME_REFUSED)
        _, after = terminal.bytes.split(GIVE_BACK)
        lines = terminal.show()
        self.assertEqual(lines[14], "FRAME_NUMBER 2, 0 lost, 2 frames, 1 errors")
        self.assertRegex(lines[16], r"f\.hex:2: report 0x99: unknown")
        self.assertRegex(after.splitlines()[-1], rb"f\.hex:2.*report 0x99: unknown")  # as without a picture
        self.assertEqual(after.count(b"report 0x99: unknown"), 2)

    def test_what_a_file_says_does_not_steer_the_terminal(self):
        path = self.file("f\x1b[31m.bin", frame(1))
        terminal = Terminal("-o", "screen", path)
        self.assertEqual(terminal.finish(), ALL_DECODED)
        self.assertIn(b"f\\u001b[31m.bin", terminal.bytes)
        self.assertNotIn(b"\x1b[31m", terminal.bytes)

    def test_only_on_a_terminal(self):
        run = Run("-o", "screen", FORMS / "tour.hid")
        message = (
            "vesk-decode: -o screen draws on a terminal, and standard output is none; --help shows the options\n"
        )
        self.expect(run, BAD_USAGE, b"", message)


class Restored(HostTest):
    def follow(self):
        """A program that has drawn a frame and waits for the next one."""
        reading, self.writing = os.pipe()
        os.set_inheritable(self.writing, False)
        terminal = Terminal("-o", "screen", stdin=reading)
        os.close(reading)
        os.write(self.writing, frame(1) + b"\x76")  # a frame is whole when it is known what follows
        terminal.read(until=b"FRAME_NUMBER 1,")
        self.assertIn(TAKE, terminal.bytes)
        return terminal

    def end(self, terminal):
        status = terminal.finish()
        os.close(self.writing)
        self.assertEqual(terminal.bytes.count(TAKE), terminal.bytes.count(GIVE_BACK))
        self.assertGreater(terminal.bytes.rindex(GIVE_BACK), terminal.bytes.rindex(TAKE))
        return status

    def test_by_whatever_signal_it_ends(self):
        signals = [signal.SIGINT, signal.SIGTERM, signal.SIGHUP, signal.SIGQUIT, signal.SIGKILL]
        for number in signals:
            with self.subTest(signal=number):
                terminal = self.follow()
                terminal.kill(number)
                self.assertEqual(self.end(terminal), -number)

    def test_while_it_is_stopped(self):
        terminal = self.follow()
        terminal.kill(signal.SIGTSTP)
        terminal.read(until=GIVE_BACK)
        end = time.monotonic() + 600
        while state(terminal.pid) != "T":
            self.assertLess(time.monotonic(), end, "it doesn't stop")
            time.sleep(0.01)
        terminal.kill(signal.SIGCONT)
        terminal.bytes = terminal.bytes[terminal.bytes.rindex(GIVE_BACK) :]
        terminal.read(until=TAKE)
        terminal.read(until=b"FRAME_NUMBER 1,")
        terminal.bytes = TAKE + terminal.bytes[terminal.bytes.rindex(TAKE) + len(TAKE) :]
        terminal.kill(signal.SIGINT)
        self.assertEqual(self.end(terminal), -signal.SIGINT)

    def test_another_size_is_drawn_at_once(self):
        terminal = self.follow()
        terminal.bytes = b""
        terminal.resize(120, 30)
        terminal.read(until=b"\x1b[?2026l")
        terminal.bytes = TAKE + terminal.bytes
        terminal.kill(signal.SIGTERM)
        self.assertEqual(self.end(terminal), -signal.SIGTERM)

    def test_every_picture_is_one_update(self):
        terminal = self.follow()
        os.write(self.writing, frame(2)[1:] + b"\x76")
        terminal.read(until=b"FRAME_NUMBER 2,")
        terminal.kill(signal.SIGTERM)
        self.end(terminal)
        picture = re.compile(rb"\x1b\[\?2026h\x1b\[H(?:(?!\x1b\[\?2026).)*\x1b\[\?2026l", re.S)
        drawn = terminal.bytes[: terminal.bytes.rindex(GIVE_BACK)]
        self.assertEqual(picture.sub(b"", drawn), TAKE + b"\x1b[2J")

    def test_no_process_stays(self):
        terminal = self.follow()
        group = terminal.pid
        terminal.kill(signal.SIGKILL)
        self.assertEqual(self.end(terminal), -signal.SIGKILL)
        end = time.monotonic() + 600
        while True:
            try:
                os.killpg(group, 0)
            except ProcessLookupError:
                return
            self.assertLess(time.monotonic(), end, "a process is still there")
            time.sleep(0.01)


if __name__ == "__main__":
    unittest.main()
