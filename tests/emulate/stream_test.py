#!/usr/bin/env python3
"""Input reports: when they come, to whom, what is kept for a slow reader; unplug and return."""

import re
import sys
import time

from support import FEATURES, EmulateTest, counts, inputs, run_side_by_side

def recording(times):
    return "".join(
        f"E: {time:013.6f} 3 76 {number:02x} 00\n" for number, time in enumerate(times))


class Times(EmulateTest):
    def expect_times(self, capture, expected, *options):
        """None comes too early. A busy machine may make them late, but one that is not busy the whole time
        doesn't: some try is in time."""
        for _ in range(20):
            stamps = [float(line) for line in self.emulate(capture, f"""
begin = time.monotonic()
node = opened()
for _ in range({len(expected)}):
    os.read(node, 99)
    print(time.monotonic() - begin)
""", *options)]
            self.assertEqual(len(stamps), len(expected))
            for stamp, time in zip(stamps, expected):
                self.assertGreaterEqual(stamp, time - 0.001)
            if stamps[-1] < expected[-1] + 2:
                return
        self.fail(f"{stamps} are far behind {expected}")

    def test_as_captured_from_the_first_report_on(self):
        """A feature report is the first of this capture; a time that goes back is no distance."""
        capture = "F: 000009.900000 2 de 01\n" + recording([10, 10.2, 10.7, 10.1, 10.3])
        self.expect_times(capture, [0.1, 0.3, 0.8, 0.8, 1.0])

    def test_without_times_120_a_second(self):
        self.expect_times(inputs(30), [number / 120 for number in range(30)])

    def test_rate(self):
        self.expect_times(recording([10, 10.2, 10.7]), [0, 0.1, 0.2], "--rate", "10")

    def test_loop_goes_on_at_the_mean_distance(self):
        capture = recording([1, 1.1, 1.3])
        self.expect_times(capture, [0, 0.1, 0.3, 0.45, 0.55, 0.75, 0.9], "--loop")
        shown = self.emulate(
            capture, "node = opened()\nfor i in range(7): print(os.read(node, 99)[1])", "--loop")
        self.assertEqual(shown, ["0", "1", "2", "0", "1", "2", "0"])

    def test_silent_behind_the_last(self):
        shown = self.emulate(inputs(3), """
node = opened()
print([os.read(node, 99)[1] for i in range(3)], is_readable(node, 0.5))
""")
        self.assertEqual(shown, ["[0, 1, 2] False"])

    def test_begins_when_it_is_opened_and_waits_while_it_is_closed(self):
        """The second report comes when the node was open for two seconds, however long it was closed."""
        shown = self.emulate(recording([1, 3, 3.2]), """
time.sleep(1)
opening = time.monotonic()
node = opened()
print(os.read(node, 99)[1])
os.close(node)
open_for = time.monotonic() - opening
time.sleep(2)
opening = time.monotonic()
node = opened()
print(os.read(node, 99)[1])
print(open_for + time.monotonic() - opening >= 1.999)
print(os.read(node, 99)[1], is_readable(node, 0.5))
""", "--stats", err=counts(sent=3))
        self.assertEqual(shown, ["0", "1", "True", "2 False"])


