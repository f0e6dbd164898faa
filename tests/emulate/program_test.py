#!/usr/bin/env python3
"""The program: its command line, the command that it runs, its ends; and that nothing else changes."""

import os
import signal
import struct
import subprocess
import sys
import time
import unittest

from support import (
    BAD_USAGE, CANNOT_EMULATE, DECODER, EMULATOR, FEATURES, PROBE, SAMPLES, EmulateTest, counts, inputs)


class Usage(EmulateTest):
    def refused(self, *words):
        status, out, err = self.run_words(*words)
        self.assertEqual((status, out), (BAD_USAGE, ""), err)
        self.assertRegex(err, r"^vesk-emulate: .*; --help shows the options\n$")
        return err

    def test_what_makes_no_sense(self):
        capture = self.file("a.hex", FEATURES)
        run = ["--", "true"]
        for words, part in [
                ([], "which CAPTURE"),
                (run, "which CAPTURE"),
                ([capture], "which command"),
                ([capture, "--"], "which command"),
                (["--rate", "0", capture, *run], "--rate 0"),
                (["--rate", "-1", capture, *run], "--rate"),
                (["--rate", "100001", capture, *run], "--rate 100001"),
                (["--rate", "1e3", capture, *run], "--rate 1e3"),
                (["--rate=", capture, *run], "empty"),
                (["--rate", "5", "--as-fast-as-possible", capture, *run], "choose one"),
                (["--fault", "melt=1", capture, *run], "choose one of stall"),
                (["--fault", "stall", capture, *run], "an ID is"),
                (["--fault", "stall=256", capture, *run], "an ID is"),
                (["--fault", "late=1", capture, *run], "how late"),
                (["--fault", "late=1:x", capture, *run], "a time is"),
                (["--unplug-after", "0", capture, *run], "1 or more"),
                (["--return-after", "1", capture, *run], "never unplugged"),
                (["--appear-after", "-1", capture, *run], "--appear-after"),
                (["--node", "/dev/null", capture, *run], "/dev/hidrawN"),
                (["--node", "/dev/hidraw01", capture, *run], "/dev/hidrawN"),
                (["--node", "/dev/hidraw1048575", capture, capture, *run], "no nodes"),
                (["--ids", "1209", capture, *run], "VENDOR:PRODUCT"),
                (["--ids", "12345:1", capture, *run], "VENDOR:PRODUCT"),
                (["--device", "5", capture, *run], "BUS:DEV"),
                (["-i", "?", capture, *run], "choose one of"),
                (["--uhid", "--node", "/dev/hidraw1", capture, *run], "the kernel chooses"),
                (["--uhid", "--refuse", capture, *run], "the kernel decides"),
                (["--uhid", "--as-fast-as-possible", capture, *run], "the kernel does not tell"),
                (["--what", capture, *run], "--what")]:
            self.assertIn(part, self.refused(*words), words)

    def test_captures_that_cannot_be_played(self):
        run = ["--", "echo", "ran"]
        for name, content, part in [
                ("empty", "", "no input or feature report"),
                ("words", "hello there\n", "no input or feature report"),
                ("outputs", "output 01 02\n", "no input or feature report"),
                ("untyped", "33 02\n", "no input or feature report")]:
            status, out, err = self.run_words(self.file(name, content), *run)
            self.assertEqual((status, out), (CANNOT_EMULATE, ""), name)
            self.assertIn(part, err, name)
        status, out, err = self.run_words(self.folder / "missing", *run)
        self.assertEqual(
            (status, out, err),
            (CANNOT_EMULATE, "", f"vesk-emulate: {self.folder}/missing: cannot open: "
             "No such file or directory\n"))

    def test_what_is_wrong_in_a_capture_is_told(self):
        shown = self.emulate(
            "feature de 01\nfeature de 0x\n33 01\nfeature de 02\n",
            "node = opened()\nprint(feature(node, 0xDE), feature(node, 0xDE))",
            err=self.messages())
        self.assertEqual(shown, ["de 01 de 02"])

    def messages(self):
        """The decoder's own words on the same line, and then ours."""
        path = self.file("same", "feature de 0x\n")
        err = subprocess.run([DECODER, path], capture_output=True, text=True, check=False).stderr
        first = err.splitlines()[0].split(": ", 1)[1]
        return (f"vesk-emulate: capture0:2: {first}\n"
                "vesk-emulate: capture0:3: report 0x33: nothing says of which type it is; write feature "
                "or input before its bytes\n")

    def test_several_devices_in_one_capture(self):
        """A copy of a USB capture's packets with another device number, behind them."""
        whole = (SAMPLES / "forms" / "tour-usbmon.pcap").read_bytes()
        head, packets = whole[:24], whole[24:]
        other, at, device = bytearray(packets), 0, None
        while at < len(other):
            length, = struct.unpack_from("<I", other, at + 8)
            device = other[at + 16 + 11]
            other[at + 16 + 11] = device + 1
            at += 16 + length
        path = self.file("two.pcap", head + packets + bytes(other))
        status, out, err = self.run_words(path, "--", "echo", "ran")
        self.assertEqual((status, out), (CANNOT_EMULATE, ""))
        self.assertRegex(err, rf"reports of several devices, (\d+:){device} and (\d+:){device + 1}; "
                              "choose one by --device")
        bus = err.split("devices, ")[1].split(":")[0]
        status, out, err = self.run_words("--device", f"{bus}:{device}", path, "--", "echo", "ran")
        self.assertEqual((status, out, err), (0, "ran\n", ""))

    def test_every_form(self):
        """The same device of the same reports, whatever form they have."""
        script = "node = opened()\nprint(descriptor(node).hex(), feature(node, 0xE1))"
        captures = [SAMPLES / "forms" / name for name in [
            "tour.hid", "tour.bin", "tour.csv", "tour.xxd", "tour-usbmon.pcap", "tour-usbpcap.pcap",
            "tour-tshark.txt", "tour-dmesg.log"]]
        shown = {tuple(self.emulate(path, script)) for path in captures}
        self.assertEqual(len(shown), 1)

    def test_uhid_that_is_missing(self):
        if os.path.exists("/dev/uhid"):
            self.skipTest("this machine has /dev/uhid")
        status, out, err = self.run_words("--uhid", self.file("a", FEATURES), "--", "echo", "ran")
        self.assertEqual((status, out), (CANNOT_EMULATE, ""))
        self.assertRegex(err, "^vesk-emulate: cannot open /dev/uhid: No such file or directory; .*modprobe")

    def test_help_and_version(self):
        for option in ["--help", "-h", "--version"]:
            status, out, err = self.run_words(option)
            self.assertEqual((status, err), (0, ""))
            self.assertIn("vesk-emulate", out)


