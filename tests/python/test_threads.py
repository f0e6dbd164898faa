"""Threads run while an input is read or waited for, and signals come through."""

import os
import signal
import subprocess
import sys
import threading
import time
from concurrent.futures import ThreadPoolExecutor

import pytest

import vesk_report
from given import STATE, TOUR, frame


def test_reading_lets_other_threads_run():
    content = frame(1, 2, 3) * 100_000
    counts = []
    done = threading.Event()

    def count():
        turns = 0
        while not done.is_set():
            turns += 1
            time.sleep(0.001)
        counts.append(turns)

    thread = threading.Thread(target=count)
    thread.start()
    begin = time.monotonic()
    vesk_report.read(content, form="binary")
    took = time.monotonic() - begin
    done.set()
    thread.join()
    # Had it the interpreter to itself, the other thread would have come in hardly once.
    assert counts[0] > 20, (counts, took)


def test_waiting_lets_other_threads_run():
    reading, writing = os.pipe()
    found = []
    with os.fdopen(reading, "rb", buffering=0) as pipe:
        for source in (f"/dev/fd/{reading}", pipe):
            first = vesk_report.reports if source is pipe else None
            if first is None:
                thread = threading.Thread(
                    target=lambda: found.append(next(vesk_report.reports(f"/dev/fd/{reading}")).value))
            else:
                thread = threading.Thread(
                    target=lambda: found.append(next(vesk_report.reports(pipe)).value))
            thread.start()
            time.sleep(0.2)
            assert thread.is_alive()
            os.write(writing, b"feature de 01\nfeature de 02\n")
            thread.join(600)
            assert not thread.is_alive()
    os.close(writing)
    assert found == ["SINGLE", "SINGLE"]


def test_many_threads_read_at_once():
    expected = repr(vesk_report.read(TOUR))
    with ThreadPoolExecutor(8) as pool:
        assert set(pool.map(lambda _: repr(vesk_report.read(TOUR)), range(200))) == {expected}


def test_many_threads_share_what_decodes_lines():
    report = vesk_report.Plugin().decode(STATE)
    with ThreadPoolExecutor(8) as pool:
        lines = list(pool.map(lambda _: report.lines, range(500)))
    assert lines == [["ADC Dump State: SINGLE"]] * 500


def test_an_iterator_is_for_one_thread_at_a_time():
    class Slow:
        """A file of two reports: the second comes when the test wants it."""

        def __init__(self):
            self.asked, self.given = threading.Event(), threading.Event()
            self.pieces = [self.second, lambda: b"feature de 01\n"]

        def second(self):
            self.asked.set()
            assert self.given.wait(600)
            return b"feature de 02\n"

        def read(self, size):
            return self.pieces.pop()() if self.pieces else b""

    file = Slow()
    found = vesk_report.reports(file)
    assert next(found).value == "SINGLE"
    values = []
    thread = threading.Thread(target=lambda: values.append(next(found).value))
    thread.start()
    assert file.asked.wait(600)
    with pytest.raises(ValueError, match="being read already, by another thread"):
        next(found)
    file.given.set()
    thread.join(600)
    assert values == ["CONTINUOUS"]


def test_a_file_object_must_not_ask_its_own_reader():
    class Asking:
        def __init__(self):
            self.pieces = [b"de 01\n" * 30_000, b""]
            self.asked = []

        def read(self, size):
            if len(self.pieces) == 1:
                try:
                    next(found)
                except ValueError as error:
                    self.asked.append(str(error))
            return self.pieces.pop(0)

    file = Asking()
    found = vesk_report.reports(file)
    assert sum(1 for _ in found) == 30_000
    assert file.asked == ["it is being read already, by another thread"]


READER = """
import sys, vesk_report
how, source = sys.argv[1:]
source = sys.stdin.buffer if source == "-" else source
try:
    print("reading", flush=True)
    if how == "read":
        vesk_report.read(source)
    elif how == "batches":
        for _ in vesk_report.batches(source):
            pass
    else:
        for _ in vesk_report.reports(source):
            pass
except KeyboardInterrupt:
    print("interrupted", flush=True)
"""


@pytest.mark.parametrize("how", ["read", "batches", "reports"])
@pytest.mark.parametrize("source", ["/dev/stdin", "-", "endless"])
def test_ctrl_c_ends_a_read(how, source, tmp_path):
    environment = {**os.environ, "PYTHONPATH": os.environ["VESK_PACKAGE"]}
    name = source
    if source == "endless":  # a named pipe that never ends
        name = tmp_path / "pipe"
        os.mkfifo(name)
    process = subprocess.Popen(
        [sys.executable, "-B", "-c", READER, how, name], stdin=subprocess.PIPE,
        stdout=subprocess.PIPE, stderr=subprocess.PIPE, env=environment)
    stop = threading.Event()
    try:
        assert process.stdout.readline() == b"reading\n"
        if source == "endless":
            def feed():
                try:
                    with open(name, "wb") as into:
                        while not stop.is_set():
                            into.write(frame() * 100)
                except BrokenPipeError:
                    pass

            feeder = threading.Thread(target=feed)
            feeder.start()
        time.sleep(0.5)
        begin = time.monotonic()
        process.send_signal(signal.SIGINT)
        assert process.stdout.readline() == b"interrupted\n"
        assert time.monotonic() - begin < 60
        stop.set()
        assert process.wait(600) == 0
        assert process.stderr.read() == b""
        if source == "endless":
            feeder.join(600)
    finally:
        stop.set()
        process.kill()
        process.wait()
        for stream in (process.stdin, process.stdout, process.stderr):
            stream.close()


def test_ctrl_c_while_a_named_pipe_has_no_writer(tmp_path):
    name = tmp_path / "pipe"
    os.mkfifo(name)
    environment = {**os.environ, "PYTHONPATH": os.environ["VESK_PACKAGE"]}
    with subprocess.Popen(
            [sys.executable, "-B", "-c", READER, "read", name], stdout=subprocess.PIPE,
            env=environment) as process:
        assert process.stdout.readline() == b"reading\n"
        time.sleep(0.3)
        process.send_signal(signal.SIGINT)
        assert process.stdout.readline() == b"interrupted\n"


def test_fork_after_the_import():
    expected = len(vesk_report.read(TOUR))
    child = os.fork()
    if child == 0:
        os._exit(0 if len(vesk_report.read(TOUR)) == expected else 1)
    assert os.waitpid(child, 0)[1] == 0
