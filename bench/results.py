"""The results of a run: medians by N, step and store, and what is required of them."""

import json
import math
import statistics
from collections import defaultdict

STORES = ["pmstore", "sqlite", "sqlite-wal", "lmdb", "leveldb", "tkrzw"]

STEPS = [
    "load",
    "open and read one",
    "open and read all",
    "look up all",
    "enumerate one kind",
    "first insert after an open",
    "single insert",
    "50 single inserts",
    "single replacement",
    "50 single replacements",
    "delete 30% and close",
]

MEMORY = ["peak memory, load", "peak memory, read all", "peak memory, delete"]
LIMITS = ["sequential read", "mapped scan", "copy and flush", "1 KiB write and flush"]
LARGE = "item of 65535000 bytes"


class Results:
    def __init__(self, path):
        values = defaultdict(list)
        self.machine = {}
        self.rates = {}  # of the micro-benchmarks: a second, and whether bytes are counted
        with open(path) as lines:
            for line in map(json.loads, lines):
                if "machine" in line:
                    self.machine = line["machine"]
                elif "rate" in line:
                    self.rates[line["benchmark"]] = line["rate"], line["bytes"]
                else:
                    values[line["n"], line["step"], line["store"]].append(line["value"])
        self.medians = {key: statistics.median(found) for key, found in values.items()}
        self.counts = sorted({n for n, _, store in self.medians if store == "vault"})

    def get(self, n, step, store):
        return self.medians.get((n, step, store))

    def ours(self, n, step):
        return self.get(n, step, "pmstore")


class Requirement:
    """A ratio of two measurements that must stay under a bound, and an aim beyond it."""

    def __init__(self, what, must, aim, ratio, aim_ratio=None):
        self.what = what
        self.must = must
        self.aim = aim
        self.ratio = ratio  # of (results, n), None where it does not apply
        self.aim_ratio = aim_ratio or ratio


def against(step, store):
    return lambda results, n: results.ours(n, step) / results.get(n, step, store)


def against_limit(step, limit):
    return lambda results, n: results.ours(n, step) / results.get(n, limit, "machine")


def growth(step):
    def ratio(results, n):
        if n != results.counts[-1] or n == results.counts[0]:
            return None
        return results.ours(n, step) / results.ours(results.counts[0], step)

    return ratio


def memory_per_item(results, n):
    return (results.ours(n, "memory with all read") - results.get(n, "payload", "vault")) / n


def disk_against(size):
    return lambda results, n: results.ours(n, "bytes on disk") / results.get(n, size, "vault")


def checksum_against(other):
    def ratio(results, n):
        if n != results.counts[0] or "Checksum" not in results.rates:
            return None
        return results.rates[other][0] / results.rates["Checksum"][0]

    return ratio


def large_item(results, n):
    if n != results.counts[0] or results.get(1, LARGE, "machine") is None:
        return None
    return results.ours(1, LARGE) / results.get(1, LARGE, "machine")


def requirements():
    """(what, text of the must, bound, ratio) and the same of the aim, None without one."""
    rows = []

    def beats(step, must="sqlite", aim="lmdb", what=None):
        rows.append((what or step, (f"under 1 x {must}", 1, against(step, must)), (f"under 1 x {aim}", 1, against(step, aim))))

    for step in ("single insert", "single replacement"):
        beats(step, aim="sqlite-wal")
    for step in ("50 single inserts", "50 single replacements"):
        # The first change after an open copies the whole file once; how many follow is up to the user.
        rows.append((f"{step}, with the first", ("none; x sqlite", math.inf, against(step, "sqlite")), None))
    for step in ("single insert", "single replacement"):
        rows.append((f"{step}, largest N", ("1.5 x smallest N", 1.5, growth(step)), None))
    beats("load")
    rows.append(
        (
            "open and read one",
            ("2 x sequential read", 2, against_limit("open and read one", "sequential read")),
            ("1 x sequential read", 1, against_limit("open and read one", "sequential read")),
        )
    )
    for step in ("open and read all", "look up all", "enumerate one kind", "delete 30% and close"):
        beats(step)
    rows.append(
        ("bytes on disk", ("1.20 x payload", 1.2, disk_against("payload")), ("1 x fewest blocks", 1, disk_against("least size")))
    )
    rows.append(
        ("memory beyond the item bytes", ("400 bytes an item", 400, memory_per_item), ("250 bytes an item", 250, memory_per_item))
    )
    rows.append(
        ("checksum of 1,016 bytes", ("1/20 of the bitwise loop", 1 / 20, checksum_against("ChecksumBitwise")), ("memory speed", 1, checksum_against("SumOfWords")))
    )
    rows.append((LARGE, ("4 x write, flush, read", 4, large_item), None))
    return rows
