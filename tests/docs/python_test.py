#!/usr/bin/env python3
"""Run the blocks of docs/python.md in their order, compare what they print with what the page shows, and
the values they make with those worked out here from what the captures were made of.

VESK_PYTHON names the folder of the package. With --show, print what each block gives; the picture stays
in the folder that is given then.
"""

import contextlib
import io
import math
import os
import subprocess
import sys
import tempfile
import unittest
import warnings
from datetime import datetime, timedelta
from pathlib import Path

import numpy as np
import python_page
from python_page import CHANNELS, START, captures

PACKAGE = Path(os.environ["VESK_PYTHON"]).resolve()
sys.path.insert(0, str(PACKAGE))


def run(block, variables):
    """What it prints."""
    if block.language == "python":
        shown = io.StringIO()
        with contextlib.redirect_stdout(shown):
            exec(compile(block.text, f"python.md:{block.line}", "exec"), variables)
        return shown.getvalue()
    done = subprocess.run(
        ["bash", "-euc", block.text], capture_output=True, text=True, timeout=600, check=False,
        stdin=subprocess.DEVNULL,
        env={
            **os.environ, "PYTHONPATH": str(PACKAGE), "PYTHONDONTWRITEBYTECODE": "1",
            # Another cluster on this machine, whose dashboard has the usual port, is no failure.
            "PYTHONWARNINGS": "ignore:Port 8787 is already in use:UserWarning"})
    if done.returncode != 0 or done.stderr:
        raise AssertionError(f"{block.text}gave {done.returncode}\n{done.stderr}")
    return done.stdout


def mean_and_deviation(values):
    values = [float(value) for value in values]
    mean = math.fsum(values) / len(values)
    return mean, math.sqrt(math.fsum((x - mean) ** 2 for x in values) / (len(values) - 1))


