#!/usr/bin/env python3
"""The man pages and both completions say what `vesk-decode --help` does, no more and no less.

VESK_DECODE names the program.
"""

import json
import os
import re
import shutil
import subprocess
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
DOCS = ROOT / "docs"
PROGRAM = os.environ["VESK_DECODE"]
BASH = ROOT / "packaging" / "vesk-decode.bash"
ZSH = ROOT / "packaging" / "vesk-decode.zsh"

CHOICES = ["--input", "--output", "--color", "--type"]


def output_of(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


class Help:
    """What --help shows."""

    def __init__(self):
        text = output_of(PROGRAM, "--help")
        entries = re.findall(r"^  (-.*(?:\n {10}.*)*)", text, re.M)
        self.names = []  # of each option
        self.choices = {}  # option: its values
        for entry in entries:
            first = re.split(r"  | (?=[A-Z])", entry, maxsplit=1)[0]
            names = first.split(",")
            self.names.append(names + ["-decimal"] * ("-decimal is the same" in entry))
            self.choices[names[-1]] = re.findall(r"^ {20,}(\S+): ", entry, re.M) or self.listed(entry)
            first_form = re.search(r"  (\S+): ", entry.split("\n")[0])
            if first_form and names[-1] == "--output":
                self.choices[names[-1]].insert(0, first_form[1])
        self.options = sorted(name for names in self.names for name in names)
        examples, statuses = text.split("\nExamples:\n")[1].split("\n\nExit status:\n")
        self.examples = re.findall(r"^  (\S.*?) {2,}(\S.*)$", examples, re.M)
        self.statuses = re.findall(r"^  (\d)  (.*)$", statuses, re.M)

    @staticmethod
    def listed(entry):
        """The values in "Colours: auto, always or never"."""
        found = re.search(r": (\w+(?:, \w+)*) or (\w+)$", entry)
        return found[1].split(", ") + [found[2]] if found else []


class Page:
    """A man page, its roff read as far as the pages here use it."""

    def __init__(self, path):
        self.text = path.read_text(encoding="utf-8")
        self.sections = {}
        for section in re.split(r"^\.SH ", self.text, flags=re.M)[1:]:
            title, body = section.split("\n", 1)
            self.sections[title.strip('"')] = body

    @staticmethod
    def plain(roff):
        roff = re.sub(r"\\f[A-Z]", "", roff)
        roff = re.sub(r"^\.[A-Z]+ ", "", roff, flags=re.M)
        return roff.replace("\\", "").replace('"', "")

    def tags(self, section):
        """Each tag with the text behind it."""
        found = []
        for entry in re.split(r"^\.TP\n", self.sections[section], flags=re.M)[1:]:
            tag, text = re.split(r"\n", re.split(r"^\.(?:SS|PP)", entry, flags=re.M)[0], maxsplit=1)
            found.append((self.plain(tag), self.plain(text).strip()))
        return found


class ManPage(unittest.TestCase):
    def setUp(self):
        self.help = Help()
        self.page = Page(DOCS / "vesk-decode.1")

    def test_help_is_understood(self):
        self.assertGreaterEqual(len(self.help.names), 16)
        self.assertEqual(self.help.choices["--color"], ["auto", "always", "never"])
        for option in CHOICES:
            self.assertGreaterEqual(len(self.help.choices[option]), 3, option)
        self.assertEqual([number for number, _ in self.help.statuses], list("012345"))
        self.assertGreaterEqual(len(self.help.examples), 5)

    def test_options(self):
        tags = [re.findall(r"(?<!\w)--?[\w-]+", tag) for tag, _ in self.page.tags("OPTIONS")]
        expected = [[name for name in names if name != "-decimal"] for names in self.help.names]
        self.assertEqual(tags, expected)
        self.assertIn("\n.B \\-decimal\nis the same", self.page.text)

    def test_no_other_options(self):
        for option in re.findall(r"(?<!\w)--[\w-]+", Page.plain(self.page.text)):
            self.assertIn(option, self.help.options)

    def test_forms(self):
        for section, option in [("INPUT FORMS", "--input"), ("OUTPUT FORMS", "--output")]:
            tags = [tag for tag, _ in self.page.tags(section)]
            self.assertEqual(tags, self.help.choices[option])

    def test_other_names_of_forms(self):
        """A form's second name is told beside the first."""
        texts = dict(self.page.tags("OUTPUT FORMS"))
        others = re.findall(r" {20}(\S+): .*; (\S+) is the same$", output_of(PROGRAM, "--help"), re.M)
        self.assertEqual(others, [("recording", "hid")])
        for name, other in others:
            self.assertIn(f"-o {other}\nis the same", texts[name])

    def test_choices(self):
        texts = {tag.split()[0]: text for tag, text in self.page.tags("OPTIONS")}
        for option in ["--color", "--type"]:
            for choice in self.help.choices[option]:
                self.assertRegex(texts[option], rf"\b{choice}\b")

    def test_exit_statuses(self):
        statuses = [(tag, text.rstrip(".")) for tag, text in self.page.tags("EXIT STATUS")]
        expected = [(number, text[0].upper() + text[1:]) for number, text in self.help.statuses]
        self.assertEqual(statuses, expected)

    def test_examples(self):
        examples = [(tag, text.rstrip(".")) for tag, text in self.page.tags("EXAMPLES")]
        expected = [(tag, text[0].upper() + text[1:]) for tag, text in self.help.examples]
        self.assertEqual(examples, expected)


class RecordPage(unittest.TestCase):
    def setUp(self):
        self.page = Page(DOCS / "vesk-ndjson.5")
        self.kinds = json.loads((DOCS / "ndjson.schema.json").read_text())["$defs"]

    def test_codes(self):
        codes = self.kinds["error"]["properties"]["error"]["properties"]["code"]["enum"]
        self.assertEqual([tag for tag, _ in self.page.tags("ERROR CODES")], codes)
        source = (ROOT / "host" / "Problem.cpp").read_text()
        names = re.search(r"kProblemNames = .*?\(\{(.*?)\}\);", source, re.S)[1]
        self.assertEqual(re.findall(r'"(\w+)"', names), codes)

    def test_members(self):
        """Every member has a tag, or is named in bold where its object is described."""
        bold = set(re.findall(r"^\.BR? (\w+)", self.page.text, re.M))
        members = set()

        def collect(schema):
            if isinstance(schema, dict):
                members.update(schema.get("properties", {}))
                for part in schema.values():
                    collect(part)
            elif isinstance(schema, list):
                for part in schema:
                    collect(part)

        collect(self.kinds)
        self.assertEqual(members - bold, set())
        tags = {tag for tag, _ in self.page.tags("DESCRIPTION")}
        self.assertEqual(tags - members, set())


class Formatting(unittest.TestCase):
    def test_no_warnings(self):
        for page in ["vesk-decode.1", "vesk-limits.5", "vesk-ndjson.5", "vesk-reports.5"]:
            made = subprocess.run(
                ["groff", "-man", "-ww", "-Tutf8", "-P-cbou", DOCS / page],
                capture_output=True, text=True)
            self.assertEqual((made.returncode, made.stderr), (0, ""), page)
            self.assertIn("SEE ALSO", made.stdout)
            self.assertEqual([line for line in made.stdout.splitlines() if len(line) > 80], [], page)


class BashCompletion(unittest.TestCase):
    def complete(self, *words):
        script = f"""
            source {BASH}
            [ "$(complete -p vesk-decode)" = 'complete -F _vesk_decode vesk-decode' ] || exit
            COMP_WORDS=(vesk-decode "$@")
            COMP_CWORD=$#
            compopt() {{ :; }}  # works only while bash completes
            _vesk_decode {PROGRAM} "${{COMP_WORDS[COMP_CWORD]}}" "${{COMP_WORDS[COMP_CWORD-1]}}"
            printf '%s\\n' "${{COMPREPLY[@]}}"
        """
        return output_of("bash", "-uc", script, "bash", *words).split()

    def test_options(self):
        self.assertEqual(sorted(self.complete("-")), Help().options)
        self.assertEqual(self.complete("capture.hex", "--st"), ["--stats"])

    def test_choices(self):
        shown = Help()
        for names in shown.names:
            if names[-1] not in CHOICES:
                continue
            for name in names:
                self.assertEqual(self.complete(name, ""), shown.choices[names[-1]], name)
            self.assertEqual(self.complete(names[-1], "="), shown.choices[names[-1]])
            last = shown.choices[names[-1]][-1]
            self.assertEqual(self.complete(names[-1], "=", last[:2]), [last])

    def test_report_ids(self):
        known = re.findall(r"0x\w\w", output_of(PROGRAM, "--list-reports"))
        self.assertEqual(self.complete("--report", "0x"), known)
        for words in (["--report", "0xE1,0x"], ["--report", "=", "0xE1,"]):
            self.assertEqual(self.complete(*words), [f"0xE1,{name}" for name in known])
        self.assertEqual(self.complete("--report", "0xE1,0xDE,0xD0"), ["0xE1,0xDE,0xD0"])

    def test_files(self):
        self.assertEqual(self.complete(f"{ROOT}/samples/to"), [f"{ROOT}/samples/tour.hex"])


class ZshCompletion(unittest.TestCase):
    """The completion is run with functions in the place of zsh's own that print what they get."""

    def arguments(self):
        script = f"""
            _arguments() {{ printf '%s\\0' "$@" }}
            source {ZSH}
        """
        return output_of("zsh", "-fc", script).split("\0")

    def test_syntax(self):
        output_of("zsh", "-n", ZSH)
        self.assertEqual(ZSH.read_text().split("\n")[0], "#compdef vesk-decode")

    def test_options(self):
        options = []
        for argument in self.arguments():
            found = re.match(r"(?:\(.*?\))?\*?(--?[\w-]+)[+=]?\[", argument)
            if found:
                options.append(found[1])
        self.assertEqual(sorted(options), Help().options)

    def test_choices(self):
        shown = Help()
        for option in CHOICES:
            argument = next(argument for argument in self.arguments() if f"{option}=[" in argument)
            values = re.findall(r"(\S+)\\:\"", argument) or re.search(r":\(([\w ]+)\)$", argument)[1].split()
            self.assertEqual(values, shown.choices[option], option)

    def test_descriptions_of_forms(self):
        """Each says how the help's begins."""
        help_text = output_of(PROGRAM, "--help")
        for option in ["--input", "--output"]:
            argument = next(argument for argument in self.arguments() if f"{option}=[" in argument)
            described = re.findall(r"(\S+)\\:\"(.*?)\"", argument)
            self.assertEqual([name for name, _ in described], Help().choices[option])
            for name, description in described:
                self.assertRegex(help_text, rf" {re.escape(name)}: {re.escape(description)}")

    def test_report_ids(self):
        script = f"""
            _arguments() {{ }}
            _describe() {{ print -l -- ${{(P)2}} }}
            source {ZSH}
            words=({PROGRAM})
            _vesk_decode_reports
        """
        rows = output_of("zsh", "-fc", script).split()
        known = output_of(PROGRAM, "--list-reports")
        expected = re.findall(r"(0x\w\w).* (parse\w+)", known)
        self.assertEqual([tuple(row.split(":")) for row in rows], expected)


class Tools(unittest.TestCase):
    def test_they_are_there(self):
        tools = ["bash", "groff", "zsh"]
        self.assertEqual([tool for tool in tools if not shutil.which(tool)], [])


if __name__ == "__main__":
    unittest.main()
