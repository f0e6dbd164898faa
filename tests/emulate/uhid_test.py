#!/usr/bin/env python3
"""Real devices by /dev/uhid: what programs find of them is what they find of emulated ones.

Where there is no /dev/uhid, or no right to use it, this ends with 77: nothing was tested.
scripts/uhid runs it on a kernel of Debian's under qemu.
"""

import os
import re
import sys
import unittest

from support import FEATURES, EmulateTest, inputs

NAME = "Bench unit 7"

# The node with the device's name, as its entry in sysfs shows it.
FIND = f"""
def find():
    for entry in os.listdir(ENTRIES) if os.path.exists(ENTRIES) else []:
        try: text = open(f"{{ENTRIES}}/{{entry}}/device/uevent").read()
        except OSError: continue
        if "HID_NAME={NAME}\\n" in text and os.path.exists("/dev/" + entry): return "/dev/" + entry
wait_for(find)
path = find()
"""


class Uhid(EmulateTest):
    def emulate_real(self, capture, script, *options, err):
        """The messages without the nodes' numbers, which the kernel chooses."""
        path = self.file("capture0", capture)
        command = [sys.executable, "-c", "from node import *\n" + FIND + script]
        status, out, told = self.run_words(
            "--uhid", "--stats", "--name", NAME, *options, path, "--", *command)
        self.assertEqual((status, re.sub(r"hidraw\d+", "hidrawN", told)), (0, err), out)
        return out.splitlines()

    def told(self, requests=0, sent=0, writes=0, times=1):
        return (f"vesk-emulate: {NAME} is /dev/hidrawN\n" * times
                + f"vesk-emulate: /dev/hidrawN: {requests} requests, {sent} reports sent, 0 dropped, "
                f"{writes} writes\n")

    def test_description(self):
        shown = self.emulate_real(FEATURES + "input 76 00 00 00\n", """
node = opened(path=path)
print(descriptor(node).hex(" "))
print(["%x" % part for part in info(node)], text(node, 4), text(node, 8))
""", "--serial", "A1", "--ids", "1d50:60ab", err=self.told(sent=1))
        self.assertEqual(shown, [
            "06 00 ff 09 01 a1 01 15 00 26 ff 00 75 08 85 d0 09 d0 96 04 00 b1 02 "
            "85 de 09 de 96 01 00 b1 02 85 76 09 76 96 03 00 81 02 c0",
            r"['3', '1d50', '60ab'] b'Bench unit 7\x00' b'A1\x00'"])

    def test_feature_reports(self):
        shown = self.emulate_real(FEATURES, """
node = opened(path=path)
print([feature(node, 0xDE) for i in range(4)], feature(node, 0xD0), feature(node, 0xD0, room=3))
print(feature(node, 0x33))
""", err=self.told(requests=7))
        self.assertEqual(shown, [
            "['de 01', 'de 02', 'de 03', 'de 03'] d0 34 2e 31 00 d0 34 2e", "EIO"])

    def test_faults(self):
        for fault, expected in [
                ("stall=0xD0", "EIO"), ("short=0xD0", "d0 34"), ("empty=0xD0", ""),
                ("long=0xD0", "d0 34 2e 31 00 00 00 00 00 00 00 00 00"),
                ("other-id=0xD0", "d1 34 2e 31 00"), ("late=0xD0:0.3", "d0 34 2e 31 00")]:
            shown = self.emulate_real(
                FEATURES, "print(feature(opened(path=path), 0xD0))", "--fault", fault,
                err=self.told(requests=1))
            self.assertEqual(shown, [expected], fault)

    def test_input_reports(self):
        shown = self.emulate_real(inputs(200), """
node = opened(path=path)
begin = time.monotonic()
print([os.read(node, 99)[1] for i in range(200)] == list(range(200)), is_readable(node, 0.2))
print(time.monotonic() - begin > 0.35)
""", "--rate", "500", err=self.told(sent=200))
        self.assertEqual(shown, ["True False", "True"])

    def test_a_slow_reader_loses_what_comes_late(self):
        """The kernel's ring of 64 holds one less than that."""
        shown = self.emulate_real(inputs(100), """
node = opened(path=path)
time.sleep(1)
numbers = []
while is_readable(node, 0.3): numbers.append(os.read(node, 99)[1])
print(len(numbers), numbers == list(range(len(numbers))))
""", "--rate", "1000", err=self.told(sent=100))
        self.assertEqual(shown, ["63 True"])

    def test_writes(self):
        shown = self.emulate_real(FEATURES, """
node = opened(path=path)
print(os.write(node, b"\\xde\\x07"), failure(call, node, READ | WRITE, 6, b"\\xde\\x07"))
print(feature(node, 0xDE))
""", err=self.told(requests=1, writes=2))
        self.assertEqual(shown, ["2 EIO", "de 01"])

    def test_unplug_and_return(self):
        shown = self.emulate_real(FEATURES + inputs(6), """
node = opened(path=path)
wait_for(lambda: not os.path.exists(path))
print([os.read(node, 99)[1] for i in range(3)], failure(os.read, node, 99), feature(node, 0xDE))
poll = select.poll()
poll.register(node, select.POLLIN)
print([seen == select.POLLERR | select.POLLHUP for _, seen in poll.poll(1000)])
print(failure(os.write, node, b"ab"))
os.close(node)
wait_for(find)
node = opened(path=find())
print([os.read(node, 99)[1] for i in range(3)], feature(node, 0xDE))
""", "--unplug-after", "3", "--return-after", "1", "--rate", "50",
            err=self.told(requests=1, sent=6, times=2))
        self.assertEqual(shown, ["[0, 1, 2] EIO ENODEV", "[True]", "ENODEV", "[3, 4, 5] de 01"])

    def test_a_report_that_is_too_long(self):
        path = self.file("long", "feature d0" + " 00" * 4096 + "\n")
        status, out, err = self.run_words("--uhid", path, "--", "echo", "ran")
        self.assertEqual((status, out), (3, ""))
        self.assertIn("a report of 4097 bytes: /dev/uhid takes no more than 4096", err)


if __name__ == "__main__":
    if not os.access("/dev/uhid", os.R_OK | os.W_OK):
        print("no /dev/uhid that may be used: not tested")
        sys.exit(77)
    unittest.main()
