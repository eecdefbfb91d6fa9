"""Pairs the results of Google Benchmark runs and prints them as one table.

usage: bench_table.py FOLDER [FILE]

FOLDER holds the JSON outputs. A benchmark called case/ours/args makes a pair with case/peer/args;
what has no counterpart is listed with its time alone. Each counter is a row of its own, in the unit
that its name ends with. FILE gets the same as JSON.
"""

import json
import pathlib
import re
import sys

NANOSECONDS = {"ns": 1.0, "us": 1e3, "ms": 1e6, "s": 1e9}
# What Google Benchmark itself says of a run; all else are counters.
ITS_OWN = {"name", "family_index", "per_family_instance_index", "run_name", "run_type", "repetitions",
           "repetition_index", "threads", "aggregate_name", "aggregate_unit", "iterations", "real_time",
           "cpu_time", "time_unit", "label", "items_per_second", "bytes_per_second"}


def medians(path):
    """The medians of one output as (run name, counter or "", unit, value)."""
    for run in json.loads(path.read_text())["benchmarks"]:
        if run.get("error_occurred"):
            sys.exit(f"{path.stem}: {run['name']} failed: {run.get('error_message', 'no reason given')}")
        if run.get("aggregate_name") == "median":
            name = run["run_name"]
            # Wall time is the measure only where the benchmark itself asks for it.
            wall = re.search(r"/(real_time|manual_time)\b", name)
            time = run["real_time" if wall else "cpu_time"] * NANOSECONDS[run["time_unit"]]
            # One that measures something else says that it took no time.
            if time:
                yield name, "", "ns", time
            for counter in sorted(run.keys() - ITS_OWN):
                unit = re.search(r"(?:^|_)(ns|bytes)$", counter)
                yield name, counter, unit[1] if unit else "", run[counter]


def rows_of(folder):
    """One row for each case and arguments, sorted, since interleaved runs come in any order."""
    rows = {}
    # How a benchmark is run is no part of the case.
    how = re.compile(r"(repeats|iterations|min_time|real_time|manual_time)\b")
    for path in sorted(folder.glob("*.json")):
        for name, counter, unit, value in medians(path):
            parts = [p for p in name.split("/") if not how.match(p)]
            side = "peer" if "peer" in parts else "ours"
            case = "/".join(p for p in parts if p not in ("ours", "peer")) + f" {counter}".rstrip()
            row = rows.setdefault((path.stem, case),
                                  {"benchmark": path.stem, "case": case, "unit": unit})
            if side in row:
                sys.exit(f"{path.stem}: two benchmarks are \"{case}\" of {side}")
            row[side] = value
    for row in rows.values():
        if "ours" in row and row.get("peer"):
            row["ratio"] = row["ours"] / row["peer"]
    # Arguments sort as numbers.
    return sorted(rows.values(), key=lambda row: (row["benchmark"], [
        (p.isdigit(), int(p) if p.isdigit() else p) for p in re.split(r"(\d+)", row["case"])]))


def readable(value, unit):
    if value is None:
        return "-"
    if unit != "ns":
        return f"{value:.4g} {unit.replace('bytes', 'B')}".rstrip()
    for larger in ("s", "ms", "us"):
        if value >= NANOSECONDS[larger]:
            return f"{value / NANOSECONDS[larger]:.4g} {larger}"
    return f"{value:.4g} ns"


def main():
    rows = rows_of(pathlib.Path(sys.argv[1]))
    if not rows:
        sys.exit("no benchmark gave a result")
    width = max(len(row["case"]) for row in rows)
    print(f"{'case':{width}}  {'ours':>10}  {'peer':>10}  ours/peer")
    for row in rows:
        ratio = f"{row['ratio']:9.2f}" if "ratio" in row else f"{'-':>9}"
        ours, peer = (readable(row.get(side), row["unit"]) for side in ("ours", "peer"))
        print(f"{row['case']:{width}}  {ours:>10}  {peer:>10}  {ratio}")
    if len(sys.argv) > 2:
        pathlib.Path(sys.argv[2]).write_text(json.dumps({"rows": rows}, indent=2) + "\n")


main()
