#!/usr/bin/env python3
"""Holds what each room includes against what it may use.

usage: includes.py SOURCE_DIR

Prints each include that points upwards or sideways, and ends with 1 if there is one.
"""

import pathlib
import re
import sys

# A room is a folder; what it uses, and what that uses, it may include. "platform" is all its folders.
USES = {
    "platform": [],
    "framework": ["platform/Varek", "platform/Qel", "platform/Pallo"],
    "forms": ["framework", "platform"],
    "Dot1xV2": ["forms"],
    "mirror": ["forms"],
    "views": ["forms"],
    "capture": ["platform"],
    "agent": ["capture", "Dot1xV2"],
    "config": ["views", "Dot1xV2"],
    "store": ["mirror", "views"],
    "loop": ["mirror"],
    "tools": ["agent", "config", "store", "loop"],
}

# Packaged libraries, by how their headers begin, and the rooms that may include them themselves.
PACKAGES = {
    "fmt/": ["capture", "config", "store", "tools"],
    "nlohmann/": ["views", "config", "tools"],
    "pcap/": ["capture"],
    "zlib.h": ["store"],
    "asio": ["loop"],
    "CLI/": ["tools"],
}

INCLUDE = re.compile(r'^\s*#\s*include\s*(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)


def reachable(room):
    result = {room}
    for used in USES.get(room, []):
        result |= reachable(used)
    return result


def room_of(include, rooms, platform):
    first = include.split("/")[0]
    return f"platform/{first}" if first in platform else "tools" if first == "dot1xctl" else first \
        if first in rooms else None


def faults(root):
    platform = {folder.name for folder in (root / "platform").iterdir() if folder.is_dir()}
    for room in USES:
        allowed = reachable(room)
        sources = [p for p in sorted((root / room).rglob("*")) if p.suffix in (".h", ".cpp")]
        if not sources:
            yield f"{room}: there is no source in this room"
        for source in sources:
            text = source.read_text()
            for match in INCLUDE.finditer(text):
                quoted, angled = match.groups()
                include = quoted or angled
                line = text.count("\n", 0, match.start()) + 1
                where = f"{source.relative_to(root)}:{line}"
                owner = room_of(include, USES, platform)
                if owner and owner not in allowed and owner.split("/")[0] not in allowed:
                    yield f"{where}: {include} is of {owner}, which {room} may not use"
                elif quoted and not owner and not (source.parent / quoted).is_file():
                    yield f"{where}: {include} is in none of the rooms"
                for package, users in PACKAGES.items():
                    if angled and include.startswith(package) and room not in users:
                        yield f"{where}: {include} is no library for {room}"


def main():
    found = list(faults(pathlib.Path(sys.argv[1])))
    for fault in found:
        print(fault)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main())
