"""Compiles must_not_compile.cpp with one of its cases, and passes if that fails for its reason.

    must_not_compile.py CASE FILE -- COMPILER [OPTION...]

CASE is the macro of a case, or NONE: then the file is to compile. The reason stands behind the
case's #ifdef as a comment, and must occur in what the compiler says.
"""

import os
import re
import subprocess
import sys

# What clang says of a format that is not understood: it does not show the exception, as g++ does.
NOT_PARSED = re.compile(
    r"call to consteval function 'vesk::format::detail::parsePieces<.*> *'"
    r" is not a constant expression"
)


def main():
    case, file, separator, *compiler = sys.argv[1:]
    assert separator == "--" and compiler

    with open(file, encoding="utf-8") as lines:
        reasons = dict(re.findall(r"^#ifdef ([A-Z0-9_]+)  // (.+)$", lines.read(), re.MULTILINE))

    command = [*compiler, "-fsyntax-only", file]
    if case != "NONE":
        command.append("-D" + case)
    result = subprocess.run(
        command, stderr=subprocess.PIPE, text=True, env={**os.environ, "LC_ALL": "C"}
    )
    said = result.stderr
    print(said)

    if case == "NONE":
        if result.returncode != 0:
            sys.exit("Without any of the cases it must compile, and does not.")
        return
    reason = reasons.get(case)
    if reason is None:
        sys.exit("No reason stands behind the #ifdef of this case.")
    if result.returncode == 0:
        sys.exit("It compiles, and must not.")
    expected = reason in said
    if reason.startswith("format: "):
        expected = expected or NOT_PARSED.search(said) is not None
    # The error has to come from the case, not from somewhere in the headers.
    if "error:" not in said or file + ":" not in said or not expected:
        sys.exit(f"It does not compile, but not for the reason expected: {reason}")


main()
