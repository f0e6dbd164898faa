#!/usr/bin/env python3
"""Install into a scratch folder, move the tree elsewhere, and use it from C++, C and the shell."""

import os
import re
import shutil
import tempfile
import unittest
from pathlib import Path

from support import (
    BUILD, EMULATED, HEADERS, ROOT, VERSION, VERSIONS_TEXT, development_files, emulator_files, files_in,
    library_files, python_files, run, tool_files)

HERE = Path(__file__).resolve().parent

# What cpp/reader.cpp prints.
READ = [
    "CONTINUOUS",
    "ADC Dump State: CONTINUOUS",
    "26",
    "START_ADDRESS: 7",
    "CHANNEL_ENABLE_MASK: 0",
    "SAMPLE_COUNT: 0",
    "STIM_TIMER_COMPARE: 0",
    'TRIGGER_SOURCE: "RX_EN"',
    "0",
    "48",
    "values:",
    "00000001 0000abcd ",
    "---",
    "1 43981 ",
]


class Installed(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.scratch = Path(cls.enterClassContext(tempfile.TemporaryDirectory()))
        cls.tree = cls.scratch / "moved"
        first = cls.scratch / "first"
        run(os.environ["CMAKE"], "--install", BUILD, "--prefix", first)
        first.rename(cls.tree)
        library = next(cls.tree.rglob("libvesk-report.so"))
        cls.libdir = library.parent.relative_to(cls.tree)

    def test_layout(self):
        zsh = next(self.tree.rglob("_vesk-decode")).parent.relative_to(self.tree)
        expected = (
            library_files("", self.libdir) | development_files("", self.libdir)
            | tool_files("", zsh) | emulator_files("", zsh, self.libdir) | python_files(""))
        self.assertEqual(sorted(files_in(self.tree)), sorted(expected))

    def test_nothing_points_to_the_build(self):
        for name in files_in(self.tree):
            if name.endswith((".cmake", ".pc")):
                text = (self.tree / name).read_text()
                for place in [ROOT, BUILD, self.scratch]:
                    self.assertNotIn(str(place), text, name)

    def test_cpp_project(self):
        build = self.scratch / "cpp"
        run(os.environ["CMAKE"], "-S", HERE / "cpp", "-B", build, "-G", os.environ["GENERATOR"],
            f"-DCMAKE_MAKE_PROGRAM={os.environ['MAKE_PROGRAM']}",
            f"-DCMAKE_CXX_COMPILER={os.environ['CXX']}", f"-DCMAKE_PREFIX_PATH={self.tree}",
            "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Wpedantic -Werror")
        run(os.environ["CMAKE"], "--build", build)
        self.assertEqual(run(build / "consumer"), "SINGLE\n")
        self.assertEqual(run(build / "reader").splitlines(), READ)

    def test_other_major_version_is_refused(self):
        source = self.scratch / "too-new"
        shutil.copytree(HERE / "cpp", source)
        lists = source / "CMakeLists.txt"
        lists.write_text(lists.read_text().replace("VeskReport 1.0", "VeskReport 2.0"))
        with self.assertRaisesRegex(AssertionError, "compatible"):
            run(os.environ["CMAKE"], "-S", source, "-B", source / "build",
                "-G", os.environ["GENERATOR"],
                f"-DCMAKE_MAKE_PROGRAM={os.environ['MAKE_PROGRAM']}",
                f"-DCMAKE_CXX_COMPILER={os.environ['CXX']}", f"-DCMAKE_PREFIX_PATH={self.tree}")

    def pkg_config(self, *arguments):
        environment = {**os.environ, "PKG_CONFIG_PATH": str(self.tree / self.libdir / "pkgconfig")}
        return run("pkg-config", *arguments, "vesk-report", env=environment).split()

    def test_c_project(self):
        program = self.scratch / "c-consumer"
        plugin = self.pkg_config("--variable=plugin")[0]
        run(os.environ["CC"], "-std=c99", "-Wall", "-Wextra", "-Wpedantic", "-Werror",
            *self.pkg_config("--cflags"), f'-DPLUGIN="{plugin}"', HERE / "c" / "main.c",
            "-o", program, "-ldl")
        self.assertEqual(run(program), f"{VERSION}\n")

    def test_linked_by_pkg_config(self):
        program = self.scratch / "linked"
        run(os.environ["CXX"], "-std=c++20", *self.pkg_config("--cflags"),
            HERE / "cpp" / "main.cpp", "-o", program, *self.pkg_config("--libs"))
        environment = {**os.environ, "LD_LIBRARY_PATH": str(self.tree / self.libdir)}
        self.assertEqual(run(program, env=environment), "SINGLE\n")
        self.assertEqual(self.pkg_config("--modversion"), [VERSION])

    def test_every_header_stands_alone(self):
        for header in HEADERS:
            source = self.scratch / "one-header.cpp"
            source.write_text(f'#include "{header}"\n')
            run(os.environ["CXX"], "-std=c++20", "-fsyntax-only", *self.pkg_config("--cflags"),
                source)

    def test_headers_only_read(self):
        """A program that includes them gets no macros, no assembly, and nothing that formats."""
        for header in HEADERS:
            text = (self.tree / "include/vesk-report" / header).read_text()
            macros = re.findall(r"^\s*#\s*define\s+(\w+)", text, re.MULTILINE)
            if header == "plugin/vesk_plugin.h":
                macros = [name for name in macros if not name.startswith("VESK_")]
            self.assertEqual(macros, [], header)
            self.assertNotRegex(text, r"\b(__)?asm\b", header)
            for included in re.findall(r'^\s*#\s*include\s+"([^"]+)"', text, re.MULTILINE):
                self.assertIn(included, HEADERS, header)

        source = self.scratch / "class.cpp"
        source.write_text('#include "plugin/HIDReportVeskPlugin.h"\n')
        files = run(os.environ["CXX"], "-std=c++20", "-M", *self.pkg_config("--cflags"), source)
        self.assertIn("plugin/HIDReportVeskPlugin.h", files)
        self.assertNotIn("intrin.h", files)

    def test_readme_installs_what_was_built(self):
        """README's words follow its first command, which leaves this folder and no other."""
        told = re.search(r"`cmake --install (\S+)`", (ROOT / "README.md").read_text())
        built = re.search(r"^build=\$root/(\S+)$", (ROOT / "scripts" / "decode").read_text(), re.M)
        self.assertEqual(told[1], built[1])

    def test_python_package(self):
        """From the moved tree, with the plug-in that stands there."""
        folder = self.tree / "lib" / "python3" / "dist-packages"
        code = ("import sys, vesk_report as v; c = v.read(sys.argv[1]);"
                "print(len(c), v.__version__, v.Plugin().path)")
        environment = {**os.environ, "PYTHONPATH": str(folder)}
        told = run("/usr/bin/python3", "-B", "-c", code, ROOT / "samples" / "versions.hex",
                   env=environment)
        self.assertEqual(told, f"2 {VERSION} {self.tree / self.libdir}/libvesk-report.so\n")

    def test_vesk_decode(self):
        program = self.tree / "bin" / "vesk-decode"
        self.assertEqual(run(program, ROOT / "samples" / "versions.hex"), VERSIONS_TEXT)
        self.assertIn(f"{self.tree / self.libdir}/libvesk-report.so", run(program, "--version"))

    def test_vesk_emulate(self):
        self.assertIn("\nHID_NAME=Unit 7\n", run(self.tree / "bin" / "vesk-emulate", *EMULATED))


if __name__ == "__main__":
    unittest.main()
