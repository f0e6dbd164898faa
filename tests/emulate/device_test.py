#!/usr/bin/env python3
"""What a program finds of an emulated device: its description, feature and input reports."""

import unittest

from support import FEATURES, SAMPLES, EmulateTest, counts, inputs

# Usage page 0xFF00, usage 1, application collection; report ID 0x76: 8 bits, three times, input.
OWN_DESCRIPTOR = "06 00 ff 09 01 a1 01 85 76 75 08 95 03 81 02 c0"
RECORDING = f"""\
D: 0
R: 16 {OWN_DESCRIPTOR}
N: Bench unit 7
P: usb-0000:00:14.0-2/input1
I: 5 1d50 60ab
E: 000001.000000 4 76 01 02 03
"""

SHOW = """
node = opened()
print(descriptor(node).hex(" "))
print(["%x" % part for part in info(node)])
print(text(node, 4), text(node, 5), text(node, 8))
"""


class Description(EmulateTest):
    def test_a_recording_says_what_the_device_is(self):
        shown = self.emulate(RECORDING, SHOW)
        self.assertEqual(shown, [
            OWN_DESCRIPTOR,
            "['5', '1d50', '60ab']",
            r"b'Bench unit 7\x00' b'usb-0000:00:14.0-2/input1\x00' b'EMULATED\x00'",
        ])

    def test_options_say_it_better(self):
        shown = self.emulate(
            RECORDING, SHOW, "--name", "Other", "--serial", "A1", "--ids", "dead:00ef")
        self.assertEqual(shown[1], "['5', 'dead', 'ef']")
        self.assertRegex(shown[2], r"^b'Other\\x00' .* b'A1\\x00'$")

    def test_other_captures_make_a_description(self):
        shown = self.emulate(FEATURES + inputs(2) + "input 76 01\n", SHOW)
        # Of each ID and type the longest: 0xD0 with 4 bytes behind it, 0xDE with 1, 0x76 with 3.
        self.assertEqual(shown[0], (
            "06 00 ff 09 01 a1 01 15 00 26 ff 00 75 08 "
            "85 d0 09 d0 96 04 00 b1 02 85 de 09 de 96 01 00 b1 02 85 76 09 76 96 03 00 81 02 c0"))
        self.assertEqual(shown[1], "['3', '1209', '1']")
        self.assertRegex(shown[2], r"^b'Vesk controller\\x00' b'vesk-emulate-1/input0\\x00' ")

    def test_a_descriptor_without_ids_is_replaced(self):
        for line in ["R: 9 06 00 ff 09 01 a1 01 c0 00", "R: 2 85 76 00", "R: x", "R: 3 85 76 ff"]:
            told = "" if line.startswith(("R: 9", "R: 3")) else (
                "vesk-emulate: capture0: the line R: is no report descriptor; one is made of the "
                "reports\n")
            capture = RECORDING.replace(f"R: 16 {OWN_DESCRIPTOR}", line)
            shown = self.emulate(capture, SHOW, err=told)
            self.assertTrue(shown[0].endswith("75 08 85 76 09 76 96 03 00 81 02 c0"), shown[0])

    def test_ids_of_zero_are_none(self):
        shown = self.emulate(RECORDING.replace("1d50 60ab", "0000 0000"), SHOW)
        self.assertEqual(shown[1], "['5', '1209', '1']")

    def test_texts_are_cut_as_by_the_kernel(self):
        self.assertEqual(
            self.emulate(RECORDING, "node = opened()\nprint(text(node, 4, 5), text(node, 4, 13))"),
            [r"b'Bench' b'Bench unit 7\x00'"])

    def test_other_requests_fail(self):
        shown = self.emulate(FEATURES, """
node = opened()
print(failure(call, node, READ, 99, bytes(4)))
print(failure(call, node, READ, 2, struct.pack("I", 4096) + bytes(4096)))
print(feature(node, 0xDE, room=1))
print(os.isatty(node))
""")
        self.assertEqual(shown, ["ENOTTY", "EINVAL", "EINVAL", "False"])

    def test_sysfs(self):
        shown = self.emulate(RECORDING, """
entry = ENTRIES + "/hidraw9"
print("hidraw9" in os.listdir(ENTRIES))
print(open(entry + "/device/uevent").read(), end="")
print(open(entry + "/device/report_descriptor", "rb").read().hex(" "))
print(open(entry + "/dev").read(), os.path.realpath(entry + "/device"))
print(os.path.samefile(entry + "/subsystem", ENTRIES), os.path.isdir(entry + "/"))
folder = os.open(ENTRIES, os.O_RDONLY)
print(os.read(os.open("hidraw9/uevent", os.O_RDONLY, dir_fd=folder), 99))
os.chdir(ENTRIES)
print(os.path.exists("hidraw9"), os.path.exists("../hidraw/hidraw9"))
""")
        self.assertEqual(shown, [
            "True",
            "DRIVER=hid-generic",
            "HID_ID=0005:00001D50:000060AB",
            "HID_NAME=Bench unit 7",
            "HID_PHYS=usb-0000:00:14.0-2/input1",
            "HID_UNIQ=EMULATED",
            "MODALIAS=hid:b0005g0001v00001D50p000060AB",
            OWN_DESCRIPTOR,
            "240:9",
            " /sys/devices/vesk-emulate/0005:1D50:60AB.0009",
            "True True",
            r"b'MAJOR=240\nMINOR=9\nDEVNAME=hidraw9\n'",
            "True True",
        ])

    def test_the_node_is_one(self):
        shown = self.emulate(RECORDING, """
import stat
def show(status):
    print(oct(status.st_mode), os.major(status.st_rdev), os.minor(status.st_rdev))
show(os.stat(NODE))
show(os.lstat("//dev/./hidraw9"))
node = opened()
show(os.fstat(node))
print(os.access(NODE, os.R_OK | os.W_OK), os.access(NODE, os.X_OK), os.path.realpath(NODE))
print(failure(os.readlink, NODE), failure(opened, os.O_RDONLY | os.O_DIRECTORY),
      failure(opened, os.O_RDWR | os.O_CREAT | os.O_EXCL))
print("hidraw9" in os.listdir("/dev"), [e.name for e in os.scandir("/dev") if "hidraw" in e.name])
print(os.get_inheritable(os.open(NODE, os.O_RDWR)), os.path.exists("/dev/hidraw9x"))
os.chdir("/dev")
show(os.stat("hidraw9"))
""")
        self.assertEqual(shown, [
            "0o20600 240 9", "0o20600 240 9", "0o20600 240 9", "True False /dev/hidraw9",
            "EINVAL ENOTDIR EEXIST", "True ['hidraw9']", "False False", "0o20600 240 9"])

    def test_node_by_option(self):
        shown = self.emulate(
            [RECORDING, FEATURES], """
print([name for name in sorted(os.listdir(ENTRIES)) if name in ("hidraw9", "hidraw20", "hidraw21")])
print(failure(opened), text(opened(path="/dev/hidraw20"), 4))
print(feature(opened(path="/dev/hidraw21"), 0xDE))
""", "--node", "/dev/hidraw20")
        self.assertEqual(
            shown, ["['hidraw20', 'hidraw21']", r"ENOENT b'Bench unit 7\x00'", "de 01"])


