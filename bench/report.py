#!/usr/bin/env python3
"""Prints the tables of a results file, as Markdown: report.py RESULTS"""

import sys

from results import LIMITS, MEMORY, SHARING, SPREAD, STEPS, STORES, Results, requirements


def seconds(value):
    for unit, scale in (("s", 1), ("ms", 1e-3), ("us", 1e-6)):
        if value >= scale:
            return f"{value / scale:.3g} {unit}"
    return f"{value / 1e-9:.0f} ns"


def mebibytes(value):
    return f"{value / 2**20:.1f} MiB"


def row(cells):
    print("| " + " | ".join(cells) + " |")


def header(cells):
    row(cells)
    row(["---"] + ["---:"] * (len(cells) - 1))


def verdict(ratio, bound):
    mark = "" if bound.holds(ratio) else " **no**"
    return (f"{ratio:.0f}" if ratio >= 100 else f"{ratio:.3g}") + mark


def print_requirements(results):
    counts = [f"{n:,}" for n in results.counts]
    header(["step", "must"] + [f"N = {n}" for n in counts] + ["aim"] + [f"N = {n}" for n in counts])
    for what, must, aim in requirements():
        cells = [what]
        for bound in (must, aim):
            ratios = [bound.ratio(results, n) if bound else None for n in results.counts]
            cells += [bound.text if bound else ""] + ["" if value is None else verdict(value, bound) for value in ratios]
        row(cells)
    print("\nEach number is a ratio within this run, smaller is better; **no** marks a bound that is not kept.")
    print("Against several stores, the fastest of them counts.")


def print_times(results, n):
    payload = results.get(n, "payload", "vault")
    print(f"\n### {n:,} items, {mebibytes(payload)} of item bytes\n")
    header(["step"] + STORES)
    for step in STEPS:
        row([step] + [seconds(results.get(n, step, store)) for store in STORES])
    row([SPREAD] + [f"{results.get(n, SPREAD, store):.3g}" for store in STORES])
    for step in ("bytes on disk", "bytes on disk after the delete"):
        row([step + " / payload"] + [f"{results.get(n, step, store) / payload:.2f}" for store in STORES])
    row(["peak memory"] + [mebibytes(max(results.get(n, step, store) for step in MEMORY)) for store in STORES])
    limits = ", ".join(f"{limit} {seconds(results.get(n, limit, 'machine'))}" for limit in LIMITS)
    least = results.get(n, "least size", "vault")
    print(f"\nThe machine on the same bytes: {limits}.")
    print(f"The fewest blocks that hold the items and the table of their IDs are {least / payload:.3f} times the payload.")


def print_large(results):
    steps = sorted({step for n, step, _ in results.medians if n == 1}, key=lambda step: int(step.split()[2]))
    if not steps:
        return
    print("\n### One large item: insert, durable, close, reopen, read\n")
    header(["step"] + STORES + ["plain file"])
    for step in steps:
        row([step] + [seconds(results.get(1, step, store)) for store in STORES + ["machine"]])


def print_shared(results):
    header([f"{SHARING:,} small items, pmstore", "look up all", "delete all"])
    for kind in ("distinct", "shared"):
        times = [results.get(SHARING, f"{step}, {kind}", "pmstore") for step in ("look up", "delete")]
        row([f"user data {kind}"] + [seconds(time) for time in times])


def print_rates(results):
    if not results.rates:
        return
    print("\n### Micro-benchmarks\n")
    header(["benchmark", "a second"])
    for name, (rate, is_bytes) in results.rates.items():
        row([name, f"{rate / 1e9:.2f} GB" if is_bytes else f"{rate / 1e6:.1f} million"])


def main():
    results = Results(sys.argv[1])
    if results.machine:
        print(", ".join(f"{key}: {value}" for key, value in results.machine.items()) + "\n")
    print_requirements(results)
    for n in results.counts:
        print_times(results, n)
    print_large(results)
    print()
    print_shared(results)
    print_rates(results)


main()
