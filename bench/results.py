"""The results of a run: medians by N, step and store, and what is required of them."""

import json
import statistics
from collections import defaultdict

STORES = ["pmstore", "sqlite", "sqlite-wal", "lmdb", "lmdb-map", "leveldb", "tkrzw"]
PEERS = STORES[1:]
SQLITE = ["sqlite", "sqlite-wal"]
LMDB = ["lmdb", "lmdb-map"]
OTHERS = [store for store in PEERS if store not in LMDB]

STEPS = [
    "load",
    "open and read one",
    "open and read all",
    "look up all",
    "enumerate one kind",
    "single insert",
    "worst of 50 single inserts",
    "50 single inserts",
    "single replacement",
    "worst of 50 single replacements",
    "50 single replacements",
    "1,000 single replacements",
    "delete 30% and close",
]

MEMORY = ["peak memory, load", "peak memory, read all", "peak memory, delete"]
SPREAD = "99th percentile of 1,000 replacements / median"
OVERWRITE = "overwrite 1 KiB and fdatasync"
LIMITS = ["sequential read", "unflushed copy", OVERWRITE]
LARGE = "item of 65535000 bytes"
SHARING = 100000  # items that share one user-data string


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


class Bound:
    """A ratio of two measurements, and what it must be."""

    def __init__(self, text, ratio, holds):
        self.text = text
        self.ratio = ratio  # of (results, n), None where it does not apply
        self.holds = holds  # of the ratio


def at_most(bound, text, ratio):
    return Bound(f"{bound:g} x {text}", ratio, lambda value: value <= bound)


def ahead_of(text, ratio):
    return Bound(f"ahead of {text}", ratio, lambda value: value < 1)


def against(step, stores):
    """Ours to that of the best of those stores."""
    return lambda results, n: results.ours(n, step) / min(results.get(n, step, store) for store in stores)


def against_limit(step, limit, least=0):
    def ratio(results, n):
        return results.ours(n, step) / results.get(n, limit, "machine") if n >= least else None

    return ratio


def once(ratio):
    """A ratio that does not depend on the number of items."""
    return lambda results, n: ratio(results) if n == results.counts[0] else None


def of_two(ours, ours_n, other, other_n, other_store):
    def ratio(results):
        known = results.get(ours_n, ours, "pmstore"), results.get(other_n, other, other_store)
        return None if None in known else known[0] / known[1]

    return once(ratio)


def rate_against(other):
    return once(lambda results: results.rates[other][0] / results.rates["Checksum"][0] if results.rates else None)


def memory_per_item(results, n):
    return (results.ours(n, "memory with all read") - results.get(n, "payload", "vault")) / n


def memory_above_least(results, n):
    return memory_per_item(results, n) if n > 1000 else None


def memory_of_least(results, n):
    return memory_per_item(results, n) if n <= 1000 else None


def fewest_blocks(step, least, store):
    return Bound("fewest blocks", lambda results, n: results.ours(n, step) / results.get(n, least, store), lambda value: value == 1)


def bytes_an_item(bound, ratio):
    return Bound(f"{bound} bytes", ratio, lambda value: value <= bound)


def requirements():
    """(what, the must or None, the aim or None)"""
    rows = []
    for step in ("single insert", "single replacement"):
        rows.append((step, ahead_of("every peer", against(step, PEERS)), at_most(1.1, OVERWRITE, against_limit(step, OVERWRITE))))
    for step in ("worst of 50 single inserts", "worst of 50 single replacements"):
        rows.append((step, at_most(1.3, "unflushed copy", against_limit(step, "unflushed copy", 10000)), None))
    rows.append((SPREAD, Bound("", lambda results, n: results.ours(n, SPREAD), lambda value: True), None))
    rows.append(("load", at_most(1.2, "lmdb", against("load", LMDB)), at_most(1, "lmdb", against("load", LMDB))))
    rows.append(("load", ahead_of("every other", against("load", OTHERS)), None))
    step = "open and read one"
    rows.append((step, at_most(2, "sequential read", against_limit(step, "sequential read")), at_most(1.3, "sequential read", against_limit(step, "sequential read"))))
    for step, others, bound in (
        ("open and read all", SQLITE + ["leveldb"], 1.5),
        ("delete 30% and close", SQLITE, 2),
    ):
        text = "sqlite and leveldb" if "leveldb" in others else "sqlite"
        rows.append((step, ahead_of(text, against(step, others)), None))
        rows.append((step, at_most(bound, "lmdb", against(step, LMDB)), at_most(1, "lmdb", against(step, LMDB))))
    for step in ("look up all", "enumerate one kind"):
        rows.append((step, ahead_of("lmdb", against(step, LMDB)), None))
    for step in ("look up", "delete"):
        shared = of_two(f"{step}, shared", SHARING, f"{step}, distinct", SHARING, "pmstore")
        rows.append((f"{step} where {SHARING:,} share one user data", at_most(3, "distinct ones", shared), None))
    rows.append(("bytes on disk", fewest_blocks("bytes on disk", "least size", "vault"), None))
    step = "bytes on disk after the delete"
    rows.append((step, fewest_blocks(step, "least size after the delete", "pmstore"), None))
    what = "memory beyond the item bytes, an item"
    rows.append((what, bytes_an_item(300, memory_of_least), bytes_an_item(200, memory_per_item)))
    rows.append((what, bytes_an_item(250, memory_above_least), None))
    plain = of_two(LARGE, 1, LARGE, 1, "machine")
    rows.append((LARGE, at_most(3, "write, flush, read", plain), at_most(2, "write, flush, read", plain)))
    rows.append(("checksum of 1,016 bytes", at_most(0.05, "the bitwise loop", rate_against("ChecksumBitwise")), at_most(1, "memory speed", rate_against("SumOfWords"))))
    return rows
