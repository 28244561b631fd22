#!/usr/bin/env python3
"""Times CPython's json.loads on the bytes of one file, for json_bench.

Usage: json_loads_peer.py FILE
Prints the median seconds of one json.loads call over several batches. The
garbage collector stays on, as it is in a running program.
"""
import json
import statistics
import sys
import time


def main() -> None:
    with open(sys.argv[1], "rb") as f:
        data = f.read()
    json.loads(data)  # warm up
    # Batches of at least 0.1 s, so a call of a few microseconds is timed
    # over many calls.
    calls = 1
    while True:
        start = time.process_time()
        for _ in range(calls):
            json.loads(data)
        if time.process_time() - start >= 0.1:
            break
        calls *= 2
    batches = []
    for _ in range(5):
        start = time.process_time()
        for _ in range(calls):
            json.loads(data)
        batches.append((time.process_time() - start) / calls)
    print(statistics.median(batches))


if __name__ == "__main__":
    main()
