#!/usr/bin/env python3
"""Compiles the faulty declarations of docs/adding-a-type.md, and looks at what the compiler says.

usage: declaration_faults.py SOURCE_DIR WORK_DIR COMPILER [FLAG...]

After each block "cpp fault" comes a block "text error": its lines must all be there in what the
compiler says, in that order, and the first of them that is an error in its first error. "..."
stands for anything within a line.
"""

import concurrent.futures
import pathlib
import re
import subprocess
import sys

PRELUDE = """#include "Dot1xV2/Dot1xV2.h"
#include "framework/declare/Declare.h"
#include "framework/declare/Module.h"
extern Varek::ModuleInspectData const demo;
"""


def check(number, fault, expected, source, work, compiler):
    file = work / f"fault{number}.cpp"
    file.write_text(PRELUDE + fault)
    include = [f"-I{source}", f"-I{source}/platform"]
    made = subprocess.run([*compiler, "-std=c++20", "-fsyntax-only", *include, str(file)],
                          capture_output=True, text=True, env={"PATH": "/usr/bin:/bin", "LC_ALL": "C"})
    said = made.stderr
    anywhere = lambda line: "[^\n]*?".join(re.escape(part) for part in line.split("..."))
    lines = [anywhere(line) for line in expected.splitlines()]
    first = re.search(r"^.*error:.*$", said, re.MULTILINE)
    error = next(line for line in lines if "error:" in line)
    if made.returncode == 0:
        return f"this compiles:\n{fault}"
    if not first or not re.search(error, first.group()) or not re.search(".*?".join(lines), said, re.DOTALL):
        return f"{fault}said:\n{said}\nexpected:\n{expected}"
    return None


def main(source, work, *compiler):
    source, work = pathlib.Path(source), pathlib.Path(work)
    work.mkdir(parents=True, exist_ok=True)
    page = (source / "docs" / "adding-a-type.md").read_text()
    pairs = re.findall(r"^```cpp fault\n(.*?)^```\n+```text error\n(.*?)^```$", page,
                       re.MULTILINE | re.DOTALL)
    if len(pairs) < 8 or len(pairs) != page.count("```cpp fault\n"):
        sys.exit(f"{len(pairs)} faults with their errors are on the page")
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        results = pool.map(lambda one: check(one[0], *one[1], source, work, compiler), enumerate(pairs))
        failures = [result for result in results if result]
    print("\n".join(failures))
    sys.exit(bool(failures))


if __name__ == "__main__":
    main(*sys.argv[1:])