class Queues(EmulateTest):
    def test_messages_keep_their_bounds(self):
        shown = self.emulate("input 76 01 02 03\ninput 77 04\ninput 78\ninput 76 05 06 07\n", """
node = opened()
wait_for(lambda: is_readable(node, 0))
time.sleep(0.2)
print([os.read(node, room).hex(" ") for room in (99, 99, 99, 2)], is_readable(node, 0.1))
""")
        self.assertEqual(shown, ["['76 01 02 03', '77 04', '78', '76 05'] False"])

    def test_64_are_kept(self):
        for size in [4, 2064, 60000]:
            shown = self.emulate(inputs(100, size), """
node = opened()
wait_for(lambda: not os.path.exists(NODE))
print(numbers_until_the_end(node))
""", "--rate", "1000", "--unplug-after", "100", "--stats", err=counts(sent=100, dropped=36))
            self.assertEqual(shown, [str(list(range(64)))], size)

    def test_room_comes_back_one_by_one(self):
        """100 at once, of which 64 are kept; three are read; of 20 more there is room for three. A busy
        machine may come to read the three only when the 20 are sent: then they are sent later."""
        for later in (2, 8, 32, 128):
            status, out, err = self.run_words(
                "--unplug-after", "120", "--stats", self.file("a", recording([1] * 100 + [1 + later] * 20)),
                "--", sys.executable, "-c", """
from node import *
node = opened()
def last(): return feature(node, 0x76, request=10)  # that was sent; an error's name is behind all of them
wait_for(lambda: last() >= "76 63")
print([os.read(node, 99)[1] for i in range(3)])
print(last())
wait_for(lambda: not os.path.exists(NODE))
print(numbers_until_the_end(node) == list(range(3, 64)) + [100, 101, 102])
""")
            self.assertEqual(status, 0, err)
            if "\n76 63 " in out:
                break
        self.assertEqual(out.splitlines(), ["[0, 1, 2]", "76 63 00", "True"])
        self.assertIn(f" 120 reports sent, {36 + 17} dropped, ", err)

    def test_as_fast_as_possible_loses_none(self):
        for size in [4, 2064, 60000]:
            shown = self.emulate(inputs(1000, size), """
node = opened()
time.sleep(0.3)
print(numbers_until_the_end(node) == list(range(1000)))
""", "--as-fast-as-possible", "--unplug-after", "1000", "--stats", err=counts(sent=1000))
            self.assertEqual(shown, ["True"], size)

    def test_each_reader_gets_all(self):
        """Those that read, and one that doesn't until all are sent. A busy machine may open the last one when
        the first report is sent already, or hold the others up for longer than 64 reports take: then all
        comes more slowly. The feature report is the first of the capture."""
        for pace in (1, 4, 16, 64):
            capture = "F: 000000.000000 2 de 01\n" + recording([(1 + i / 200) * pace for i in range(200)])
            status, out, err = self.run_words(
                "--unplug-after", "200", "--stats", self.file("a", capture), "--", sys.executable, "-c", """
from node import *
import threading
nodes = [opened(), opened(os.O_RDONLY)]
slow = opened()
came = {}
def read(node): came[node] = numbers_until_the_end(node)
threads = [threading.Thread(target=read, args=[node]) for node in nodes]
for thread in threads: thread.start()
for thread in threads: thread.join()
print([came[node] == list(range(200)) for node in nodes])
print(numbers_until_the_end(slow))
""")
            self.assertEqual(status, 0, err)
            if f" {200 - 64} dropped, " in err:  # by the slow one alone
                break
        shown = ["[True, True]", str(list(range(64)))]
        self.assertEqual((out.splitlines(), err), (shown, counts(sent=200, dropped=136)))

    def test_without_waiting(self):
        shown = self.emulate(FEATURES, """
node = opened(os.O_RDWR | os.O_NONBLOCK)
print(failure(os.read, node, 99), os.get_blocking(node), os.get_blocking(opened()))
""")
        self.assertEqual(shown, ["EAGAIN False True"])

    def test_two_devices(self):
        shown = self.emulate([inputs(20), FEATURES + "input 77 05\n"], """
other = opened(path="/dev/hidraw10")
print(feature(other, 0xDE), os.read(other, 99).hex(" "), is_readable(other, 0.1))
node = opened()
print([os.read(node, 99)[1] for i in range(20)] == list(range(20)), feature(node, 0xDE))
""", "--stats", err=counts(requests=1, sent=20) + counts(requests=1, sent=1, node="/dev/hidraw10"))
        self.assertEqual(shown, ["de 01 77 05 False", "True EPIPE"])


