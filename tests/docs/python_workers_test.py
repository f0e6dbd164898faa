#!/usr/bin/env python3
"""noise.py of docs/python.md on workers of dask.distributed, of which one is killed in the middle of a
capture: nothing is lost, and the result is that of one process to the last bit.

VESK_PYTHON names the folder of the package.
"""

import array
import fcntl
import functools
import os
import pickle
import signal
import sys
import tempfile
import termios
import threading
import time
import unittest
from pathlib import Path

import numpy as np
import python_page
from python_page import captures

PACKAGE = Path(os.environ["VESK_PYTHON"]).resolve()
FRAMES_OF_PIPE = 600
LIMIT = 600  # seconds for whatever is waited for


def wait_for(what, is_so):
    end = time.monotonic() + LIMIT
    while not (found := is_so()):
        assert time.monotonic() < end, f"waited {LIMIT} seconds: {what}"
        time.sleep(0.02)
    return found


def writer_of(pipe):
    """A descriptor once somebody has opened the pipe to read it; None until then."""
    try:
        return os.open(pipe, os.O_WRONLY | os.O_NONBLOCK)
    except OSError:
        return None


def is_read_up(descriptor):
    """Whether the reader of a pipe has taken all that was written."""
    waiting = array.array("i", [0])
    fcntl.ioctl(descriptor, termios.FIONREAD, waiting)
    return waiting[0] == 0


class Workers(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)
        os.environ["HOME"] = str(self.folder)
        for place in (PACKAGE, self.folder):  # workers look where this process does
            sys.path.insert(0, str(place))
        python_page.write_files(self.folder)
        python_page.write_many(self.folder / "captures")

    def test_a_worker_is_killed(self):
        import noise
        from dask.distributed import Client, LocalCluster

        # The last capture is a pipe: whoever reads it waits here, in the middle, for what comes.
        pipe = self.folder / "captures" / "zz-pipe.pcap"
        capture = self.folder / "whole.pcap"
        captures.write_usbmon(capture, python_page.quiet(FRAMES_OF_PIPE, 99))
        content = capture.read_bytes()
        paths = sorted((self.folder / "captures").iterdir())
        expected = functools.reduce(
            noise.both, map(noise.noise_of, [*paths, capture]), noise.NONE)
        os.mkfifo(pipe)

        self.assertIs(pickle.loads(pickle.dumps(noise.noise_of)), noise.noise_of)
        with LocalCluster(
            n_workers=2, threads_per_worker=1, dashboard_address=None, silence_logs="ERROR"
        ) as cluster, Client(cluster) as client:
            client.wait_for_workers(2)
            processes = client.run(os.getpid)
            client.run(noise.noise_of, str(paths[0]))  # so that both have it before they race
            found = {}
            reading = threading.Thread(
                target=lambda: found.update(noise=noise.noise_of_all("captures", client)),
                daemon=True)
            reading.start()

            descriptor = wait_for("the pipe is opened", lambda: writer_of(pipe))
            os.set_blocking(descriptor, True)
            os.write(descriptor, content[:len(content) // 2])
            wait_for("half of it is read", lambda: is_read_up(descriptor))
            wait_for(
                "all other captures are read",
                lambda: sum(map(len, client.has_what().values())) == len(paths))
            (victim,) = [worker for worker, keys in client.processing().items() if keys]
            self.assertTrue(client.has_what()[victim], "results that are lost with it")
            os.kill(processes[victim], signal.SIGKILL)
            wait_for("it is gone", lambda: victim not in client.scheduler_info()["workers"])
            os.close(descriptor)
            self.assertTrue(reading.is_alive())

            # Another one begins with the capture anew.
            descriptor = wait_for("the pipe is opened again", lambda: writer_of(pipe))
            os.set_blocking(descriptor, True)
            written = 0
            while written < len(content):
                written += os.write(descriptor, content[written:])
            os.close(descriptor)
            reading.join(LIMIT)
            self.assertFalse(reading.is_alive())

        self.assertEqual(found["noise"].frames, 400 * len(paths) + FRAMES_OF_PIPE)
        self.assertEqual(found["noise"].errors, 0)
        for ours, wanted in zip(found["noise"], expected):
            np.testing.assert_array_equal(ours, wanted)


if __name__ == "__main__":
    unittest.main()
