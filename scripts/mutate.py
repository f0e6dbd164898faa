#!/usr/bin/env python3
"""Do the tests notice a wrong decoder? Makes one small change after another in a copy of reports/: a
constant, a label, a format, a key, the order of two fields, lines or keys, a type or a condition.
Each changed copy is built, as far as it has to be, and must fail to compile or fail a test.

    scripts/mutate.py [--limit N] [--seed S] [--jobs N] [--list] [--only PATTERN]

Prints the changes that nothing noticed, which are missing tests; ends with 1 if there are any.
"""

import argparse
import collections
import os
import random
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path
from queue import SimpleQueue

ROOT = Path(__file__).resolve().parent.parent
COMPILER = os.environ.get("CXX", "g++")
FLAGS = ["-std=c++20", "-O0", "-fPIC", "-w", f'-DVESK_CASES="{ROOT}/tests/cases"',
         '-DVESK_VERSION="0"']
TIMEOUT = 300  # seconds; a change may make a loop endless

SUPPORT = ["tests/support/case_file.cpp", "tests/support/support.cpp"]
TESTS = {
    "reports-test": [*SUPPORT, *sorted(
        str(path.relative_to(ROOT)) for path in ROOT.glob("tests/reports/*.cpp"))],
    "plugin-test": [*SUPPORT, *sorted(
        str(path.relative_to(ROOT)) for path in ROOT.glob("tests/plugin/*_test.cpp")
        if path.name != "memory_test.cpp")],
    "memory-test": [*SUPPORT, "tests/plugin/memory_test.cpp"],
}

# What is not changed, since nothing that a report shows depends on it.
SKIPPED = [
    (r"\bLineList \w+\(|\.reserve\(|kMaximumSize =", "room that is taken in advance"),
    (r"throw std::|to_string", "the words of an exception"),
]

# Changes that nothing can notice, and why; counted apart.
EQUIVALENT = [
    (r"full_report.*i32 counter", "the text reads counters by %i anyway, and the object has the kind "
                                  "that makeEntries() names"),
    (r"offsetof\(Record<\d+>", "what stands before the counters is the same in every record"),
    (r"kBlobNames\[kBlobs\]", "room for names that end with a NUL"),
]

Change = collections.namedtuple("Change", "file line kind old new")


# ------------------------------------------------------------------------------------ the changes

STRING = re.compile(r'"((?:[^"\\]|\\.)*)"')
MEMBER = re.compile(r"^\s+(?:u8|u16|u32|u64|i32|f32|Of<[^;]+>|PowerMode) "
                    r"\w+(?:\[[^\]]*\])?;")
LINE_OUT = re.compile(r"^\s+(?:\w+\.add(?:<.*>)?\(.*\);|line<.*>\(.*\),|visit\(.*\);)$")
KEY = re.compile(r'^\s+"\w+"_key = .*,$')
TYPES = {"u8": "u16", "u16": "u8", "u32": "i32", "i32": "u32", "f32": "u32"}


def other_letter(letter):
    if letter.isdigit():
        return str((int(letter) + 1) % 10)
    if letter.isalpha():
        return chr(ord(letter) + (1 if letter.lower() != "z" else -1))
    return "." if letter != "." else ","


