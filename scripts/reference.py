#!/usr/bin/env python3
"""Makes docs/reference.md, or says whether it is stale.

usage: reference.py [--check] DOT1XCTL

DOT1XCTL is the built tool: "schema --markdown" has everything but the meanings, which are the doc
comments in the headers.
"""

import difflib
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent
TARGET = ROOT / "docs" / "reference.md"
NOTE = """
This file is made of the registered records (`dot1xctl schema --markdown`) and of the doc comments in
`Dot1xV2/*.h`. Do not edit it: change those, then

    cmake --build BUILD --target reference
"""
ABOUT_NAME = "Its name."  # of QEL_NAME, which says the same of every entity


def meanings_of(header):
    """Yields (unqualified type, attribute's id or None for the type itself, doc comment)."""
    doc, of = [], None
    for line in header.read_text().splitlines():
        line = line.strip()
        if line.startswith("///"):
            doc.append(line[3:].strip())
        elif found := re.match(r"QEL_ENUM\( (\w+),", line):
            yield found[1], None, " ".join(doc)
            doc = []
        elif found := re.match(r"class (?:VAREK_EXPORT )?(\w+).*[{:]", line):
            of = found[1]
            yield of, None, " ".join(doc)
            doc = []
        elif line == "QEL_NAME":
            yield of, "154", ABOUT_NAME
        elif of and (found := re.match(r"QEL_\w+\( (\d+),", line)):
            yield of, found[1], " ".join(doc)
            doc = []
        elif not line:
            doc = []


def document(tool):
    meanings = {
        (of, number): text.replace("|", "\\|")
        for header in sorted((ROOT / "Dot1xV2").glob("*.h"))
        for of, number, text in meanings_of(header)
    }
    made = subprocess.run([tool, "schema", "--markdown"], check=True, capture_output=True, text=True)
    of, in_attributes = None, False
    for line in made.stdout.splitlines():
        if line.startswith("# "):
            yield line
            yield from NOTE.splitlines()
        elif line.startswith("### "):
            of = line.rsplit("::", 1)[-1]
            yield line
            if meanings.get((of, None)):
                yield ""
                yield meanings[of, None]
        elif line.startswith("| Id |"):
            in_attributes = True
            yield line + " Meaning |"
        elif in_attributes and line.startswith("|---"):
            yield line + "---|"
        elif in_attributes and line.startswith("| "):
            meaning = meanings.get((of, line.split()[1]), "")
            yield f"{line} {meaning} |" if meaning else line + " |"
        else:
            in_attributes = False
            yield line


def main(arguments):
    check = arguments[:1] == ["--check"]
    if len(arguments) != 1 + check:
        sys.exit(__doc__)
    made = "".join(line + "\n" for line in document(arguments[-1]))
    if not check:
        TARGET.write_text(made)
        return
    found = TARGET.read_text() if TARGET.exists() else ""
    if found != made:
        lines = difflib.unified_diff(found.splitlines(), made.splitlines(), "is", "should be", "", "", 0, "")
        print("\n".join(list(lines)[:20]))
        sys.exit("docs/reference.md is stale; this makes it anew: cmake --build BUILD --target reference")


main(sys.argv[1:])