class Ends(EmulateTest):
    def test_the_status_is_that_of_the_command(self):
        capture = self.file("a", FEATURES)
        script = self.file("no-program", "")
        for command, expected in [
                (["true"], 0), (["sh", "-c", "exit 77"], 77), (["sh", "-c", "kill -KILL $$"], 137),
                (["sh", "-c", "kill -INT $$"], 130)]:
            self.assertEqual(self.run_words(capture, "--", *command), (expected, "", ""), command)
        status, _, err = self.run_words(capture, "--", self.folder / "none")
        self.assertEqual(status, 127)
        self.assertEqual(err, f"vesk-emulate: cannot run {self.folder}/none: No such file or directory\n")
        status, _, err = self.run_words(capture, "--", script)
        self.assertEqual((status, err[-18:]), (126, "Permission denied\n"))
        self.assertEqual(self.left_behind(), [])

    def begin(self, script, *options, **keywords):
        """An emulator, when its command has written a line."""
        process = self.start(
            "--stats", *options, self.file("a", FEATURES + inputs(3)), "--", sys.executable, "-c",
            "from node import *\nimport signal, sys\n" + script, **keywords)
        self.addCleanup(process.stdout.close)
        self.addCleanup(process.stderr.close)
        self.line = process.stdout.readline()
        self.assertEqual(len(self.left_behind()), 1)
        return process

    def test_signals_reach_the_command(self):
        script = """
def told(number, frame):  # which may be while the next line is written
    os.write(1, b"got %d\\n" % number)
    sys.exit(5)
for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP): signal.signal(number, told)
os.write(1, b"ready\\n")
while True: time.sleep(0.01)  # a signal just before a long sleep would be told after it
"""
        for number in [signal.SIGINT, signal.SIGTERM, signal.SIGHUP]:
            process = self.begin(script, start_new_session=True)
            process.send_signal(number)
            out, err = process.communicate(timeout=600)
            self.assertEqual(
                (out, err, process.returncode), (f"got {int(number)}\n", counts(), 5))
            self.assertEqual(self.left_behind(), [])

    def has_pending_signals(self, process):
        with open(f"/proc/{process}/status", encoding="ascii") as status:
            return any(line.startswith(("SigPnd", "ShdPnd")) and int(line.split()[1], 16) for line in status)

    def test_a_signal_that_is_sent_twice_arrives_once(self):
        """As timeout(1) sends it: to the process, and to the group that it is in."""
        script = """
got = []
def told(number, frame):
    got.append(number)
    os.write(1, b"got it\\n")
for number in (signal.SIGINT, signal.SIGTERM): signal.signal(number, told)
os.write(1, b"ready\\n")
while signal.SIGINT not in got: time.sleep(0.01)
os.write(1, b"%d\\n" % got.count(signal.SIGTERM))
"""
        for _ in range(50):  # a busy machine may take long between the two, which are two signals then
            process = self.begin(script, start_new_session=True)
            process.send_signal(signal.SIGTERM)
            self.assertEqual(process.stdout.readline(), "got it\n")
            os.killpg(process.pid, signal.SIGTERM)
            while self.has_pending_signals(process.pid):
                time.sleep(0.001)
            process.send_signal(signal.SIGINT)
            out, _ = process.communicate(timeout=600)
            self.assertEqual(process.returncode, 0)
            if out.splitlines()[-1] == "1":
                return
        self.fail("it arrived twice, each time")

    def test_a_signal_ends_it_with_the_command(self):
        for number in [signal.SIGINT, signal.SIGTERM]:
            process = self.begin("""
signal.signal(signal.SIGINT, signal.SIG_DFL)
print("ready", flush=True)
time.sleep(3600)""", start_new_session=True)
            process.send_signal(number)
            process.communicate(timeout=600)
            self.assertEqual(process.returncode, 128 + number)
            self.assertEqual(self.left_behind(), [])

    def test_nothing_is_left_when_the_command_is_killed(self):
        process = self.begin("node = opened()\nprint(os.getpid(), flush=True)\ntime.sleep(3600)")
        os.kill(int(self.line), signal.SIGKILL)
        process.communicate(timeout=600)
        self.assertEqual(process.returncode, 137)
        self.assertEqual(self.left_behind(), [])

    def test_nothing_is_left_when_the_emulator_is_killed(self):
        """The command is told to end, its device is gone, and the folder soon."""
        process = self.begin("""
node = opened()
told = []
signal.signal(signal.SIGTERM, lambda number, frame: told.append(number))
print("ready", flush=True)
while not failure(os.read, node, 99): pass
print(failure(os.read, node, 99), feature(node, 0xDE), flush=True)
wait_for(lambda: told)
print(told, flush=True)
""")
        process.kill()
        self.assertEqual(process.stdout.readline(), "EIO ENODEV\n")
        self.assertEqual(process.stdout.readline(), f"[{int(signal.SIGTERM)}]\n")
        process.wait(timeout=600)
        end = time.monotonic() + 240
        while self.left_behind() and time.monotonic() < end:
            time.sleep(0.01)
        self.assertEqual(self.left_behind(), [])

    def test_an_ignored_interrupt_stays_ignored(self):
        process = self.begin("""
print(signal.getsignal(signal.SIGINT) == signal.SIG_IGN, flush=True)
time.sleep(0.5)""",
            preexec_fn=lambda: signal.signal(signal.SIGINT, signal.SIG_IGN))
        self.assertEqual(self.line, "True\n")
        process.send_signal(signal.SIGINT)
        process.communicate(timeout=600)
        self.assertEqual(process.returncode, 0)

    def test_a_long_name_for_temporary_files(self):
        """Longer than a socket's address may be: another place is taken."""
        deep = self.folder / ("x" * 80)
        deep.mkdir()
        self.environment["TMPDIR"] = str(deep)
        self.assertEqual(self.emulate(FEATURES, "print(feature(opened(), 0xDE))"), ["de 01"])


