"""Live devices, which vesk-emulate makes of captures."""

import os
import subprocess
import sys

import pytest

import vesk_report
from given import FORMS, TOUR

EMULATE = os.environ["VESK_EMULATE"]


def emulated(code, *options, capture=TOUR, timeout=600):
    """What a program prints that finds a device of the capture at /dev/hidraw9."""
    environment = {**os.environ, "PYTHONPATH": os.environ["VESK_PACKAGE"]}
    done = subprocess.run(
        [EMULATE, *options, capture, "--", sys.executable, "-B", "-c",
         "import vesk_report\n" + code],
        capture_output=True, text=True, timeout=timeout, check=False, env=environment)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


def test_feature_reports_are_asked_for():
    out = emulated("""
capture = vesk_report.read("/dev/hidraw9")
print(list(capture.version["value"]), list(capture.adc_dump_state["value"]), len(capture.image))
print(capture.adc_dump_state["place"].dtype, capture.errors.counts)
print(set(capture.version["source"]), list(capture.version["device"])[0][:12])
print(vesk_report.read("/dev/hidraw9", report=0xDE))
""", "--name", "Vesk touch")
    lines = out.splitlines()
    assert lines[0] == "['4.12.0'] ['SINGLE'] 0"
    assert lines[1] == "uint64 {}"
    assert lines[2] == "{'/dev/hidraw9'} /dev/hidraw9"
    assert lines[3] == "<Capture: 1 adc_dump_state; 0 errors>"


def test_devices_and_their_names():
    out = emulated("""
(device,) = vesk_report.devices()
print(device.node, device.name, device.known > 0, device.failure == "")
print(len(vesk_report.read("hid:touch", report=0xDE)))
""", "--name", "Vesk touch")
    assert out == "/dev/hidraw9 Vesk touch True True\n1\n"


def test_input_reports_are_followed():
    out = emulated("""
numbers = []
with vesk_report.reports("/dev/hidraw9", follow=True, report=0x76) as found:
    for report in found:
        numbers.append(int(report["FRAME_NUMBER"]))
        if len(numbers) == 1:
            break
print(numbers, report.where, report.type)
""")
    numbers = vesk_report.read(TOUR).image["FRAME_NUMBER"].tolist()
    assert out == f"{numbers[:1]} /dev/hidraw9: report 1 input\n"


def test_a_duration_ends_it():
    out = emulated("""
import time
begin = time.monotonic()
capture = vesk_report.read("/dev/hidraw9", follow=True, duration=5)
print(len(capture.image), len(capture.version), time.monotonic() - begin >= 5)
""")
    assert out == "1 1 True\n"


def test_parts_come_though_there_is_no_end():
    out = emulated("""
came = 0
with vesk_report.batches("/dev/hidraw9", follow=True, seconds=0.5) as parts:
    while came < 16:  # as many as there are
        came += len(next(parts))
print(came)
""")
    assert out == "16\n"


def test_ctrl_c_while_a_device_is_silent():
    out = emulated("""
import os, signal, threading
threading.Timer(1, os.kill, (os.getpid(), signal.SIGINT)).start()
try:
    for report in vesk_report.reports("/dev/hidraw9", follow=True):
        pass
except KeyboardInterrupt:
    print("interrupted")
""")
    assert out == "interrupted\n"


def test_files_come_before_devices():
    out = emulated(f"""
found = vesk_report.reports(["/dev/hidraw9", {str(FORMS / 'tour.bin')!r}], report=0xDE)
print([os.path.basename(report.source) for report in found])
""".replace("found =", "import os\nfound =", 1))
    assert out == "['tour.bin', 'hidraw9']\n"


def test_a_device_that_is_not_there():
    for function in (vesk_report.read, vesk_report.reports, vesk_report.batches):
        with pytest.raises(OSError, match="hid:nothing-has-this-name"):
            list(function("hid:nothing-has-this-name"))


@pytest.mark.parametrize("source, options, message", [
    (TOUR, {"follow": True}, "follow=: no live device is named; devices() shows them"),
    (TOUR, {"duration": 1}, "duration=: no live device is named"),
    ("hid:x", {"form": "hex"}, "form= is for files, and hid:x is a live device"),
    ("hid:x", {"device": "1:5"}, "device= is for files, and hid:x is a live device"),
    (["hid:x", "hid:x"], {}, "hid:x: named twice"),
    ("hid:x", {"report": 0x76}, "no feature report is chosen that hid:x could be asked for"),
    ("hid:x", {"report": 0xDE, "follow": True}, "follow= goes on with input reports, and none is"),
    ("hid:x", {"report": 0x76, "every": 1.0, "follow": True}, "every= asks for feature reports"),
    ("hid:x", {"every": -1.0}, "every=-1.0: a number of seconds"),
    ("hid:x", {"follow": True}, "have no end without duration="),
])
def test_what_makes_no_sense(source, options, message):
    with pytest.raises(ValueError) as raised:
        vesk_report.read(source, **options)
    assert message in str(raised.value)
