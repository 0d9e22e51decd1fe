#!/usr/bin/env python3
"""Prints the tables of a results file, as Markdown: report.py RESULTS"""

import sys

from results import LARGE, LIMITS, MEMORY, STEPS, STORES, Results, requirements


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


def verdict(ratio, text, bound):
    kept = ratio < bound if text.startswith("under") else ratio <= bound
    mark = "" if kept else " **no**"
    return (f"{ratio:.0f}" if ratio >= 100 else f"{ratio:.3g}") + mark


def print_requirements(results):
    counts = [f"{n:,}" for n in results.counts]
    header(["step", "must"] + [f"N = {n}" for n in counts] + ["aim"] + [f"N = {n}" for n in counts])
    for what, must, aim in requirements():
        cells = [what]
        for target in (must, aim):
            text, bound, ratio = target or ("", 0, lambda *_: None)
            ratios = [ratio(results, n) for n in results.counts]
            cells += [text] + ["" if value is None else verdict(value, text, bound) for value in ratios]
        row(cells)
    print("\nEach number is a ratio within this run, smaller is better; **no** marks a bound that is not kept.")


def print_times(results, n):
    payload = results.get(n, "payload", "vault")
    print(f"\n### {n:,} items, {mebibytes(payload)} of item bytes\n")
    header(["step"] + STORES)
    for step in STEPS:
        row([step] + [seconds(results.get(n, step, store)) for store in STORES])
    for step in ("bytes on disk", "bytes on disk after the delete"):
        row([step + " / payload"] + [f"{results.get(n, step, store) / payload:.2f}" for store in STORES])
    row(["peak memory"] + [mebibytes(max(results.get(n, step, store) for step in MEMORY)) for store in STORES])
    limits = ", ".join(f"{limit} {seconds(results.get(n, limit, 'machine'))}" for limit in LIMITS)
    least = results.get(n, "least size", "vault")
    print(f"\nThe machine on the same bytes: {limits}.")
    print(f"The fewest blocks that hold the items and the table of their IDs are {least / payload:.3f} times the payload;")
    print(f"pmstore's file is {results.ours(n, 'bytes on disk') / least:.3f} times those.")


def print_large(results):
    steps = sorted({step for n, step, _ in results.medians if n == 1}, key=lambda step: int(step.split()[2]))
    if not steps:
        return
    print("\n### One large item: insert, durable, close, reopen, read\n")
    header(["step"] + STORES + ["plain file"])
    for step in steps:
        row([step] + [seconds(results.get(1, step, store)) for store in STORES + ["machine"]])


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
    print_rates(results)


main()
