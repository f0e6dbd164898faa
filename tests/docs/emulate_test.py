#!/usr/bin/env python3
"""The man page and both completions of vesk-emulate say what its `--help` does, no more and no less.

VESK_EMULATE_PROGRAM names the program, VESK_DECODE the decoder.
"""

import os
import re
import subprocess
import unittest

from help_test import DOCS, ROOT, Page, output_of

PROGRAM = os.environ["VESK_EMULATE_PROGRAM"]
BASH = ROOT / "packaging" / "vesk-emulate.bash"
ZSH = ROOT / "packaging" / "vesk-emulate.zsh"


class Help:
    """What --help shows."""

    def __init__(self):
        text = output_of(PROGRAM, "--help")
        entries = re.findall(r"^  (-.*(?:\n {10}.*)*)", text, re.M)
        self.names = [re.split(r"  | (?=[A-Z])", entry, maxsplit=1)[0].split(",") for entry in entries]
        self.options = sorted(name for names in self.names for name in names)
        fault = next(entry for entry in entries if entry.startswith("--fault"))
        self.faults = re.findall(r"^ {20,}(\S+=)(\S+): (.*)$", fault, re.M)
        examples, statuses = text.split("\nExamples:\n")[1].split("\n\nExit status: the command's, or\n")
        self.examples = re.findall(r"^  (\S.*?) {2,}(\S.*)$", examples, re.M)
        self.statuses = re.findall(r"^  (\d+) +(.*)$", statuses, re.M)


def forms():
    told = subprocess.run([PROGRAM, "-i", "?"], capture_output=True, text=True, check=False).stderr
    return told.split("choose one of ")[1].split(";")[0].split(", ")


class ManPage(unittest.TestCase):
    def setUp(self):
        self.help = Help()
        self.page = Page(DOCS / "vesk-emulate.1")

    def test_help_is_understood(self):
        self.assertGreaterEqual(len(self.help.names), 18)
        self.assertEqual(len(self.help.faults), 7)
        self.assertEqual([number for number, _ in self.help.statuses], ["2", "3", "126", "127"])
        self.assertEqual(len(self.help.examples), 4)

    def test_options(self):
        tags = [re.findall(r"(?<!\w)--?[\w-]+", tag) for tag, _ in self.page.tags("OPTIONS")]
        self.assertEqual(tags, self.help.names)

    def test_no_other_options(self):
        for option in re.findall(r"(?<!\w)--[\w-]+", Page.plain(self.page.text)):
            self.assertIn(option, self.help.options)

    def test_faults(self):
        text = next(text for tag, text in self.page.tags("OPTIONS") if "--fault" in tag)
        told = re.findall(r"^([\w-]+=)([\w:]+): ", text, re.M)
        self.assertEqual(told, [(name, value) for name, value, _ in self.help.faults])

    def test_exit_statuses(self):
        statuses = [(tag, text.rstrip(".")) for tag, text in self.page.tags("EXIT STATUS")]
        self.assertEqual(
            statuses, [(number, text[0].upper() + text[1:]) for number, text in self.help.statuses])

    def test_examples(self):
        examples = [(tag, text.rstrip(".")) for tag, text in self.page.tags("EXAMPLES")]
        self.assertEqual(
            examples, [(tag, text[0].upper() + text[1:]) for tag, text in self.help.examples])

    def test_layout(self):
        made = subprocess.run(
            ["groff", "-man", "-ww", "-Tutf8", "-P-cbou", DOCS / "vesk-emulate.1"],
            capture_output=True, text=True)
        self.assertEqual((made.returncode, made.stderr), (0, ""))
        self.assertIn("SEE ALSO", made.stdout)
        self.assertEqual([line for line in made.stdout.splitlines() if len(line) > 80], [])


class BashCompletion(unittest.TestCase):
    def complete(self, *words):
        script = f"""
            source {BASH}
            [ "$(complete -p vesk-emulate)" = 'complete -F _vesk_emulate vesk-emulate' ] || exit
            COMP_WORDS=(vesk-emulate "$@")
            COMP_CWORD=$#
            compopt() {{ :; }}  # works only while bash completes
            _vesk_emulate {PROGRAM} "${{COMP_WORDS[COMP_CWORD]}}" "${{COMP_WORDS[COMP_CWORD-1]}}"
            printf '%s\\n' "${{COMPREPLY[@]}}"
        """
        return output_of("bash", "-uc", script, "bash", *words).split()

    def test_options(self):
        self.assertEqual(sorted(self.complete("-")), Help().options)
        self.assertEqual(self.complete("a.hid", "--ra"), ["--rate"])

    def test_values(self):
        self.assertEqual(
            self.complete("--fault", ""), [name for name, _, _ in Help().faults])
        self.assertEqual(self.complete("--fault", "=", "sh"), ["short="])
        self.assertEqual(self.complete("-i", ""), forms())
        self.assertEqual(self.complete("--input", "=", "usbh"), ["usbhid-dump"])
        self.assertEqual(self.complete("--node", ""), ["/dev/hidraw"])
        self.assertEqual(self.complete("--rate", ""), [])

    def test_files_and_the_command(self):
        sample = f"{ROOT}/samples/tour.hex"
        self.assertEqual(self.complete(sample[:-6]), [sample])
        self.assertIn("true", self.complete("a.hid", "--", "tru"))
        self.assertNotIn("--rate", self.complete("a.hid", "--", "x", "--r"))
        self.assertEqual(self.complete("a.hid", "--", "cat", sample[:-6]), [sample])


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
        self.assertEqual(ZSH.read_text().split("\n")[0], "#compdef vesk-emulate")

    def test_options(self):
        options = []
        for argument in self.arguments():
            found = re.match(r"(?:\(.*?\))?\*?(--?[\w-]+)[+=]?\[", argument)
            if found:
                options.append(found[1])
        self.assertEqual(sorted(options), Help().options)

    def test_faults(self):
        argument = next(argument for argument in self.arguments() if "--fault=[" in argument)
        told = re.findall(r"(\S+=)\\:\"(.*?)\"", argument)
        self.assertEqual(told, [(name, text) for name, _, text in Help().faults])

    def test_forms(self):
        script = f"""
            _arguments() {{ }}
            _describe() {{ print -l -- ${{(P)2}} }}
            source {ZSH}
            words=({PROGRAM})
            _vesk_emulate_forms
        """
        self.assertEqual(output_of("zsh", "-fc", script).split(), forms())

    def test_the_command(self):
        script = f"""
            _arguments() {{ print options }}
            _normal() {{ print -- $CURRENT $words }}
            complete() {{ words=("$@"); CURRENT=$#; source {ZSH} }}
            complete vesk-emulate a.hid -- cat /de
            complete vesk-emulate a.hid --
            complete vesk-emulate a.hid
        """
        self.assertEqual(
            output_of("zsh", "-fc", script).splitlines(), ["2 cat /de", "options", "options"])


if __name__ == "__main__":
    unittest.main()