class Features(EmulateTest):
    ASK = "node = opened()\nprint([feature(node, 0xDE) for i in range(5)], feature(node, 0xD0))"

    def test_each_request_gives_the_next(self):
        shown = self.emulate(FEATURES, self.ASK, "--stats", err=counts(requests=6))
        self.assertEqual(shown, ["['de 01', 'de 02', 'de 03', 'de 03', 'de 03'] d0 34 2e 31 00"])

    def test_in_a_loop_the_first_comes_again(self):
        shown = self.emulate(FEATURES, self.ASK, "--loop")
        self.assertEqual(shown, ["['de 01', 'de 02', 'de 03', 'de 01', 'de 02'] d0 34 2e 31 00"])

    def test_what_the_capture_lacks_is_stalled(self):
        shown = self.emulate(
            FEATURES + inputs(1), "node = opened()\nprint(feature(node, 0x33), feature(node, 0x76))")
        self.assertEqual(shown, ["EPIPE EPIPE"])

    def test_no_more_than_there_is_room_for(self):
        self.assertEqual(
            self.emulate(FEATURES, "print(feature(opened(), 0xD0, room=3))"), ["d0 34 2e"])

    def test_input_reports_can_be_asked_for(self):
        shown = self.emulate(FEATURES + inputs(2), """
node = opened()
print(feature(node, 0x76, request=10), feature(node, 0xDE, request=10))
os.read(node, 99), os.read(node, 99)
print(feature(node, 0x76, request=10), feature(node, 0x76, request=12))
""", "--rate", "0.2")
        self.assertEqual(shown, ["76 00 00 aa EPIPE", "76 01 00 aa EPIPE"])

    def test_all_of_the_tour(self):
        """Every feature report of the sample, as it stands there."""
        expected = {}
        for line in (SAMPLES / "forms" / "tour.hid").read_text().splitlines():
            if line.startswith("F:"):
                words = line.split()
                expected.setdefault(int(words[3], 16), " ".join(words[3:]))
        self.assertEqual(len(expected), 14)
        shown = self.emulate(
            SAMPLES / "forms" / "tour.hid",
            f"node = opened()\nfor i in {list(expected)}: print(feature(node, i))")
        self.assertEqual(shown, list(expected.values()))


