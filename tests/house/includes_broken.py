#!/usr/bin/env python3
"""Breaks a copy of the rooms, one include at a time: includes.py must tell each, and nothing else.

usage: includes_broken.py SOURCE_DIR WORK_DIR
"""

import pathlib
import shutil
import subprocess
import sys

import includes

# Where, what is added, and what is to be told of it; None where nothing is wrong with it.
CASES = [
    ("views/Tree.h", '#include "Dot1xV2/AuthNStatus.h"', "is of Dot1xV2, which views may not use"),
    ("capture/Frame.h", '# include "agent/Asked.h"', "is of agent, which capture may not use"),
    ("agent/Asked.cpp", '#include "views/Tree.h"', "is of views, which agent may not use"),
    ("store/Store.h", '#include "loop/Address.h"', "is of loop, which store may not use"),
    ("framework/records/Records.h", '#include "Lumo/EthAddr.h"', "which framework may not use"),
    ("framework/text/Strep.cpp", '#include "forms/AddressForms.h"', "which framework may not use"),
    ("platform/Qel/Entity.h", '#include "framework/records/Records.h"', "which platform may not use"),
    ("mirror/Leader.cpp", '  #include "dot1xctl/Fetch.h"', "is of tools, which mirror may not use"),
    ("agent/Asked.h", "#include <nlohmann/json.hpp>", "is no library for agent"),
    ("loop/Loop.h", '#include "Lop.h"', "is in none of the rooms"),
    ("forms/AddressForms.h", '#include "Radius/Packet.h"', None),
    ("loop/Loop.h", '#include "Qel/Entity.h"', None),
    ("tools/dot1xctl/Fetch.h", '#include "views/Table.h"', None),
]


def check(root):
    run = subprocess.run([sys.executable, includes.__file__, root], stdout=subprocess.PIPE, text=True)
    return run.returncode, run.stdout


def main():
    source, work = map(pathlib.Path, sys.argv[1:])
    shutil.rmtree(work, ignore_errors=True)
    for room in includes.USES:
        only = lambda folder, names: [
            n for n in names if not n.endswith((".h", ".cpp")) and not (pathlib.Path(folder) / n).is_dir()]
        shutil.copytree(source / room, work / room, ignore=only)
    good = 0
    for file, line, told in CASES:
        path = work / file
        before = path.read_text()
        path.write_text(before + "\n" + line + "\n")
        code, out = check(work)
        path.write_text(before)
        expected = (1, 1) if told else (0, 0)
        if (code, out.count("\n")) == expected and (told or "") in out:
            good += 1
        else:
            print(f"{file} with {line}: exit code {code}\n{out}")
    print(f"{good} of {len(CASES)}")
    return 0 if good == len(CASES) else 1


if __name__ == "__main__":
    sys.exit(main())