class Page(unittest.TestCase):
    """One test: the blocks build on each other. Each section's values are checked behind it."""

    maxDiff = None

    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = Path(folder.name)
        self.addCleanup(os.chdir, os.getcwd())
        os.chdir(self.folder)
        sys.path.insert(0, str(self.folder))
        self.addCleanup(sys.path.remove, str(self.folder))
        # In a home of its own: matplotlib and dask leave files there.
        os.environ["HOME"] = os.environ["MPLCONFIGDIR"] = str(self.folder)
        python_page.write_files(self.folder)
        python_page.write_captures(self.folder)
        self.many = python_page.write_many(self.folder / "captures")
        self.touch = python_page.touch()
        self.quiet = python_page.quiet()

    def test_blocks(self):
        sections = python_page.sections()
        self.assertEqual(list(sections), list(range(1, 11)))
        page = {"__name__": "page"}
        for number, blocks in sections.items():
            with self.subTest(section=number), warnings.catch_warnings():
                warnings.simplefilter("error", RuntimeWarning)  # of numpy: overflows and the like
                # Harmless, and no warning of ours: modules compiled for an older numpy are imported.
                warnings.filterwarnings("ignore", "numpy.ndarray size changed", RuntimeWarning)
                self.assertTrue(blocks)
                for block in blocks:
                    if not block.file:
                        self.assertEqual(run(block, page), block.expected, f"line {block.line}")
                getattr(self, f"check_{number}")(page)

    def same_frames(self, get):
        for key in self.touch.dtype.names:
            if key != "report_id":
                np.testing.assert_array_equal(get(key), self.touch[key], key)

    def times(self):
        """Of the touch, in microseconds."""
        return [
            START * 10**6 + int(number - captures.FIRST_FRAME) * captures.FRAME_MICROSECONDS
            for number in self.touch["FRAME_NUMBER"]]

    def check_1(self, page):
        self.same_frames(lambda key: page["capture"].image[key])
        self.assertEqual(page["capture"].image["time"].astype(int).tolist(), self.times())
        self.assertEqual(self.touch["FRAME_NUMBER"][500:502].tolist(), [4500, 4504])

    def check_2(self, _page):
        with np.load("touch.npz") as kept:
            self.same_frames(kept.__getitem__)
            self.assertEqual(kept["time"].astype(int).tolist(), self.times())

    def check_3(self, page):
        moments = [datetime(1970, 1, 1) + timedelta(microseconds=one) for one in self.times()]
        self.assertEqual(page["frames"].index.to_pydatetime().tolist(), moments)
        rows = {}
        for moment, degrees in zip(moments, self.touch["TMON_DEG_C"]):
            rows.setdefault(moment.replace(microsecond=0), []).append(float(degrees))
        by_second = page["by_second"]
        self.assertEqual(by_second.index.to_pydatetime().tolist(), list(rows))
        self.assertEqual(by_second["FRAME_NUMBER"].tolist(), [len(one) for one in rows.values()])
        for shown, one in zip(by_second["TMON_DEG_C"], rows.values()):
            self.assertAlmostEqual(shown, math.fsum(one) / len(one), 4)
        samples = self.touch["D_SCAN_I"].tolist()
        np.testing.assert_array_equal(page["d_scan"], samples)
        highest, row, channel = max(
            (sample, -row, -channel)
            for row, line in enumerate(samples) for channel, sample in enumerate(line))
        self.assertEqual(page["d_scan"].max(axis="columns").max(), highest)
        self.assertEqual(page["d_scan"].max(axis="columns").idxmax(), moments[-row])
        self.assertEqual(page["d_scan"].max().idxmax(), f"D_SCAN_I_{-channel}")

    def check_4(self, _page):
        import h5py
        import netCDF4

        with netCDF4.Dataset("touch.nc") as file:
            self.same_frames(lambda key: file[key][:])
            kept = netCDF4.num2date(
                file["time"][:], file["time"].units, only_use_cftime_datetimes=False,
                only_use_python_datetimes=True)
            self.assertEqual(
                [(one - datetime(1970, 1, 1)) // timedelta(microseconds=1) for one in kept],
                self.times())
            self.assertEqual(set(file["source"][:]), {"touch.pcap"})
        with h5py.File("touch.h5") as file:
            self.same_frames(lambda key: file[key][:])
            self.assertEqual(file["time"][:].tolist(), self.times())

    def check_5(self, page):
        samples = self.touch["D_SCAN_I"]
        rest = [sorted(samples[:60, channel].tolist()) for channel in range(CHANNELS)]
        level = [(one[29] + one[30]) / 2 for one in rest]
        np.testing.assert_array_equal(page["signal"], samples - np.array(level))
        highest = (samples - np.array(level)).max()
        self.assertGreater(highest, 59_000)  # the finger
        self.assertEqual(page["signal"][:, page["strongest"]].max(), highest)
        self.assertEqual(page["heat"].get_array().size, samples.size)
        picture = page["pyplot"].imread("touch.png")
        self.assertEqual(picture.shape[:2], (700, 1000))
        red = (picture[..., 0] > 0.5) & (picture[..., 1] < 0.3) & (picture[..., 2] < 0.3)
        self.assertGreater(red[:420, :880].sum(), 1000)  # the finger's way over the channels

    def check_6(self, page):
        samples = self.quiet["D_SCAN_I"].tolist()
        for channel in range(CHANNELS):
            column = [row[channel] for row in samples]
            self.assertAlmostEqual(page["deviation"][channel], mean_and_deviation(column)[1], 6)
            steps = [b - a for a, b in zip(column, column[1:])]
            self.assertAlmostEqual(
                page["without_drift"][channel], mean_and_deviation(steps)[1] / math.sqrt(2), 6)
        self.assertEqual(len(samples), 10_000)

    def check_7(self, page):
        samples = python_page.adc_dump().tolist()
        np.testing.assert_array_equal(page["samples"], samples)
        count = len(samples)
        self.assertEqual(page["frequency"][page["peak"]], python_page.TONE / count)
        window = [0.5 - 0.5 * math.cos(2 * math.pi * n / (count - 1)) for n in range(count)]
        mean = math.fsum(samples) / count
        for turns in (python_page.TONE, 2 * python_page.TONE, 100):
            angles = [2 * math.pi * turns * n / count for n in range(count)]
            values = [(s - mean) * w for s, w in zip(samples, window)]
            real = math.fsum(v * math.cos(a) for v, a in zip(values, angles))
            imaginary = math.fsum(v * math.sin(a) for v, a in zip(values, angles))
            amplitude = 2 * math.hypot(real, imaginary) / math.fsum(window)
            self.assertAlmostEqual(page["amplitude"][turns], amplitude, 6)
        self.assertAlmostEqual(page["amplitude"][python_page.TONE], 300, delta=1)
        self.assertAlmostEqual(page["amplitude"][2 * python_page.TONE], 40, delta=1)

    def check_8(self, page):
        seconds, values = python_page.baselines()
        hours = [float(second) / 3600 for second in seconds]
        middle = math.fsum(hours) / len(hours)
        spread = math.fsum((hour - middle) ** 2 for hour in hours)
        for channel in range(CHANNELS):
            column = [float(row[channel]) for row in values]
            mean = math.fsum(column) / len(column)
            slope = math.fsum((h - middle) * (v - mean) for h, v in zip(hours, column)) / spread
            self.assertAlmostEqual(page["slope"][channel], slope, 6)
            self.assertAlmostEqual(page["start"][channel], mean - slope * middle, 6)

    def check_9(self, page):
        found = page["quiet_noise"]
        for channel in range(CHANNELS):
            mean, deviation = mean_and_deviation(self.quiet["D_SCAN_I"][:, channel].tolist())
            self.assertAlmostEqual(found.mean[channel], mean, 6)
            self.assertAlmostEqual(found.deviation()[channel], deviation, 6)
        # In many parts, and put together with nothing, it is the same.
        noise = page["noise"]
        whole = noise.both(noise.NONE, found)
        np.testing.assert_array_equal(whole.squares, found.squares)
        self.assertEqual(noise.both(noise.NONE, noise.NONE).frames, 0)

    def check_10(self, page):
        """What the program printed, which was compared with the page, and all of its values."""
        samples = np.concatenate([made["D_SCAN_I"] for made in self.many])
        by_channel = [
            mean_and_deviation(samples[:, channel].tolist())[1] for channel in range(CHANNELS)]
        worst = by_channel.index(max(by_channel))
        self.assertEqual(
            python_page.sections()[10][1].expected,
            f"{len(samples)} frames, 0 errors\n"
            f"most noise: {by_channel[worst]:.1f}, channel {worst}\n")


if __name__ == "__main__":
    if sys.argv[1:2] == ["--show"]:
        shown_in = Path(sys.argv[2])
        shown_in.mkdir(parents=True, exist_ok=True)
        os.chdir(shown_in)
        sys.path.insert(0, str(shown_in.resolve()))
        python_page.write_files(shown_in)
        python_page.write_captures(shown_in)
        python_page.write_many(shown_in / "captures")
        names = {"__name__": "page"}
        for section in python_page.sections().values():
            for one in section:
                if not one.file:
                    print(f"python.md:{one.line}\n{run(one, names)}")
    else:
        unittest.main()
