"""The tour by file in docs/architecture.md names files that are there, and names that are in them.

    tour.py SOURCE_DIR
"""
import pathlib
import re
import sys


def sources(row, root):
    """The files of a row. A name without a folder is in the folder of the one before it."""
    folder = None
    for name in re.findall(r"`([^`]+)`", row):
        path = root / name if "/" in name else folder / name
        folder = path.parent
        yield from sorted(path.glob("*.cpp")) if path.is_dir() else [path]


def faults(root):
    text = (root / "docs/architecture.md").read_text()
    tour = text.split("## A tour by file", 1)[1].split("\n## ", 1)[0]
    rows = [line.split("|")[1:4] for line in tour.splitlines() if line.startswith("| `")]
    if len(rows) < 10:
        yield f"only {len(rows)} rows are read"
    for read, _, look in rows:
        files = list(sources(read, root))
        yield from (f"{file} is not there" for file in files if not file.is_file())
        inside = "".join(file.read_text() for file in files if file.is_file())
        for name in re.findall(r"`([^`]+)`", look):
            if not re.search(rf"\b{re.escape(name)}\b", inside):
                yield f"{name} is not in {read.strip()}"


found = list(faults(pathlib.Path(sys.argv[1])))
print("\n".join(found))
sys.exit(bool(found))
