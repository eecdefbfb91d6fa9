"""Pairs the results of Google Benchmark runs and prints them as one table.

usage: bench_table.py FOLDER [FILE]

FOLDER holds the JSON outputs. A benchmark called case/ours/args makes a pair with case/peer/args;
what has no counterpart is listed with its time alone. FILE gets the same as JSON.
"""

import json
import pathlib
import re
import sys

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}


def medians(path):
    """The median of each benchmark of one output as (run name, nanoseconds)."""
    for run in json.loads(path.read_text())["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{path.stem}: {run['name']} failed: {run.get('error_message', 'no reason given')}")
        if run.get("aggregate_name") == "median":
            name = run["run_name"]
            # Wall time is the measure only where the benchmark itself asks for it.
            wall = re.search(r"/(real_time|manual_time)\b", name)
            yield name, run["real_time" if wall else "cpu_time"] * NANOSECONDS[run["time_unit"]]


def rows_of(folder):
    """One row for each case and arguments, sorted, since interleaved runs come in any order."""
    rows = {}
    for path in sorted(folder.glob("*.json")):
        for name, time in medians(path):
            parts = [p for p in name.split("/") if not re.match(r"(repeats|real_time|manual_time)\b", p)]
            side = "peer" if "peer" in parts else "ours"
            case = "/".join(p for p in parts if p not in ("ours", "peer"))
            row = rows.setdefault((path.stem, case), {"benchmark": path.stem, "case": case})
            if f"{side}_ns" in row:
                sys.exit(f"{path.stem}: two benchmarks are \"{case}\" of {side}")
            row[f"{side}_ns"] = time
    for row in rows.values():
        if "ours_ns" in row and "peer_ns" in row:
            row["ratio"] = row["ours_ns"] / row["peer_ns"]
    # Arguments sort as numbers.
    return sorted(rows.values(), key=lambda row: (row["benchmark"], [
        (p.isdigit(), int(p) if p.isdigit() else p) for p in re.split(r"(\d+)", row["case"])]))


def readable(nanoseconds):
    if nanoseconds is None:
        return "-"
    for unit in ("s", "ms", "us"):
        if nanoseconds >= NANOSECONDS[unit]:
            return f"{nanoseconds / NANOSECONDS[unit]:.4g} {unit}"
    return f"{nanoseconds:.4g} ns"


def main():
    rows = rows_of(pathlib.Path(sys.argv[1]))
    if not rows:
        sys.exit("no benchmark gave a result")
    width = max(len(row["case"]) for row in rows)
    print(f"{'case':{width}}  {'ours':>10}  {'peer':>10}  ours/peer")
    for row in rows:
        ratio = f"{row['ratio']:9.2f}" if "ratio" in row else f"{'-':>9}"
        ours, peer = readable(row.get("ours_ns")), readable(row.get("peer_ns"))
        print(f"{row['case']:{width}}  {ours:>10}  {peer:>10}  {ratio}")
    if len(sys.argv) > 2:
        pathlib.Path(sys.argv[2]).write_text(json.dumps({"rows": rows}, indent=2) + "\n")


main()