class Faults(EmulateTest):
    def ask(self, *faults):
        options = [word for fault in faults for word in ("--fault", fault)]
        return self.emulate(
            FEATURES, "node = opened()\nprint(feature(node, 0xD0), '|', feature(node, 0xDE))",
            *options)[0]

    def test_each(self):
        for fault, expected in [
                ("stall=0xD0", "EPIPE | de 01"),
                ("short=d0", "d0 34 | de 01"),
                ("long=208", "d0 34 2e 31 00 00 00 00 00 00 00 00 00 | de 01"),
                ("empty=0xD0", " | de 01"),
                ("other-id=0xD0", "d1 34 2e 31 00 | de 01"),
                ("gone=0xD0", "ENODEV | ENODEV"),
                ("gone=0xDE", "d0 34 2e 31 00 | ENODEV")]:
            self.assertEqual(self.ask(fault), expected, fault)

    def test_several(self):
        self.assertEqual(self.ask("short=0xD0", "other-id=0xD0", "stall=0xDE"), "d1 34 | EPIPE")

    def late(self, seconds):
        return self.emulate(FEATURES, """
node = opened()
begin = time.monotonic()
print(feature(node, 0xDE), feature(node, 0xD0))
print(time.monotonic() - begin)
""", "--fault", f"late=0xD0:{seconds}")

    def test_late(self):
        answer, seconds = self.late("0.4")
        self.assertEqual(answer, "de 01 d0 34 2e 31 00")
        self.assertGreaterEqual(float(seconds), 0.4)
        self.assertGreaterEqual(float(self.late("600ms")[1]), 0.6)

    def test_too_late_times_out_as_usb_does(self):
        answer, seconds = self.late("60")
        self.assertEqual(answer, "de 01 ETIMEDOUT")
        self.assertGreaterEqual(float(seconds), 5)

    def test_late_hinders_nobody_else(self):
        shown = self.emulate(FEATURES + inputs(50), """
import threading
node = opened()
late = threading.Thread(target=lambda: print(feature(node, 0xD0, room=64)))
late.start()
for i in range(50): os.read(node, 99)
print(feature(node, 0xDE))
late.join()
""", "--fault", "late=0xD0:4.9", "--rate", "500")
        self.assertEqual(shown, ["de 01", "d0 34 2e 31 00"])

    def test_refuse(self):
        shown = self.emulate(FEATURES, """
print(failure(opened), failure(opened, os.O_RDONLY), os.access(NODE, os.R_OK), os.access(NODE, os.F_OK))
print(oct(os.stat(NODE).st_mode), os.stat(NODE).st_uid, "hidraw9" in os.listdir(ENTRIES))
""", "--refuse", "--stats", err=counts())
        self.assertEqual(shown, ["EACCES EACCES False True", "0o20600 0 True"])


class Writes(EmulateTest):
    def test_all_are_counted(self):
        shown = self.emulate(FEATURES, """
node = opened()
print(os.write(node, b"\\x01\\x02"), os.writev(node, [b"\\x01", b"\\x02\\x03"]))
print([call(node, READ | WRITE, request, b"\\xde\\x07")[0] for request in (6, 9, 11)])
print(feature(node, 0xDE))
""", "--stats", err=counts(requests=1, writes=5))
        self.assertEqual(shown, ["2 3", "[2, 2, 2]", "de 01"])

    def test_not_through_what_is_open_for_reading(self):
        shown = self.emulate(FEATURES, """
node = opened(os.O_RDONLY)
print(failure(os.write, node, b"ab"))
os.close(node)
end, other = os.pipe()
print(other == node or end == node, os.write(other, b"ab"))
""", "--stats", err=counts())
        self.assertEqual(shown, ["EBADF", "True 2"])

    def test_those_before_an_unplug_count(self):
        shown = self.emulate(inputs(3), """
node = opened()
os.write(node, b"ab")
while True:
    try: print(os.read(node, 99).hex(" "))
    except OSError as error: print(errno.errorcode[error.errno]); break
print(failure(os.write, node, b"ab"))
""", "--stats", "--unplug-after", "2", "--rate", "0.2", err=counts(sent=2, writes=1))
        self.assertEqual(shown, ["76 00 00 aa", "76 01 00 aa", "EIO", "ENODEV"])


if __name__ == "__main__":
    unittest.main()