def string_changes(text):
    """Changes within a string literal: a letter of its words, or one of its conversions."""
    conversions = list(re.finditer(r"%[-+ #0]*\d*(?:\.\d+)?(?:ll)?[suidxXf]", text))
    inside = {at for found in conversions for at in range(found.start(), found.end())}
    inside |= {at + step for at in range(len(text)) if text[at] == "\\" for step in (0, 1)}
    words = [at for at in range(len(text)) if at not in inside]
    if words:
        for at in {words[0], words[len(words) // 2], words[-1]}:
            yield "label", text[:at] + other_letter(text[at]) + text[at + 1:]
        yield "label", text + " "
    for found in conversions:
        flags, width, rest = re.match(r"%([-+ #0]*)(\d*)(.*)", found.group()).groups()
        if width or rest[-1] not in "sf":  # longer than two characters anyway
            changed = [f"%{flags}{int(width or 1) + 1}{rest}"]
        elif rest == "s":
            changed = [f"%{flags}.2s"]
        else:
            changed = []
        if rest == "f":
            changed.append(f"%{flags}{width}.5f")
        if rest[-1] in "xX":
            changed.append(f"%{flags}{width}{rest[:-1]}{'x' if rest[-1] == 'X' else 'X'}")
        if "-" in flags:
            changed.append(f"%{flags.replace('-', '')}{width}{rest}")
        if rest.startswith("."):
            changed.append(f"%{flags}{width}.{int(rest[1:-1]) + 1}{rest[-1]}")
        for conversion in changed:
            yield "format", text[:found.start()] + conversion + text[found.end():]


def line_changes(line):
    """Changes within a line: (kind, new line)."""
    code = re.split(r"(?<!:)//", line)[0] if not STRING.search(line) else line
    strings = list(STRING.finditer(code))
    for found in strings:
        key = code[found.end():found.end() + 4] == "_key"
        for kind, text in string_changes(found.group(1)):
            yield ("key" if key else kind), f'{line[:found.start()]}"{text}"{line[found.end():]}'
    within = {at for found in strings for at in range(*found.span())}
    for found in re.finditer(r"(?<![\w.'])(0[xX][0-9A-Fa-f]+|\d+)(?![\w.'])", code):
        if found.start() in within or code[:found.start()].endswith("Text<"):
            continue
        number = int(found.group(), 0)
        written = hex(number + 1) if found.group().lower().startswith("0x") else str(number + 1)
        yield "constant", line[:found.start()] + written + line[found.end():]
    for old, new in ((" == ", " != "), (" != ", " == "), ("true", "false"), (" & ", " | ")):
        for found in re.finditer(re.escape(old), code):
            if found.start() not in within:
                yield "condition", line[:found.start()] + new + line[found.end():]
    member = re.match(r"^(\s+)(u8|u16|u32|i32|f32)( \w+.*;)", code)
    if member:
        yield "type", f"{member[1]}{TYPES[member[2]]}{line[member.end(2):]}"
    pairs = list(re.finditer(r'"(\w+)"_key = ([^,;]+?)(, )(?=")', code))
    for found in pairs:
        following = re.match(r'"(\w+)"_key = ([\w.]+(?:\([^)]*\))?)', code[found.end():])
        if following:
            end = found.end() + following.end()
            yield "order", (line[:found.start()] + following.group() + ", "
                            + found.group()[:-2] + line[end:])


def skipped(line):
    text = line.strip()
    return (not text or text.startswith(("//", "#", "static_assert", "namespace", "using ", "}"))
            or any(re.search(pattern, line) for pattern, _ in SKIPPED))


def changes_of(path):
    lines = (ROOT / path).read_text().split("\n")
    skipping = False  # a statement that goes on over several lines
    for number, line in enumerate(lines):
        skipping = skipping or skipped(line)
        if skipping:
            code = line.strip()
            skipping = not (code.endswith((";", "{", "}")) or not code or code[0] in "/#n}")
            continue
        for kind, new in line_changes(line):
            if new != line:
                yield Change(path, number, kind, [line], [new])
        following = lines[number + 1] if number + 1 < len(lines) else ""
        for pattern, kind in ((MEMBER, "field order"), (LINE_OUT, "order"),
                              (KEY, "order")):
            if pattern.match(line) and pattern.match(following) and line != following:
                yield Change(path, number, kind, [line, following], [following, line])


def all_changes():
    files = sorted(str(path.relative_to(ROOT)) for path in ROOT.glob("reports/**/*.[ch]*"))
    return [change for path in files for change in changes_of(path)]


def choose(changes, limit, seed):
    """`limit` of them, from all files and kinds in turn."""
    by_place = collections.defaultdict(list)
    for change in changes:
        by_place[change.file, change.kind].append(change)
    generator = random.Random(seed)
    for group in by_place.values():
        generator.shuffle(group)
    chosen = []
    while len(chosen) < limit and any(by_place.values()):
        for place in sorted(by_place):
            if by_place[place] and len(chosen) < limit:
                chosen.append(by_place[place].pop())
    return chosen


# ------------------------------------------------------------------------------------ the building


def run(command, timeout=TIMEOUT):
    """The exit status; 124 for what never ends."""
    try:
        return subprocess.run(command, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE,
                              timeout=timeout, check=False)
    except subprocess.TimeoutExpired:
        return subprocess.CompletedProcess(command, 124, None, b"timeout")


class Baseline:
    """Everything built once, as it is."""

    def __init__(self, folder, jobs):
        self.folder = folder
        self.product = [
            str(path.relative_to(ROOT))
            for folder in ("text", "plugin", "reports")
            for path in sorted(ROOT.glob(f"{folder}/**/*.cpp"))
        ]
        sources = self.product + sorted({source for test in TESTS.values() for source in test})
        # What all decoders include, compiled once in front of them: no change is made in plugin/.
        self.header = folder / "all.h"
        self.header.write_text('#include "plugin/HIDReportVeskPlugin.h"\n')
        self.must([COMPILER, *FLAGS, "-I", str(ROOT), "-x", "c++-header", str(self.header), "-o",
                   f"{self.header}.gch"])
        with ThreadPoolExecutor(jobs) as pool:
            list(pool.map(self.build, sources))
        self.users = {source: self.includes(source) for source in self.product}

    def object(self, source):
        return self.folder / (source.replace("/", "__") + ".o")

    def build(self, source):
        self.must([COMPILER, *FLAGS, "-I", str(ROOT), "-MMD", "-c", str(ROOT / source), "-o",
                   str(self.object(source))])

    @staticmethod
    def must(command):
        built = run(command)
        if built.returncode != 0:
            raise SystemExit(f"{shlex.join(command)}\n{built.stderr.decode()}")

    def includes(self, source):
        rule = self.object(source).with_suffix(".d").read_text()
        return {os.path.relpath(word, ROOT) for word in rule.split() if word.startswith("/")}


class Worker:
    """A folder with a copy of reports/, in which one change is made at a time."""

    def __init__(self, baseline, folder):
        self.baseline = baseline
        self.folder = folder
        shutil.copytree(ROOT / "reports", folder / "reports")

    def check(self, change):
        """What noticed the change; None if nothing did."""
        path = self.folder / change.file
        lines = (ROOT / change.file).read_text().split("\n")
        lines[change.line:change.line + len(change.old)] = change.new
        path.write_text("\n".join(lines))
        try:
            return self.notice(change)
        finally:
            shutil.copy(ROOT / change.file, path)

    def notice(self, change):
        objects = {source: self.baseline.object(source) for source in self.baseline.product}
        for source, included in self.baseline.users.items():
            if change.file not in included:
                continue
            objects[source] = self.folder / "changed" / objects[source].name
            objects[source].parent.mkdir(exist_ok=True)
            built = run([COMPILER, *FLAGS, "-include", str(self.baseline.header), "-I",
                         str(self.folder), "-I", str(ROOT), "-c", str(self.folder / source), "-o",
                         str(objects[source])])
            if built.returncode != 0:
                asserted = b"static assertion failed" in built.stderr
                return "a static assertion" if asserted else "the compiler"
        product = [str(path) for path in objects.values()]
        for test, sources in TESTS.items():
            program = self.folder / test
            tests = [str(self.baseline.object(source)) for source in sources]
            self.link([*tests, *product, "-lgtest", "-lgtest_main", "-lpthread"], program)
            if test == "reports-test":
                if run([program, "--gtest_filter=*Cases*", "--gtest_fail_fast"]).returncode != 0:
                    return "the cases"
            if run([program, "--gtest_fail_fast"]).returncode != 0:
                return test
        library = self.folder / "libvesk-report.so"
        self.link(["-shared", *product], library)
        differential = [sys.executable, ROOT / "tests" / "differential.py", "--seed", "1", library]
        if run(differential).returncode != 0:
            return "the second decoder"
        return None

    @staticmethod
    def link(arguments, program):
        linked = run([COMPILER, *arguments, "-o", str(program)])
        if linked.returncode != 0:
            sys.exit(linked.stderr.decode())


def shown(change):
    old = "".join(f"\n    - {line.strip()}" for line in change.old)
    return f"{change.file}:{change.line + 1}: {change.kind}{old}" + "".join(
        f"\n    + {line.strip()}" for line in change.new)


def is_equivalent(change):
    text = shown(change).replace("\n", " ")
    return any(re.search(pattern, text) for pattern, _ in EQUIVALENT)


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--limit", type=int, default=250)
    parser.add_argument("--seed", type=int, default=1)
    parser.add_argument("--jobs", type=int, default=os.cpu_count())
    parser.add_argument("--list", action="store_true", help="only show the changes")
    parser.add_argument("--only", default="", help="changes whose text has this pattern")
    arguments = parser.parse_args()

    changes = [change for change in all_changes() if re.search(arguments.only, shown(change))]
    chosen = choose(changes, arguments.limit, arguments.seed)
    if arguments.list:
        print("\n".join(map(shown, chosen)))
        return 0
    with tempfile.TemporaryDirectory(prefix="mutate-") as temporary:
        folder = Path(temporary)
        (folder / "baseline").mkdir()
        baseline = Baseline(folder / "baseline", arguments.jobs)
        workers = SimpleQueue()
        for number in range(arguments.jobs):
            workers.put(worker := Worker(baseline, folder / str(number)))
        if notice := worker.check(Change(chosen[0].file, 0, "none", [], [])):
            sys.exit(f"without any change: noticed by {notice}")

        def check(change):
            worker = workers.get()
            try:
                return change, worker.check(change)
            finally:
                workers.put(worker)

        noticed = collections.Counter()
        survivors = []
        with ThreadPoolExecutor(arguments.jobs) as pool:
            for done, (change, notice) in enumerate(pool.map(check, chosen), 1):
                if notice is None and is_equivalent(change):
                    notice = "nobody, as it changes nothing (EQUIVALENT)"
                noticed[notice] += 1
                if notice is None:
                    survivors.append(change)
                    print(f"NOT NOTICED: {shown(change)}", flush=True)
                if done % 25 == 0:
                    print(f"{done} of {len(chosen)}", file=sys.stderr, flush=True)

    kinds = collections.Counter(change.kind for change in chosen)
    print(f"{len(chosen)} changes of {len(changes)} possible ones, seed {arguments.seed}: "
          + ", ".join(f"{count} {kind}" for kind, count in kinds.most_common()))
    for notice, count in noticed.most_common():
        print(f"{count:5} noticed by {notice}" if notice else f"{count:5} not noticed")
    return 1 if survivors else 0


if __name__ == "__main__":
    sys.exit(main())
