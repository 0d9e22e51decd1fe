#!/usr/bin/env python3
"""Draws the plots of a results file: plot.py RESULTS FOLDER

steps.svg shows every step, a panel each; overview.svg the few that matter most. Dots stand in groups, one a vault
size; the scale is logarithmic, so equal distances are equal ratios.
"""

import math
import pathlib
import sys
from html import escape

from results import STEPS, STORES, Results

COLOURS = ["#d1495b", "#1d4e89", "#5b9bd5", "#2e8b57", "#7bc096", "#b58900", "#8e7cc3"]
OVERVIEW = ["load", "open and read one", "open and read all", "single insert"]

PANEL_WIDTH, PANEL_HEIGHT = 340, 200
LEFT, TOP, BOTTOM, GAP = 60, 34, 26, 16
LEGEND_HEIGHT = 34
STYLE = "font-family:sans-serif;font-size:11px"


def text(x, y, content, anchor="middle", extra=""):
    return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}" {extra}>{escape(content)}</text>'


def duration(power):
    unit, scale = next((u, s) for u, s in (("s", 0), ("ms", -3), ("µs", -6), ("ns", -9)) if power >= s or s == -9)
    return f"{10 ** (power - scale)} {unit}"


def panel(results, step, x, y):
    values = {(n, store): results.get(n, step, store) for n in results.counts for store in STORES}
    low = math.floor(math.log10(min(values.values())))
    high = max(math.ceil(math.log10(max(values.values()))), low + 1)
    left, right = x + LEFT, x + PANEL_WIDTH - GAP
    top, bottom = y + TOP, y + PANEL_HEIGHT - BOTTOM

    def height(value):
        return (math.log10(value) - low) / (high - low) * (bottom - top)

    parts = [text((left + right) / 2, y + 20, step, extra='font-weight="bold"')]
    for power in range(low, high + 1):
        line = bottom - height(10**power)
        parts.append(f'<line x1="{left}" x2="{right}" y1="{line:.1f}" y2="{line:.1f}" stroke="#ccc"/>')
        parts.append(text(left - 6, line + 4, duration(power), "end"))
    group = (right - left) / len(results.counts)
    column = group / (len(STORES) + 1)
    for place, n in enumerate(results.counts):
        start = left + place * group + column
        for number, store in enumerate(STORES):
            parts.append(
                f'<circle cx="{start + number * column:.1f}" cy="{bottom - height(values[n, store]):.1f}" r="4" '
                f'fill="{COLOURS[number]}"><title>{escape(store)}: {values[n, store]:.3g} s</title></circle>'
            )
        parts.append(text(start + group / 2 - column, bottom + 16, f"{n:,} items"))
    return parts


def draw(results, steps, columns, path):
    rows = math.ceil(len(steps) / columns)
    width, height = columns * PANEL_WIDTH, rows * PANEL_HEIGHT + LEGEND_HEIGHT
    parts = [
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" style="{STYLE}">',
        f'<rect width="{width}" height="{height}" fill="white"/>',
    ]
    for number, store in enumerate(STORES):
        x = LEFT + number * 95
        parts.append(f'<circle cx="{x + 6}" cy="18" r="5" fill="{COLOURS[number]}"/>')
        parts.append(text(x + 17, 22, store, "start"))
    for number, step in enumerate(steps):
        parts += panel(
            results, step, number % columns * PANEL_WIDTH, number // columns * PANEL_HEIGHT + LEGEND_HEIGHT
        )
    parts.append("</svg>")
    path.write_text("\n".join(parts) + "\n")


def main():
    results = Results(sys.argv[1])
    folder = pathlib.Path(sys.argv[2])
    draw(results, STEPS, 3, folder / "steps.svg")
    draw(results, OVERVIEW, 2, folder / "overview.svg")


main()
