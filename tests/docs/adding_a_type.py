#!/usr/bin/env python3
"""Does what docs/adding-a-type.md says to a copy of the sources, and looks at what comes of it.

usage: adding_a_type.py SOURCE_DIR WORK_DIR OBJECTS LIBRARIES COMPILER [FLAG...]

Each "diff" block names a file; what it shows of it must be there just once. The program on the page
is then built, and must print what the page says; the test of the data model must pass with the
page's lines. OBJECTS are those of the types, of which the modules that the page changes are built
anew, LIBRARIES what they need; both with ";" between them.
"""

import concurrent.futures
import pathlib
import re
import shutil
import subprocess
import sys

MODEL_TEST = "tests/Dot1xV2/DataModelTest.cpp"
DATA_MODEL = "tests/Dot1xV2/data-model.txt"


def blocks(page, language):
    return re.findall(rf"^```{language}\n(.*?)^```$", page, re.MULTILINE | re.DOTALL)


def apply(block, work):
    head, body = block.split("\n", 1)
    path = work / head.removeprefix("--- ")
    text = path.read_text()
    for hunk in body.split("@@\n"):
        lines = hunk.splitlines(keepends=True)
        before = "".join(line[1:] or "\n" for line in lines if not line.startswith("+"))
        after = "".join(line[1:] or "\n" for line in lines if not line.startswith("-"))
        if text.count(before) != 1:
            sys.exit(f"{path.name} has this {text.count(before)} times, and not once:\n{before}")
        text = text.replace(before, after)
    path.write_text(text)
    return path.with_suffix(".cpp") if path.suffix == ".h" else path


def run(*command):
    made = subprocess.run(command, capture_output=True, text=True)
    if made.returncode != 0:
        sys.exit(f"{' '.join(map(str, command))}\n{made.stdout}{made.stderr}")
    return made.stdout


def main(source, work, objects, libraries, compiler):
    page = (source / "docs" / "adding-a-type.md").read_text()
    shutil.rmtree(work, ignore_errors=True)
    shutil.copytree(source / "Dot1xV2", work / "Dot1xV2")
    (work / DATA_MODEL).parent.mkdir(parents=True)
    for name in (MODEL_TEST, DATA_MODEL):
        shutil.copy(source / name, work / name)
    changed = {apply(block, work) for block in blocks(page, "diff")} - {work / DATA_MODEL}
    (program,), (printed,) = blocks(page, "cpp"), blocks(page, "text")
    (work / "main.cpp").write_text(program)

    include = [f"-I{work}", f"-I{source}", f"-I{source}/platform", f"-I{source}/tests"]
    model = f'-DDATA_MODEL="{work / DATA_MODEL}"'
    compile_one = [*compiler, "-std=c++20", "-O0", *include, model, "-c"]
    sources = [*changed, work / MODEL_TEST, work / "main.cpp"]
    with concurrent.futures.ThreadPoolExecutor(2) as pool:
        list(pool.map(lambda one: run(*compile_one, one, "-o", one.with_suffix(".o")), sources))

    types = [one.with_suffix(".o") for one in changed if one.parent == work / "Dot1xV2"]
    names = {one.name for one in types}
    types += [one for one in objects if one.name.replace(".cpp.", ".") not in names]
    places = [f"-Wl,-rpath,{one.parent}" for one in libraries]
    for name, parts, more in (
        ("main", [work / "main.o"], []),
        ("model", [(work / MODEL_TEST).with_suffix(".o")], ["-lgtest_main", "-lgtest", "-pthread"]),
    ):
        run(*compiler, *parts, *types, *libraries, *places, *more, "-o", work / name)
    run(work / "model")
    found = run(work / "main")
    if found != printed:
        sys.exit(f"The program of the page prints\n{found}and not\n{printed}")


if len(sys.argv) < 6:
    sys.exit(__doc__)
paths = [[pathlib.Path(one) for one in argument.split(";")] for argument in sys.argv[1:5]]
main(*paths[0], *paths[1], *paths[2:], sys.argv[5:])
