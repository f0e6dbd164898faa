"""What the tests of the installed tree and of the packages share.

The environment names the build folder (VESK_BUILD), the tools that it was made by (CMAKE, CPACK, CC,
CXX, MAKE_PROGRAM and GENERATOR), and the version (VESK_VERSION).
"""

import os
import subprocess
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
BUILD = Path(os.environ["VESK_BUILD"])
VERSION = os.environ["VESK_VERSION"]

HEADERS = [
    "model/LineList.h", "model/Number.h", "model/ReportObject.h", "model/Result.h", "model/wire.h",
    "plugin/Error.h", "plugin/HIDReportVeskPlugin.h", "plugin/ReportTable.h", "plugin/vesk_plugin.h",
]
VERSIONS_TEXT = (
    "\n4.12.0\n\n\npanel-4.12.0\nsdk-2.9.1\ntoolchain-17.0.6\n9.3.2\nvendor-118\nalgs-5.5.0\n\n\n")


def run(*command, **options):
    """The command's standard output; it has to succeed and to say nothing on standard error."""
    done = subprocess.run(
        [str(word) for word in command], capture_output=True, text=True, timeout=600, **options)
    if done.returncode != 0 or done.stderr:
        raise AssertionError(f"{command}: {done.returncode}\n{done.stdout}\n{done.stderr}")
    return done.stdout


def files_in(folder):
    """Every file and link below the folder, relative to it."""
    return {str(path.relative_to(folder)) for path in folder.rglob("*") if not path.is_dir()}


def papers(package, ending):
    return {f"share/doc/{package}/{name}" for name in ["copyright", f"changelog{ending}"]}


def library_files(ending, libdir):
    """With the ending of compressed documents."""
    major = VERSION.split(".")[0]
    return papers("libvesk-report", ending) | {
        f"{libdir}/libvesk-report.so{end}" for end in ["", f".{major}", f".{VERSION}"]}


def development_files(ending, libdir):
    return (
        papers("libvesk-report-dev", ending)
        | {f"include/vesk-report/{header}" for header in HEADERS}
        | {f"{libdir}/cmake/VeskReport/VeskReportConfig{end}" for end in build_type_files()}
        | {f"{libdir}/pkgconfig/vesk-report.pc"})


def build_type_files():
    cache = (BUILD / "CMakeCache.txt").read_text()
    build_type = next(
        line.split("=")[1] for line in cache.splitlines() if line.startswith("CMAKE_BUILD_TYPE:"))
    return [".cmake", f"-{build_type.lower() or 'noconfig'}.cmake", "Version.cmake"]


def python_files(ending):
    """All of the package's sources, and the module, which is for the Python that these tests need not
    be run by."""
    folder = "lib/python3/dist-packages/vesk_report"
    sources = {
        f"{folder}/{path.name}" for path in (ROOT / "python" / "vesk_report").iterdir()
        if path.is_file()}
    module = next((BUILD / "python" / "vesk_report").glob("_native.*.so")).name
    return papers("python3-vesk-report", ending) | sources | {f"{folder}/{module}"}


def emulator_files(ending, zsh_folder, libdir):
    return papers("vesk-emulate", ending) | {
        "bin/vesk-emulate",
        f"{libdir}/vesk/libvesk-emulate.so",
        f"share/man/man1/vesk-emulate.1{ending}",
        "share/bash-completion/completions/vesk-emulate",
        f"{zsh_folder}/_vesk-emulate",
    }


def tool_files(ending, zsh_folder):
    doc = "share/doc/vesk-decode"
    samples = {
        f"{doc}/{path.relative_to(ROOT)}" for path in (ROOT / "samples").rglob("*")
        if path.is_file() and path.suffix not in (".py", ".pyc")}
    return samples | papers("vesk-decode", ending) | {
        "bin/vesk-decode",
        "lib/udev/rules.d/60-vesk.rules",
        f"share/man/man1/vesk-decode.1{ending}",
        f"share/man/man5/vesk-limits.5{ending}",
        f"share/man/man5/vesk-ndjson.5{ending}",
        f"share/man/man5/vesk-reports.5{ending}",
        "share/bash-completion/completions/vesk-decode",
        f"{zsh_folder}/_vesk-decode",
        f"{doc}/cookbook.md",
        f"{doc}/limits.schema.json",
        f"{doc}/ndjson.schema.json",
    }


# Arguments of vesk-emulate with which it shows that its device is there.
EMULATED = ["--name", "Unit 7", ROOT / "samples" / "versions.hex", "--",
            "cat", "/sys/class/hidraw/hidraw9/device/uevent"]
