#!/usr/bin/env python3
"""Make the Debian packages, look into them, and use what they hold from a scratch folder.

    packages_test.py [FOLDER]     with FOLDER, the packages there are looked at instead
"""

import gzip
import os
import re
import shutil
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
        cls.files.pop("vesk-viewer", None)  # see Viewer
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
        self.assertIn("vesk-viewer", self.field("vesk-decode", "Suggests").split(", "))
        self.assertIn("zlib1g", self.field("vesk-decode", "Depends"))
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


class Viewer(unittest.TestCase):
    """The package of the viewer's page, made of one that has what the program looks at. Nothing is
    compiled for it."""

    PAGE = f'<html><script type="text/plain" id="carried" data-version="{VERSION}"></script>\n</html>\n'
    NOTICES = 'Somebody\n\n Their words; and "yours" [1] $2 @3@\n\n\n====\nEnd\n'

    @classmethod
    def setUpClass(cls):
        cls.scratch = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.page = cls.scratch / "vesk-viewer.html"
        cls.notices = cls.scratch / "vesk-viewer.notices"

    def configured(self, build):
        return subprocess.run(
            [os.environ["CMAKE"], "-S", ROOT, "-B", self.scratch / build, "-G", os.environ["GENERATOR"],
             f"-DCMAKE_MAKE_PROGRAM={os.environ['MAKE_PROGRAM']}", f"-DCMAKE_C_COMPILER={os.environ['CC']}",
             f"-DCMAKE_CXX_COMPILER={os.environ['CXX']}", "-DCMAKE_INSTALL_PREFIX=/usr",
             "-DVESK_BUILD_HOST=OFF", "-DVESK_BUILD_TESTS=OFF", "-DCMAKE_SKIP_INSTALL_ALL_DEPENDENCY=ON",
             f"-DVESK_VIEWER_PAGE={self.page}"],
            capture_output=True, text=True, check=False)

    def test_package(self):
        self.page.write_text(self.PAGE)
        self.notices.write_text(self.NOTICES)
        done = self.configured("build")
        self.assertEqual(done.returncode, 0, done.stderr)
        subprocess.run([os.environ["CPACK"], "-D", "CPACK_COMPONENTS_ALL=viewer", "-B", self.scratch],
                       cwd=self.scratch / "build", check=True, capture_output=True)
        self.check(self.scratch / f"vesk-viewer_{VERSION}_all.deb", self.PAGE, self.NOTICES)

    @unittest.skipUnless(READY and [*READY.glob("vesk-viewer_*.deb")], "no such package is named")
    def test_ready_package(self):
        self.check(READY / f"vesk-viewer_{VERSION}_all.deb")

    def check(self, package, page=None, notices=None):
        tree = self.scratch / "tree"
        run("dpkg-deb", "-x", package, tree)
        papers = "usr/share/doc/vesk-viewer"
        self.assertEqual(sorted(files_in(tree)), [f"{papers}/changelog.gz", f"{papers}/copyright",
                                                  "usr/share/vesk/vesk-viewer.html"])
        if page is not None:
            self.assertEqual((tree / "usr/share/vesk/vesk-viewer.html").read_text(), page)
        first, ours, theirs = (tree / papers / "copyright").read_text().split("\n\n")
        self.assertRegex(first, r"^Format: https://\S+/copyright-format/1\.0/\n")
        self.assertRegex(ours, r"^Files: \*\nCopyright: 2026 .*\nLicense: Expat\n")
        head, text = theirs.split("License: Expat and those below\n")
        self.assertTrue(head.startswith("Files: usr/share/vesk/vesk-viewer.html\n"), head)
        for line in text.splitlines():
            self.assertRegex(line, r"^ .*\S")
        if notices is not None:
            self.assertEqual(re.sub("^ [.]?", "", text, flags=re.M), notices)
        fields = run("dpkg-deb", "-f", package)
        for field in ["Section: utils", "Architecture: all", "Enhances: vesk-decode",
                      "Description: decodes captures of HID reports in a browser"]:
            self.assertIn(f"{field}\n", fields)
        self.assertNotIn("Depends", fields)
        shutil.rmtree(tree)

    def test_what_is_no_page(self):
        for page, notices, message in (
            (None, "x", "there is no"), (self.PAGE, None, "there is no"),
            (self.PAGE.replace(VERSION, "0.9"), "x", "is no page of"),
        ):
            for path, text in ((self.page, page), (self.notices, notices)):
                path.unlink(missing_ok=True)
                if text is not None:
                    path.write_text(text)
            done = self.configured("refused")
            self.assertNotEqual(done.returncode, 0)
            self.assertIn(message, " ".join(done.stderr.split()))


if __name__ == "__main__":
    unittest.main()
