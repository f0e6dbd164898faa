"""What a checker of types sees: the package by itself, a program that uses it, and mistakes in one."""

import ast
import os
import re
import subprocess
import sys
from pathlib import Path

import vesk_report

HERE = Path(__file__).resolve().parent
PACKAGE = Path(os.environ["VESK_PACKAGE"])
CONFIGURATION = HERE.parents[1] / "python" / "pyproject.toml"


def test_types(tmp_path):
    """The package and the program have no mistakes, and each mistake is found: in one run, most of
    which is spent on numpy."""
    environment = {**os.environ, "MYPYPATH": str(PACKAGE), "MYPY_CACHE_DIR": str(tmp_path)}
    done = subprocess.run(
        [sys.executable, "-m", "mypy", "--strict", "--config-file", CONFIGURATION,
         PACKAGE / "vesk_report", HERE / "example.py", HERE / "mistakes.py"],
        capture_output=True, text=True, check=False, env=environment, cwd=tmp_path)
    errors = re.findall(r"^(\S+):(\d+): error: .*\[([\w-]+)\]$", done.stdout, re.M)
    assert {Path(path).name for path, _, _ in errors} == {"mistakes.py"}, done.stdout
    lines = (HERE / "mistakes.py").read_text().splitlines()
    expected = {number: line.split("# ")[1] for number, line in enumerate(lines, 1) if "# " in line}
    assert {int(line): code for _, line, code in errors} == expected, done.stdout


def test_the_program_runs():
    environment = {**os.environ, "PYTHONPATH": str(PACKAGE)}
    run = subprocess.run([sys.executable, "-B", HERE / "example.py"], capture_output=True, text=True,
                         check=True, env=environment)
    assert run.stdout == f"['adc_dump_state', 'SINGLE', '{os.environ['VESK_VERSION']}']\n"


def test_the_stub_of_the_native_module_has_its_names():
    stub = ast.parse((PACKAGE / "vesk_report" / "_native.pyi").read_text())
    native = vesk_report._native
    for node in stub.body:
        if isinstance(node, ast.ClassDef):
            members = {part.name for part in node.body if isinstance(part, ast.FunctionDef)}
            actual = {name for name in vars(getattr(native, node.name)) if not name.startswith("_")}
            assert members - {"__init__"} == actual, node.name
    functions = {node.name for node in stub.body if isinstance(node, ast.FunctionDef)}
    assert functions == {
        name for name, value in vars(native).items()
        if callable(value) and not isinstance(value, type) and not name.startswith("_")}


def test_the_package_says_that_it_is_typed():
    assert (PACKAGE / "vesk_report" / "py.typed").exists()