class Programs(EmulateTest):
    """Programs of other makes, under the preloaded library."""

    def shell(self, script, *options, capture=FEATURES + inputs(3), status=0):
        got, out, err = self.run_words(
            *options, self.file("a", capture), "--", "bash", "-c", script)
        self.assertEqual((got, err), (status, ""))
        return out.splitlines()

    def test_descriptors_are_handed_on(self):
        """Opened by the shell, read by other programs, by any number of their descriptors."""
        shown = self.shell("""
exec 7</dev/hidraw9
head -c 4 <&7 | od -An -tx1
dd bs=99 count=1 status=none <&7 | od -An -tx1
(exec 8<&7; dd bs=99 count=1 status=none <&8 | od -An -tx1)
""")
        self.assertEqual(shown, [" 76 00 00 aa", " 76 01 00 aa", " 76 02 00 aa"])

    def test_standard_input_can_be_the_node(self):
        shown = self.shell("""
head -c 1 /dev/stdin </dev/hidraw9 | od -An -tx1
readlink /proc/self/fd/0 </dev/hidraw9
readlink -f /dev/stdin </dev/hidraw9
stat -L -c %F /dev/stdin </dev/hidraw9
readlink /proc/self/fd/0 </dev/null
""", "--loop")  # /dev/stdin opens it anew, and reads what comes from then on
        self.assertEqual(shown, [
            " 76", "/dev/hidraw9", "/dev/hidraw9", "character special file", "/dev/null"])

    def test_the_end_is_an_error_for_all(self):
        shown = self.shell(
            "LC_ALL=C cat /dev/hidraw9 2>&1 >/dev/null", "--unplug-after", "2", status=1)
        self.assertEqual(shown, ["cat: /dev/hidraw9: Input/output error"])

    def test_shells_see_the_node(self):
        shown = self.shell("""
echo /dev/hidraw9*
[ -c /dev/hidraw9 ] && [ -r /dev/hidraw9 ] && [ ! -e /dev/hidraw8 ] && echo there
ls -l /dev/hidraw9 | cut -c 1-10
stat -c %F,%t,%T /dev/hidraw9
ls /sys/class/hidraw/hidraw9/device/
cat /sys/class/hidraw/hidraw9/dev
find /sys/class/hidraw/hidraw9/ -name dev
readlink -f /sys/class/hidraw/hidraw9/device
""")
        self.assertEqual(shown, [
            "/dev/hidraw9", "there", "crw-------", "character special file,f0,9", "hidraw",
            "report_descriptor", "uevent", "240:9", "/sys/class/hidraw/hidraw9/dev",
            "/sys/devices/vesk-emulate/0003:1209:0001.0009"])

    def test_probe(self):
        """A program in C: streams, checked functions, statx, ppoll, threads, fork."""
        process = self.start(
            "--as-fast-as-possible", "--loop", self.file("a", FEATURES + inputs(400)), "--", PROBE)
        out, err = process.communicate(timeout=600)
        self.assertEqual(out, "all is well\n", err)
        self.assertEqual(process.returncode, 0)

    def test_the_decoder_is_no_other_in_it(self):
        """Whatever it is built with: a sanitizer's runtime, too, loads behind the library."""
        sample = SAMPLES / "versions.hex"
        alone = subprocess.run([DECODER, sample], capture_output=True, text=True, check=True)
        self.assertEqual(
            self.run_words(self.file("a", FEATURES), "--", DECODER, sample), (0, alone.stdout, ""))

    def test_other_paths_are_what_they_are(self):
        script = """
import glob, hashlib, os, sys
def names(folder): return sorted(name for name in os.listdir(folder) if "hidraw9" not in name)
print(names("/dev"), names("/sys/class/hidraw") if os.path.exists("/sys/class/hidraw") else [])
print(names("/sys/class"), os.stat("/dev/null").st_rdev, os.path.exists("/dev/hidraw8"))
print(os.path.realpath("/proc/self/cwd"), os.path.realpath("/sys/class/tty"))
print(hashlib.sha1(open(sys.executable, "rb").read()).hexdigest())
end, begin = os.pipe()
os.write(begin, b"x"); os.close(begin)
print(os.read(end, 9), os.read(end, 9))
import socket
a, b = socket.socketpair(socket.AF_UNIX, socket.SOCK_SEQPACKET)
b.close()
print(os.read(a.fileno(), 9), os.fstat(a.fileno()).st_mode)
import select
p = select.poll(); p.register(a, select.POLLIN)
print([event for _, event in p.poll(0)])
"""
        command = [sys.executable, "-c", script]
        alone = subprocess.run(command, capture_output=True, text=True, check=True).stdout
        self.assertEqual(
            self.run_words(self.file("a", FEATURES), "--", *command), (0, alone, ""))
        self.assertGreater(len(alone.splitlines()), 6)

    def test_the_environment_is_added_to(self):
        asan = "verify_asan_link_order=0:detect_leaks=1"  # the emulator itself may need the first one
        self.environment["ASAN_OPTIONS"] = asan
        self.environment["LD_PRELOAD"] = "libm.so.6"
        shown = self.shell('echo "$ASAN_OPTIONS"; echo "$LD_PRELOAD"')
        self.assertEqual(shown[0], asan + ":verify_asan_link_order=0")
        self.assertRegex(shown[1], r"^libm\.so\.6:/.*/lib/libvesk-emulate\.so$")

    def test_standard_input_is_the_command_s(self):
        process = subprocess.Popen(
            [EMULATOR, self.file("a", FEATURES), "--", "cat"], stdin=subprocess.PIPE,
            stdout=subprocess.PIPE, env=self.environment)
        self.assertEqual(process.communicate(b"through", timeout=600)[0], b"through")

    def test_a_capture_from_standard_input(self):
        process = subprocess.Popen(
            [EMULATOR, "-", "--", sys.executable, "-c", "from node import *\nprint(feature(opened(), 0xDE))"],
            stdin=subprocess.PIPE, stdout=subprocess.PIPE, env=self.environment)
        self.assertEqual(process.communicate(FEATURES.encode(), timeout=600)[0], b"de 01\n")


if __name__ == "__main__":
    unittest.main()
