#!/usr/bin/env python3
"""Follow the recipes of HACKING.md to the letter, in a copy of the tree, and see that they suffice.

    recipe_test.py FOLDER                    all of them, in FOLDER, which is kept for the next run
    recipe_test.py --thorough FOLDER         with the tests and benchmarks that take long to compile
    recipe_test.py --leave-out-each FOLDER   besides, leaves each step out in turn, and sees that it is
                                             missed

The copy is built without optimisation, without sanitizers and without the instructions that only
some processors have, which other builds test: once, and then only what a recipe changes. CC, CXX and
CMAKE name the tools. This script makes no edit of its own: what a recipe does not say is not done.
"""

import argparse
import os
import shutil
import subprocess
import sys
import tempfile
from pathlib import Path

from recipes import Unreadable, recipes_of

ROOT = Path(__file__).resolve().parents[2]
PYTHON = "/usr/bin/python3"  # which has what Debian's packages bring

TARGETS = ["vesk-decode", "vesk-report", "reports-test"]
MORE_TARGETS = ["plugin-test", "memory-test", "host-test", "vesk-bench"]

# What a new report, input form or output form must pass; {build} and {tree} are filled in.
CHECKS = [
    ["scripts/format", "--check"],
    ["{build}/bin/reports-test", "--gtest_brief=1"],
    [PYTHON, "-B", "tests/reference/make_cases.py", "--check"],
    [PYTHON, "-B", "tests/coverage_test.py"],
    [PYTHON, "-B", "tests/differential.py", "--seed", "1", "{build}/lib/libvesk-report.so"],
    [PYTHON, "-B", "tests/host/forms_test.py"],
    [PYTHON, "-B", "tests/host/outputs_test.py"],
    [PYTHON, "-B", "tests/docs/help_test.py"],
    [PYTHON, "-B", "tests/docs/reports_test.py"],
]
MORE_CHECKS = [
    ["{build}/bin/plugin-test", "--gtest_brief=1"],
    ["{build}/bin/memory-test", "--gtest_brief=1"],
    ["{build}/bin/host-test", "--gtest_brief=1"],
    ["{build}/bin/vesk-bench", "--check", "20"],
]


def tracked_files():
    listed = subprocess.run(["git", "ls-files", "-z", "--cached", "--others", "--exclude-standard"],
                            cwd=ROOT, stdout=subprocess.PIPE, check=True, text=True).stdout
    return [name for name in listed.split("\0") if name and (ROOT / name).is_file()]


def sync(stage: Path, tree: Path):
    """Makes `tree` what `stage` is, and touches only what differs: the rest is built already."""
    wanted = {path.relative_to(stage) for path in stage.rglob("*") if path.is_file()}
    present = {path.relative_to(tree) for path in tree.rglob("*") if path.is_file()}
    for name in present - wanted:
        (tree / name).unlink()
    for name in wanted:
        content = (stage / name).read_bytes()
        target = tree / name
        if not target.exists() or target.read_bytes() != content:
            target.parent.mkdir(parents=True, exist_ok=True)
            shutil.copy2(stage / name, target)
            os.utime(target)


class Workshop:
    """A tree that recipes are followed in, and what is built of it."""

    def __init__(self, folder: Path, thorough):
        self.targets = TARGETS + (MORE_TARGETS if thorough else [])
        self.checks = CHECKS + (MORE_CHECKS if thorough else [])
        self.tree = folder / "tree"
        self.build = folder / "build"
        self.tree.mkdir(parents=True, exist_ok=True)
        self.names = tracked_files()

    def follow(self, steps):
        """Lays the tree out as it is after these steps."""
        with tempfile.TemporaryDirectory() as scratch:
            stage = Path(scratch)
            for name in self.names:
                (stage / name).parent.mkdir(parents=True, exist_ok=True)
                shutil.copy2(ROOT / name, stage / name)
            git = ["git", "-C", str(stage)]
            subprocess.run([*git, "init", "--quiet"], check=True)
            for step in steps:
                for action in step.actions:
                    action.apply(stage)
            shutil.rmtree(stage / ".git")
            sync(stage, self.tree)
        # scripts/format lays out what git knows.
        git = ["git", "-C", str(self.tree)]
        subprocess.run([*git, "init", "--quiet"], check=True)
        subprocess.run([*git, "add", "--all"], check=True)

    def failure(self):
        """What is wrong with the tree: the first command that fails, and what it says."""
        commands = []
        if not (self.build / "build.ninja").exists():
            tools = [f"-DCMAKE_{language}_COMPILER={os.environ[name]}"
                     for language, name in (("C", "CC"), ("CXX", "CXX")) if name in os.environ]
            commands.append([os.environ.get("CMAKE", "cmake"), "-G", "Ninja", "-S", str(self.tree),
                             "-B", str(self.build), "-DCMAKE_BUILD_TYPE=Debug",
                             "-DCMAKE_CXX_FLAGS_DEBUG=-O0", "-DVESK_BUILD_BENCH=ON",
                             "-DVESK_ROWS=portable", *tools])
        commands.append(["ninja", "-C", str(self.build), *self.targets])
        for check in self.checks:
            commands.append([word.format(build=self.build, tree=self.tree) for word in check])
        env = {**os.environ, "VESK_SANITIZE": "",
               "VESK_DECODE": str(self.build / "bin/vesk-decode"),
               "VESK_PLUGIN": str(self.build / "lib/libvesk-report.so")}
        for command in commands:
            done = subprocess.run(command, cwd=self.tree, env=env, text=True, errors="replace",
                                  stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
            if done.returncode != 0:
                return f"$ {' '.join(command)}\n{done.stdout}"
        return None


def telling_line(failure):
    """Of what a command says when it fails, the line that tells most."""
    lines = (failure or "nothing fails").splitlines()
    for sign in ("HACKING.md, step", "error:", "Error"):
        for line in lines:
            if sign in line:
                return line.strip()
    return lines[-1].strip()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n", 1)[0])
    parser.add_argument("folder", type=Path)
    parser.add_argument("--thorough", action="store_true")
    parser.add_argument("--leave-out-each", action="store_true")
    arguments = parser.parse_args()

    recipes = recipes_of(ROOT / "HACKING.md")
    if len(recipes) < 3:
        sys.exit("HACKING.md has fewer than three recipes: a report, an input form, an output form")
    thorough = arguments.thorough or arguments.leave_out_each
    workshop = Workshop(arguments.folder.resolve(), thorough)
    steps = [step for recipe in recipes for step in recipe.steps]
    try:
        workshop.follow(steps)
    except Unreadable as why:
        sys.exit(f"HACKING.md: {why}")
    if why := workshop.failure():
        sys.exit(f"Who follows HACKING.md to the letter fails:\n{why}")
    for recipe in recipes:
        print(f"{recipe.title}: {len(recipe.steps)} steps, {len(recipe.files())} files: "
              f"{', '.join(recipe.files())}")
    if not arguments.leave_out_each:
        return
    unnoticed = []
    for recipe in recipes:
        for left_out in recipe.steps:
            workshop.follow([step for step in steps if step is not left_out])
            why = workshop.failure()
            print(f"without step {left_out.number} of \"{recipe.title}\": {telling_line(why)}",
                  flush=True)
            if why is None:
                unnoticed.append(f"step {left_out.number} of \"{recipe.title}\"")
    workshop.follow(steps)
    if unnoticed:
        sys.exit(f"nothing fails without {', '.join(unnoticed)}")


if __name__ == "__main__":
    main()
