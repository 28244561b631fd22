#!/usr/bin/env python3
"""Runs the JSON, findings and loading benchmarks and prints their ratios.

Usage: ratios.py BUILD_DIR [REPETITIONS]

Each benchmark program runs once, its cases interleaved at random over the
repetitions, so that a burst of load on a shared machine falls on both sides
of a ratio alike. Each ratio is printed from the medians of the repetitions
and from their minima (the run least disturbed by other work).
"""
import collections
import json
import statistics
import subprocess
import sys


def times(program, repetitions):
    """Per-case lists of CPU times (wall time for the manually timed peer)."""
    out = subprocess.run(
        [program, f"--benchmark_repetitions={repetitions}",
         "--benchmark_enable_random_interleaving=true", "--benchmark_format=json"],
        capture_output=True, text=True, check=True).stdout
    found = collections.defaultdict(list)
    for run in json.loads(out)["benchmarks"]:
        if run.get("run_type") != "iteration" or run.get("error_occurred"):
            continue
        name = run["run_name"].split("/iterations")[0]
        found[name].append(run["real_time"] if "manual_time" in run["run_name"] else run["cpu_time"])
    return found


def show(label, over, under):
    if not over or not under:
        print(f"{label:58} (not measured)")
        return
    median = statistics.median(over) / statistics.median(under)
    least = min(over) / min(under)
    print(f"{label:58} median {median:5.2f}   min {least:5.2f}")


def main():
    build = sys.argv[1]
    repetitions = int(sys.argv[2]) if len(sys.argv) > 2 else 9
    bench = f"{build}/bench"
    j = times(f"{bench}/tessik_json_bench", repetitions)
    for n, size in (("10", "4 KB"), ("1000", "350 KB"), ("10000", "3.5 MB")):
        show(f"parse_json / simdjson parse, {size}", j[f"BM_ParseJson/{n}"],
             j[f"BM_SimdjsonParse/{n}"])
        show(f"json.loads / parse_json, {size}", j[f"BM_PythonJsonLoads/{n}"],
             j[f"BM_ParseJson/{n}"])
        floor = [a + b for a, b in zip(sorted(j[f"BM_SimdjsonParse/{n}"]),
                                       sorted(j[f"BM_AllocationFloor/{n}"]))]
        show(f"parse_json / (simdjson + allocation floor), {size}", j[f"BM_ParseJson/{n}"], floor)
    f = times(f"{bench}/tessik_finding_bench", repetitions)
    for n in ("10", "100", "1000", "10000"):
        show(f"findings path / parse_json, {n} items", f[f"BM_ParseFindingItems/{n}"],
             f[f"BM_ParseReplyJsonOnly/{n}"])
    l = times(f"{bench}/tessik_loading_bench", repetitions)
    show("1,000 definitions / read + raw parse", l["BM_LoadAllAgents_1000Custom"],
         l["BM_ReadAndRawParse/1"])
    show("4 built-in definitions / read + raw parse", l["BM_LoadAllAgents_BuiltinOnly"],
         l["BM_ReadAndRawParse/0"])


if __name__ == "__main__":
    main()
