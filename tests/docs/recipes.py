"""The recipes of HACKING.md, read as data: steps, and in them edits and commands.

A recipe is a section `# How to add ...`. Its steps are the numbered items. In a step, a line

    `PATH`, a new file:
    `PATH`, behind `LINE`:
    `PATH`, before `LINE`:
    `PATH`, instead of `LINE`:

is an edit with the code block below it: LINE is a whole line of the file, but for the blanks around
it, and stands there once. A block marked `sh` is a command, run in the root of the tree. So all that
is done to a tree stands in the document, and nothing of it here.
"""

import re
import subprocess
import textwrap
from dataclasses import dataclass, field
from pathlib import Path

SECTION = re.compile(r"^# (How to add [^\n]*)\n(.*?)(?=^# |\Z)", re.M | re.S)
STEP = re.compile(r"^(\d+)\. (.*?)(?=^\d+\. |\Z)", re.M | re.S)
PLACED = re.compile(r"`(?P<path>[^`\n]+)`,\s(?:(?P<new>a\snew\sfile)|(?P<where>behind|before|instead of)\s`(?P<line>[^`\n]+)`):\n\n")
BLOCK = re.compile(r"(?P<indent> *)```(?P<language>\w*)\n(?P<text>.*?)\n? *```\n", re.S)


class Unreadable(Exception):
    """A recipe is not written as it must be, or does not fit the tree."""


@dataclass
class Edit:
    path: str
    where: str  # "new", "behind", "before", "instead of"
    line: str
    text: str

    def apply(self, tree: Path):
        path = tree / self.path
        if self.where == "new":
            if path.exists():
                raise Unreadable(f"{self.path} is there already")
            path.parent.mkdir(parents=True, exist_ok=True)
            path.write_text(self.text, encoding="utf-8")
            return
        if not path.exists():
            raise Unreadable(f"there is no {self.path}")
        lines = path.read_text(encoding="utf-8").splitlines(keepends=True)
        found = [i for i, line in enumerate(lines) if line.strip() == self.line.strip()]
        if len(found) != 1:
            raise Unreadable(f"{self.path} has {len(found)} lines `{self.line.strip()}`, not one")
        begin = found[0] + (1 if self.where == "behind" else 0)
        end = begin + (1 if self.where == "instead of" else 0)
        lines[begin:end] = [self.text]
        path.write_text("".join(lines), encoding="utf-8")


@dataclass
class Command:
    text: str

    def apply(self, tree: Path):
        done = subprocess.run(["bash", "-euo", "pipefail", "-c", self.text], cwd=tree, text=True,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, check=False)
        if done.returncode != 0:
            raise Unreadable(f"the command failed with {done.returncode}:\n{self.text}\n{done.stdout}")


@dataclass
class Step:
    number: int
    title: str
    actions: list = field(default_factory=list)


@dataclass
class Recipe:
    title: str
    steps: list

    def files(self):
        return sorted({action.path for step in self.steps for action in step.actions
                       if isinstance(action, Edit)})


def actions_of(body):
    actions = []
    placed = {match.end(): match for match in PLACED.finditer(body)}
    for block in BLOCK.finditer(body):
        text = textwrap.dedent(
            "\n".join(line[len(block["indent"]):] for line in block["text"].split("\n"))
            if block["indent"] else block["text"]) if block["language"] == "sh" else "\n".join(
                line[len(block["indent"]):] if line.startswith(block["indent"]) else line
                for line in block["text"].split("\n"))
        where = placed.pop(block.start(), None)
        if where is None and block["language"] == "sh":
            actions.append(Command(text))
        elif where is None:
            raise Unreadable(f"nothing says where this block goes:\n{text}")
        else:
            actions.append(Edit(where["path"], "new" if where["new"] else where["where"],
                                where["line"] or "", text + "\n"))
    if placed:
        raise Unreadable(f"no block stands below: {next(iter(placed.values()))[0].strip()}")
    return actions


def recipes_of(page: Path):
    """The recipes of a page, in its order."""
    recipes = []
    for title, section in SECTION.findall(page.read_text(encoding="utf-8")):
        steps = [Step(int(number), body.split("\n", 1)[0], actions_of(body))
                 for number, body in STEP.findall(section)]
        if [step.number for step in steps] != list(range(1, len(steps) + 1)):
            raise Unreadable(f"the steps of \"{title}\" are not numbered in order")
        if steps:
            recipes.append(Recipe(title, steps))
    return recipes
