#!/usr/bin/env python3
"""Make the Debian packages, look into them, and use what they hold from a scratch folder.

    packages_test.py [FOLDER]     with FOLDER, the packages there are looked at instead
"""

import gzip
import os
import re
import stat
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

from support import (
    BUILD, EMULATED, ROOT, VERSION, VERSIONS_TEXT, development_files, emulator_files, files_in,
    library_files, python_files, run, tool_files)

READY = Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None
PROGRAMS = ["vesk-decode", "vesk-emulate"]
NAMES = ["libvesk-report", "libvesk-report-dev", "python3-vesk-report", *PROGRAMS]

# What of somebody else is compiled into a package's files.
PARTS = {"python3-vesk-report": ["pybind11"], "vesk-decode": ["CLI11", "valijson", "nlohmann"],
         "vesk-emulate": ["CLI11"]}


class Packages(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.scratch = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        folder = READY
        if folder is None:
            folder = cls.scratch / "packages"
            subprocess.run(
                [os.environ["CPACK"], "-B", folder], cwd=BUILD, check=True, capture_output=True)
        cls.files = {path.name.split("_")[0]: path for path in folder.glob("*.deb")}
        cls.root = cls.scratch / "root"
        cls.trees = {}
        for name, path in cls.files.items():
            cls.trees[name] = cls.scratch / name
            run("dpkg-deb", "-x", path, cls.trees[name])
            run("dpkg-deb", "-x", path, cls.root)
        library = next(cls.root.rglob("libvesk-report.so"))
        cls.libdir = library.parent.relative_to(cls.root / "usr")

    def field(self, name, field):
        return run("dpkg-deb", "-f", self.files[name], field).strip()

    def test_names(self):
        self.assertEqual(sorted(self.files), NAMES)
        architecture = run("dpkg", "--print-architecture").strip()
        for name, path in self.files.items():
            self.assertRegex(path.name, rf"^{name}_{re.escape(VERSION)}_{architecture}\.deb$")

    def test_contents(self):
        zsh = next(self.root.rglob("_vesk-decode")).parent.relative_to(self.root / "usr")
        expected = {
            "libvesk-report": library_files(".gz", self.libdir),
            "libvesk-report-dev": development_files(".gz", self.libdir),
            "python3-vesk-report": python_files(".gz"),
            "vesk-decode": tool_files(".gz", zsh),
            "vesk-emulate": emulator_files(".gz", zsh, self.libdir),
        }
        for name in NAMES:
            self.assertEqual(
                sorted(files_in(self.trees[name])), sorted(f"usr/{file}" for file in expected[name]))

    def paper(self, name, file):
        return self.trees[name] / "usr" / "share" / "doc" / name / file

    def test_copyright(self):
        licence = (ROOT / "LICENSE").read_text().split("developers\n\n")[1]
        for name in NAMES:
            first, *stanzas = self.paper(name, "copyright").read_text().split("\n\n")
            self.assertRegex(first, r"^Format: https://\S+/copyright-format/1\.0/\n")
            self.assertRegex(stanzas[0], r"^Files: \*\nCopyright: 2026 .*\nLicense: Expat\n")
            text = stanzas[0].split("License: Expat\n")[1]
            for line in text.splitlines():
                self.assertRegex(line, r"^ (\.|[^. ].*)$")
            self.assertEqual(text.replace("\n .\n", "\n\n").replace("\n ", "\n")[1:].strip(),
                             licence.strip())
            words = "".join(stanzas)
            for library in ["CLI11", "pybind11", "valijson", "nlohmann"]:
                self.assertEqual(library in words, library in PARTS.get(name, []), library)
            self.assertEqual(len(stanzas), {"vesk-decode": 4}.get(name, 3 if name in PARTS else 1))
            if name in PROGRAMS:
                self.assertTrue(stanzas[1].startswith(f"Files: usr/bin/{name}\n"), stanzas[1])

    def test_changelog(self):
        for name in NAMES:
            changelog = self.paper(name, "changelog.gz").read_bytes()
            self.assertEqual(changelog[4:8], bytes(4))  # no date: the same package each time
            text = gzip.decompress(changelog).decode()
            self.assertEqual(text, (ROOT / "CHANGELOG.md").read_text())
            latest = re.search(r"^## \[(\S+)\] - \d{4}-\d\d-\d\d$", text, re.M)
            self.assertEqual(latest[1], VERSION)

    def test_owners_and_modes(self):
        for name, path in self.files.items():
            for row in run("dpkg-deb", "-c", path).splitlines():
                mode, owner, _, _, _, file = row.split(None, 5)
                self.assertEqual(owner, "root/root", row)
                if mode[0] == "d" or file in [f"./usr/bin/{one}" for one in PROGRAMS]:
                    self.assertEqual(mode[1:], "rwxr-xr-x", row)
                elif mode[0] == "-":
                    self.assertEqual(mode[1:], "rw-r--r--", row)

    def test_control(self):
        sections = {"libvesk-report": "libs", "libvesk-report-dev": "libdevel",
                    "python3-vesk-report": "python", "vesk-decode": "utils", "vesk-emulate": "utils"}
        for name in NAMES:
            self.assertEqual(self.field(name, "Section"), sections[name])
            self.assertEqual(self.field(name, "Version"), VERSION)
            self.assertRegex(self.field(name, "Maintainer"), r"^.+ <.+@.+>$")
            summary, *body = self.field(name, "Description").split("\n")
            self.assertRegex(summary, r"^(decode[rs]|emulates) .{20,60}$")
            self.assertGreaterEqual(len(body), 2)
            for line in body:
                self.assertRegex(line, r"^ \S.{0,79}$")

    def test_dependencies(self):
        same = f"libvesk-report (= {VERSION})"
        self.assertEqual(self.field("libvesk-report-dev", "Depends"), same)
        python = self.field("python3-vesk-report", "Depends")
        self.assertIn("python3-numpy", python)
        self.assertRegex(python, r"python3 \(>= 3\.\d+\), python3 \(<< 3\.\d+\.~\)")
        for name in PARTS:
            self.assertIn(same, self.field(name, "Depends"))
            self.assertEqual(self.field(name, "Recommends"), "libarchive13")
        for name in ["libvesk-report", *PARTS]:
            for needed in ["libc6", "libstdc++6"]:
                self.assertIn(needed, self.field(name, "Depends"))

    def test_library_is_registered(self):
        """Programs that link it learn the package, and the linker's cache is brought up to date."""
        control = self.scratch / "control"
        run("dpkg-deb", "-e", self.files["libvesk-report"], control)
        major = VERSION.split(".")[0]
        self.assertRegex((control / "shlibs").read_text(), rf"^libvesk-report {major} libvesk-report")
        scripts = [control / name for name in ["triggers", "postinst"]]
        self.assertIn("ldconfig", "".join(path.read_text() for path in scripts if path.exists()))

    def test_vesk_decode(self):
        program = self.root / "usr" / "bin" / "vesk-decode"
        self.assertTrue(program.stat().st_mode & stat.S_IXUSR)
        self.assertEqual(run(program, ROOT / "samples" / "versions.hex"), VERSIONS_TEXT)
        place = self.root / "usr" / self.libdir / "libvesk-report.so"
        self.assertIn(f"at {place}\n", run(program, "--version"))

    def test_vesk_report(self):
        """The package, and the library that stands where the package of libraries has it."""
        folder = self.root / "usr" / "lib" / "python3" / "dist-packages"
        code = "import sys, vesk_report as v; print(len(v.read(sys.argv[1])), v.Plugin().path)"
        environment = {**os.environ, "PYTHONPATH": str(folder)}
        told = run("/usr/bin/python3", "-B", "-c", code, ROOT / "samples" / "versions.hex",
                   env=environment)
        place = self.root / "usr" / self.libdir / "libvesk-report.so"
        self.assertEqual(told, f"2 {place}\n")

    def test_vesk_emulate(self):
        program = self.root / "usr" / "bin" / "vesk-emulate"
        self.assertIn("\nHID_NAME=Unit 7\n", run(program, *EMULATED))

    def test_nothing_names_the_build(self):
        for path in self.root.rglob("*"):
            if path.is_file():
                content = path.read_bytes()
                for place in [ROOT, BUILD, self.scratch]:
                    self.assertNotIn(str(place).encode(), content, path)


if __name__ == "__main__":
    unittest.main()
