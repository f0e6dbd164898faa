"""The wheel, and what an import says where something does not fit."""

import os
import re
import shutil
import subprocess
import sys
import zipfile
from pathlib import Path

import pytest

from given import ROOT, TOUR

PACKAGE = Path(os.environ["VESK_PACKAGE"])
VERSION = os.environ["VESK_VERSION"]


def run(*command, **options):
    done = subprocess.run(
        [str(word) for word in command], capture_output=True, text=True, check=False, **options)
    assert done.returncode == 0, done.stdout + done.stderr
    return done.stdout


@pytest.fixture(scope="module")
def wheel(tmp_path_factory):
    """Made in a copy, since setuptools leaves things behind where it works."""
    tree = tmp_path_factory.mktemp("tree")
    shutil.copytree(ROOT / "python", tree / "python", ignore=shutil.ignore_patterns("build", "*.egg-info"))
    for name in ("CMakeLists.txt", "LICENSE"):
        shutil.copy2(ROOT / name, tree)
    run(sys.executable, "-m", "pip", "wheel", "--no-build-isolation", "--no-deps", "--no-index",
        "--disable-pip-version-check", "-w", tree / "wheels", ".", cwd=tree / "python",
        env={**os.environ, "PIP_ROOT_USER_ACTION": "ignore"})
    wheels = list((tree / "wheels").iterdir())
    assert len(wheels) == 1
    return wheels[0]


def test_contents_of_the_wheel(wheel):
    assert re.fullmatch(rf"vesk_report-{re.escape(VERSION)}-cp3\d+-cp3\d+-linux_\w+\.whl", wheel.name)
    with zipfile.ZipFile(wheel) as content:
        names = set(content.namelist())
    sources = {f"vesk_report/{path.name}" for path in (ROOT / "python" / "vesk_report").iterdir()
               if path.is_file()}
    assert sources <= names
    assert {"vesk_report/libvesk-report.so", "vesk_report/LICENSE"} <= names
    assert sum(name.startswith("vesk_report/_native.cpython") for name in names) == 1


def test_the_wheel_installs_and_works(wheel, tmp_path):
    environment = tmp_path / "environment"
    run(sys.executable, "-m", "venv", "--system-site-packages", environment)
    run(environment / "bin" / "pip", "install", "--no-index", "--no-deps",
        "--disable-pip-version-check", wheel)
    code = ("import sys, vesk_report as v; c = v.read(sys.argv[1]);"
            "print(c.image.frames.shape, v.__version__, v.__file__, v.Plugin().path)")
    clean = {name: value for name, value in os.environ.items() if name != "PYTHONPATH"}
    shape, told = run(environment / "bin" / "python", "-c", code, TOUR, env=clean).split(") ")
    version, file, library = told.split()
    assert shape == "(1, 4, 48" and version == VERSION
    assert Path(file).is_relative_to(environment)
    assert Path(library) == Path(file).parent / "libvesk-report.so"  # its own, beside it


def import_with(tmp_path, library):
    """What an import of a copy says that has this library beside it."""
    copy = tmp_path / "vesk_report"
    shutil.copytree(PACKAGE / "vesk_report", copy, ignore=shutil.ignore_patterns("__pycache__"))
    shutil.copy2(library, copy / "libvesk-report.so")
    code = ("try:\n    import vesk_report\nexcept ImportError as error:\n    print(error)\n"
            "else:\n    print('no error')")
    done = subprocess.run([sys.executable, "-B", "-c", code], capture_output=True, text=True,
                          check=False, env={**os.environ, "PYTHONPATH": str(tmp_path)})
    assert (done.returncode, done.stderr) == (0, "")
    return done.stdout.replace(str(tmp_path), "")


@pytest.mark.parametrize("variable, message", [
    ("VESK_FAKE_OTHER_ABI",
     "is a plug-in of ABI version 2, and this program needs version 1"),
    ("VESK_FAKE_NO_ENTRY", "is no plug-in: it has no vesk_plugin_entry"),
])
def test_a_library_that_does_not_fit(variable, message, tmp_path):
    assert import_with(tmp_path, os.environ[variable]) == (
        f"/vesk_report/libvesk-report.so {message}\n")


def test_a_library_with_too_small_a_table(tmp_path):
    assert "lacks functions of ABI version 1" in import_with(
        tmp_path, os.environ["VESK_FAKE_SMALL_TABLE"])


def test_a_library_that_is_no_library(tmp_path):
    assert import_with(tmp_path, TOUR).startswith("cannot load the plug-in: ")


def test_a_plugin_of_other_reports(tmp_path):
    """Tables and their names come from the plug-in, whatever it decodes."""
    copy = tmp_path / "vesk_report"
    shutil.copytree(PACKAGE / "vesk_report", copy, ignore=shutil.ignore_patterns("__pycache__"))
    shutil.copy2(os.environ["VESK_SCRIPTED"], copy / "libvesk-report.so")
    code = r"""
import vesk_report as v
report = b"\x50k\x01An\x04\xfek\x01Ba\x08\x03"
lines = [f"F: 0.0 {len(one)} {one.hex(' ')}" for one in (report, b"\x52s\x02hi")]
capture = v.read("\n".join(lines).encode(), form="recording")
print(capture, list(capture.tables))
print(capture.scripted["A"], capture.scripted["B"], list(capture.other["value"]))
print(capture.errors)
print(v.read(b"").scripted.keys, len(v.read(b"").scripted["time"]))
"""
    out = run(sys.executable, "-B", "-c", code, env={**os.environ, "PYTHONPATH": str(tmp_path)})
    assert out.splitlines() == [
        "<Capture: 1 scripted, 1 other; 0 errors> ['scripted', 'other']",
        "[-2] [[0.5 1.  1.5]] ['hi']",
        "<Errors: none>",
        "() 0",
    ]
