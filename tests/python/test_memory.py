"""Who owns the memory, how long, and how much of it there is."""

import gc
import pickle
import weakref

import numpy as np
import pytest

import vesk_report
from given import frame, hex_lines, run_python

MIB = 1 << 20


def test_a_view_keeps_the_memory_when_all_else_is_gone():
    capture = vesk_report.read(hex_lines(*[frame(i, i - 50) for i in range(100)]))
    views = [capture.image["D_SCAN_I"], capture.image.frames, capture.image[10:20].frames,
             capture.image.array["FRAME_NUMBER"]]
    expected = [view.copy() for view in views]
    watched = weakref.ref(capture)
    del capture
    gc.collect()
    assert watched() is None
    others = [vesk_report.read(hex_lines(*[frame(7, 7)] * 100)) for _ in range(20)]
    for view, copy in zip(views, expected):
        np.testing.assert_array_equal(view, copy)
    assert views[1][99, 0, 0] == 49
    del others


def test_memory_goes_with_the_last_view():
    def resident():
        with open("/proc/self/statm", encoding="ascii") as file:
            return int(file.read().split()[1]) * 4096

    content = frame(1, 2, 3) * 100_000  # 79 MB, and as much as a table
    capture = vesk_report.read(content, form="binary")
    view = capture.image["D_SCAN_I"]
    del capture
    gc.collect()
    held = resident()
    assert view[99_999, 0] == 2
    del view
    gc.collect()
    assert held - resident() > 70 * MIB


def test_batches_that_are_let_go_take_no_memory():
    content = frame(1, 2, 3) * 50_000
    sums = []
    for batch in vesk_report.batches(content, rows=1000, form="binary"):
        sums.append(int(batch.image.frames.sum()))
    assert sums == [5 * 1000] * 50


def test_texts_of_a_batch_go_with_it():
    versions = b"".join(b"\xd0version %d\0" % i for i in range(10_000))
    texts = [batch.version["value"].texts
             for batch in vesk_report.batches(versions, rows=100, form="binary")]
    assert len(texts) == 100
    assert all(len(part) <= 102 for part in texts)  # the empty one and the source's besides


def test_the_table_is_taken_over_not_copied():
    capture = vesk_report.read(frame() * 10, form="binary")
    base = capture.image.array
    while isinstance(base, np.ndarray):
        base = base.base
    view = base.obj if isinstance(base, memoryview) else base
    assert type(view).__name__ == "TableMemory"


PEAK = """
import io, os, resource, subprocess, sys, threading
import vesk_report
how, frames = sys.argv[1], int(sys.argv[2])
one = bytes.fromhex(sys.argv[3])
def peak():
    with open("/proc/self/status") as file:
        return next(int(line.split()[1]) for line in file if line.startswith("VmHWM")) / 1024
vesk_report.read(one * 3, form="binary")
before = peak()
def feed(into):
    for _ in range(frames // 100):
        into.write(one * 100)
    into.close()
if how == "file":
    capture = vesk_report.read(sys.argv[4])
else:
    reading, writing = os.pipe()
    pipe, into = os.fdopen(reading, "rb"), os.fdopen(writing, "wb")
    thread = threading.Thread(target=feed, args=(into,))
    thread.start()
    capture = vesk_report.read(f"/dev/fd/{reading}" if how == "fifo" else pipe)
    thread.join()
assert len(capture.image) == frames, len(capture.image)
print(peak() - before - capture.image.nbytes / 2**20)
"""


@pytest.mark.parametrize("how", ["file", "pipe", "fifo"])
def test_peak_is_the_table_and_little_more(how, tmp_path):
    frames = 200_000
    path = tmp_path / "frames.bin"
    if how == "file":
        with open(path, "wb") as file:
            for _ in range(frames // 1000):
                file.write(frame(1, 2, 3) * 1000)
    done = run_python(PEAK, how, frames, frame(1, 2, 3).hex(), path)
    assert done.returncode == 0, done.stderr
    assert float(done.stdout) < 64, done.stdout


@pytest.mark.parametrize("make", [
    lambda: vesk_report.reports(b"de 01\n"), lambda: vesk_report.batches(b"de 01\n")])
def test_what_is_being_read_does_not_pickle(make):
    with pytest.raises(TypeError):
        pickle.dumps(make())