class Unplug(EmulateTest):
    def test_what_is_queued_comes_first(self):
        for size in [4, 60000]:
            shown = self.emulate(FEATURES + inputs(80, size), f"SMALL = {size == 4}" """
node = opened()
wait_for(lambda: not os.path.exists(NODE))
poll = select.poll()
poll.register(node, select.POLLIN)
def events():
    seen = poll.poll(240_000)[0][1]
    return [name for name in ("IN", "ERR", "HUP") if seen & getattr(select, "POLL" + name)]
if SMALL: wait_for(lambda: "HUP" in events())
first, reports = events(), 0
while failure(os.read, node, 70000) is None: reports += 1
print(first, reports, events(), failure(os.read, node, 99), failure(os.read, node, 99))
print(feature(node, 0xDE), failure(descriptor, node), failure(os.write, node, b"ab"))
print("hidraw9" in os.listdir(ENTRIES), "hidraw9" in os.listdir("/dev"), failure(opened))
""", "--unplug-after", "50", "--rate", "1000", "--stats", err=counts(sent=50))
            # Of large reports not all fit in the socket: its end shows when the last of them are in.
            self.assertRegex(
                shown[0], r"^\['IN'(, 'ERR', 'HUP')?\] 50 \['ERR', 'HUP'\] EIO EIO$", size)
            if size == 4:
                self.assertIn("['IN', 'ERR', 'HUP']", shown[0])
            self.assertEqual(shown[1:], ["ENODEV ENODEV ENODEV", "False False ENOENT"])

    def test_who_waits_is_woken(self):
        shown = self.emulate(inputs(2), """
node = opened()
print(os.read(node, 99)[1], os.read(node, 99)[1], failure(os.read, node, 99))
waiting = select.epoll()
waiting.register(node, select.EPOLLIN)
print([bool(seen & select.EPOLLHUP) for _, seen in waiting.poll(240)])
""", "--unplug-after", "2", "--rate", "20")
        self.assertEqual(shown, ["0 1 EIO", "[True]"])

    def test_it_comes_back_and_goes_on(self):
        shown = self.emulate(FEATURES + inputs(6), """
begin = time.monotonic()
old = opened()
print([os.read(old, 99)[1] for i in range(3)], feature(old, 0xDE), failure(os.read, old, 99))
wait_for(lambda: os.path.exists(ENTRIES + "/hidraw9"))
print(time.monotonic() - begin >= 0.4 + 2 - 0.001)  # the third comes 0.4 s behind the first
new = opened()
print([os.read(new, 99)[1] for i in range(3)], feature(new, 0xDE), feature(old, 0xDE))
print(failure(os.read, old, 99), is_readable(new, 0.3), failure(descriptor, new))
""", "--unplug-after", "3", "--return-after", "2", "--rate", "5", "--stats",
            err=counts(requests=1, sent=6))
        self.assertEqual(
            shown, ["[0, 1, 2] ENODEV EIO", "True", "[3, 4, 5] de 01 ENODEV", "EIO False None"])

    def test_gone_while_it_is_asked(self):
        shown = self.emulate(FEATURES, """
node = opened()
print(feature(node, 0xDE), feature(node, 0xD0), failure(os.read, node, 99), os.path.exists(NODE))
""", "--fault", "gone=0xD0")
        self.assertEqual(shown, ["de 01 ENODEV EIO False"])
        shown = self.emulate(FEATURES, """
print(feature(opened(), 0xD0))
wait_for(lambda: os.path.exists(NODE))
print(feature(opened(), 0xD0))
""", "--fault", "gone=0xD0", "--return-after", "200ms")
        self.assertEqual(shown, ["ENODEV", "d0 34 2e 31 00"])

    def test_waiting_requests_fail(self):
        shown = self.emulate(FEATURES + inputs(5), """
import threading
node = opened()
asked = threading.Thread(target=lambda: print(feature(node, 0xD0, room=64)))
asked.start()
asked.join()
""", "--fault", "late=0xD0:4", "--unplug-after", "5", "--rate", "20")
        self.assertEqual(shown, ["ENODEV"])

    def test_appears_later(self):
        shown = self.emulate(FEATURES, """
print(failure(opened), failure(os.stat, NODE), "hidraw9" in os.listdir(ENTRIES))
""", "--appear-after", "3600")
        self.assertEqual(shown, ["ENOENT ENOENT False"])
        begin = time.monotonic()
        shown = self.emulate(FEATURES, """
wait_for(lambda: "hidraw9" in os.listdir(ENTRIES))
print(feature(opened(), 0xDE))
""", "--appear-after", "1")
        self.assertEqual(shown, ["de 01"])
        self.assertGreaterEqual(time.monotonic() - begin, 1)


class Rates(EmulateTest):
    def test_a_second_at_1_kHz(self):
        """As many as a second has, and no burst. A busy machine may hold the reader up for longer than 64
        reports take: those that it misses then are counted."""
        script = """
from node import *
begin = time.monotonic()
node = opened()
print(len(numbers_until_the_end(node)), time.monotonic() - begin)
"""
        words = "--rate", "1000", "--unplug-after", "1000", "--stats", self.file("capture", inputs(1000, 2064)), "--"
        status, out, err = self.run_words(*words, sys.executable, "-c", script)
        self.assertEqual(status, 0, err)
        sent, dropped = map(int, re.search(r": 0 requests, (\d+) reports sent, (\d+) dropped", err).groups())
        came, seconds = out.split()
        self.assertEqual((sent, int(came) + dropped), (1000, 1000))
        self.assertGreater(float(seconds), 0.998)  # from the first to the last there are 999 ms


if __name__ == "__main__":
    run_side_by_side()
