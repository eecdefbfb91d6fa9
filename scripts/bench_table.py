"""Pairs the results of Google Benchmark runs and prints them as one table.

usage: bench_table.py FOLDER [--json FILE] [--publish]

FOLDER holds the JSON outputs, and perhaps a file "load" with a line for each benchmark: its name, and in
hundredths of a second the time of processors that others used, that other machines took, and that there was
in all. A benchmark called case/ours/args makes a pair with case/peer/args;
a benchmark without a counterpart is listed with its time alone. Each counter is a row of its own, in
the unit that its name ends with. FILE gets the same as JSON. --publish writes the table into
docs/performance.md, and its headlines into README.md, so that no figure there is copied by hand.
"""

import argparse
import datetime
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


def busy(folder):
    """Sentences on the benchmarks during which others used more than a little of the machine."""
    load = folder / "load"
    for line in load.read_text().splitlines() if load.exists() else []:
        name, others, stolen, there = line.split()
        share = [100 * int(n) / max(int(there), 1) for n in (others, stolen)]
        if max(share) > 3:
            yield (f"The machine was busy while {name} ran: others used {share[0]:.0f} % of its processors, "
                   f"and other machines took {share[1]:.0f} %.")


def readable(value, unit):
    if value is None:
        return "-"
    if unit != "ns":
        return f"{value:.4g} {unit.replace('bytes', 'B')}".rstrip()
    for larger in ("s", "ms", "us"):
        if value >= NANOSECONDS[larger]:
            return f"{value / NANOSECONDS[larger]:.4g} {larger}"
    return f"{value:.4g} ns"


def cells(row):
    ratio = f"{row['ratio']:.2f}" if "ratio" in row else "-"
    return readable(row.get("ours"), row["unit"]), readable(row.get("peer"), row["unit"]), ratio


def put_between(path, mark, text):
    """Replaces what stands between the comments "mark" and "/mark" of a page."""
    page = path.read_text()
    found = re.subn(rf"(<!-- {mark} -->\n).*?(<!-- /{mark} -->\n)",
                    lambda m: m[1] + text + m[2], page, flags=re.DOTALL)
    if found[1] != 1:
        sys.exit(f"{path}: the comments <!-- {mark} --> and <!-- /{mark} --> are there {found[1]} times")
    path.write_text(found[0])


# The page's sections, with the peer and what a row measures.
FAMILIES = {
    "bench_mutators": "Mutators. The peer of `changed_set/N` is a compare, a store and a loop over N "
                      "`std::function`s in a vector; of `make...` it is `new` and `delete` of the same size.",
    "bench_collections": "Keyed collections by MAC address, of 10 to 1,000,000 elements. The peer is "
                         "`absl::flat_hash_map`.",
    "bench_attr_log": "One AAA answer of 12 attributes to bytes and back. The peer is protobuf with an arena.",
    "bench_mirror": "Two processes and a Unix socket; 100,000 answers of 6 attributes. The peer of "
                    "`sync_answer` packs and unpacks the same facts by hand into plain structs; of "
                    "`latency_p50` it sends a byte string of the same length; of "
                    "`leader_cpu_4_followers_to_1` it is the same leader with one follower.",
    "bench_redis": "The same answers. The peer is Redis: HSET and PUBLISH, pipelined, until a decoded "
                   "copy is there; `redis_change_followers/N` is a sustained change toward N followers.",
    "bench_replay": "Capture files of 116,000 to 340,000 packets, read through libpcap and played to an "
                    "agent on one core; a row's time is that of a file. No peer.",
    "bench_supplicants": "Supplicants of 4 entities each into a fresh process. The peer is protobuf "
                         "messages in an `absl::flat_hash_map`, and the same with an arena.",
}

# README.md's rows: sentence, case, peer.
HEADLINES = [
    ("a change, to 1 follower", "redis_change_followers/1", "Redis"),
    ("a change, to 4 followers", "redis_change_followers/4", "Redis"),
    ("a whole answer to a new follower", "redis_sync_answer", "Redis"),
    ("an answer to bytes", "encode_answer", "protobuf, arena"),
    ("bytes to an answer", "decode_answer", "protobuf, arena"),
    ("heap of a supplicant", "sync_supplicant/100000 state_heap_bytes", "protobuf"),
    ("a supplicant to a new follower", "sync_supplicant/100000", "protobuf"),
    ("find a MAC address among 100,000", "find_hit/100000", "absl::flat_hash_map"),
    ("a change until it is there", "latency_p50", "a raw socket"),
    ("set an attribute that is observed", "changed_set/1", "std::vector<std::function>"),
    ("a supplicant on the wire", "sync_supplicant/100000 wire_bytes", "protobuf"),
]


def publish(rows, others, root):
    by_case = {row["case"]: row for row in rows}
    lines = [f"Measured on {datetime.date.today().isoformat()}.\n"] + [f"{one}\n" for one in others]
    for family, about in FAMILIES.items():
        lines.append(f"\n{about}\n\n| case | ours | peer | ours/peer |\n|---|---|---|---|\n")
        for row in (row for row in rows if row["benchmark"] == family):
            ours, peer, ratio = cells(row)
            # The rows in which the peer wins are to be seen at once.
            ratio = f"**{ratio}**" if row.get("ratio", 0) > 1.005 else ratio
            lines.append(f"| {row['case']} | {ours} | {peer} | {ratio} |\n")
    put_between(root / "docs" / "performance.md", "table", "".join(lines))
    lines = ["| | ours | peer | ours/peer | the peer |\n|---|---|---|---|---|\n"]
    for sentence, case, peer_name in HEADLINES:
        ours, peer, ratio = cells(by_case[case])
        lines.append(f"| {sentence} | {ours} | {peer} | {ratio} | {peer_name} |\n")
    worst = max((row for row in rows if "ratio" in row), key=lambda row: row["ratio"])
    lines.append(f"\nThe worst row of all is `{worst['case']}` with {worst['ratio']:.2f}.\n")
    put_between(root / "README.md", "headlines", "".join(lines))


def main():
    arguments = argparse.ArgumentParser()
    arguments.add_argument("folder", type=pathlib.Path)
    arguments.add_argument("--json", type=pathlib.Path)
    arguments.add_argument("--publish", action="store_true")
    given = arguments.parse_args()
    rows = rows_of(given.folder)
    if not rows:
        sys.exit("no benchmark gave a result")
    width = max(len(row["case"]) for row in rows)
    print(f"{'case':{width}}  {'ours':>10}  {'peer':>10}  ours/peer")
    for row in sorted(rows, key=lambda row: -row.get("ratio", 0)):
        ours, peer, ratio = cells(row)
        print(f"{row['case']:{width}}  {ours:>10}  {peer:>10}  {ratio:>9}")
    others = list(busy(given.folder))
    print("".join(f"\n{sentence}" for sentence in others), end="\n" if others else "")
    if given.json:
        given.json.write_text(json.dumps({"rows": rows, "busy": others}, indent=2) + "\n")
    if given.publish:
        publish(rows, others, pathlib.Path(__file__).resolve().parent.parent)


main()
