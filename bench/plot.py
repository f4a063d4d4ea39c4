#!/usr/bin/env python3
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Draws the figures that `run.py --json FILE` has written as an SVG picture: for each case and peer
how much time and memory ours needs, as a share of the peer's."""

import argparse
import json
import sys
from html import escape

FIGURES = (("wall_s", "wall time", "#2f6fb2"), ("cpu_s", "CPU time", "#e08a1e"),
           ("memory_mib", "memory", "#4f9d5d"))
LABELS, PLOT, RIGHT = 260, 560, 70  # widths
TOP, BAR, GAP = 64, 9, 10           # heights
STEP = 0.25


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("figures", metavar="FILE", help="what run.py has written")
    parser.add_argument("-o", "--output", metavar="SVG", required=True)
    return parser.parse_args()


def text(x, y, content, anchor="start", size=12, colour="#222"):
    return (f'<text x="{x:.1f}" y="{y:.1f}" font-size="{size}" text-anchor="{anchor}" '
            f'fill="{colour}">{escape(content)}</text>')


def bar(x, y, width, colour):
    return f'<rect x="{x:.1f}" y="{y:.1f}" width="{width:.1f}" height="{BAR}" fill="{colour}"/>'


def axis(limit, bottom):
    lines = []
    for i in range(round(limit / STEP) + 1):
        share = i * STEP
        x = LABELS + share / limit * PLOT
        colour, width = ("#222", 1.5) if share == 1 else ("#ddd", 1)
        lines.append(f'<line x1="{x:.1f}" y1="{TOP - 6}" x2="{x:.1f}" y2="{bottom}" '
                     f'stroke="{colour}" stroke-width="{width}"/>')
        lines.append(text(x, TOP - 12, f"{share:g}", "middle", 11, "#555"))
    return lines


def legend():
    parts = [text(12, 22, "ours, as a share of the peer's (left of 1 is better)", size=14)]
    x = LABELS
    for _, name, colour in FIGURES:
        parts.append(bar(x, 30, 14, colour))
        parts.append(text(x + 20, 39, name, colour="#555"))
        x += 120
    return parts


def group(comparison, limit, y):
    parts = [text(LABELS - 10, y + 2 * BAR, f"{comparison['job']}, {comparison['peer']}", "end")]
    for figure, _, colour in FIGURES:
        ratio = comparison["ratios"][figure]
        width = min(ratio, limit) / limit * PLOT
        parts.append(bar(LABELS, y, width, colour))
        parts.append(text(LABELS + width + 4, y + BAR - 1, f"{ratio:.2f}", size=9, colour="#555"))
        y += BAR
    return parts


def draw(comparisons):
    comparisons = [comparison for comparison in comparisons if not comparison["difference"]]
    most = max((ratio for comparison in comparisons for ratio in comparison["ratios"].values()),
               default=1)
    limit = max(1.25, STEP * -(-most // STEP))
    height = len(FIGURES) * BAR + GAP
    bottom = TOP + len(comparisons) * height
    parts = legend() + axis(limit, bottom)
    for i, comparison in enumerate(comparisons):
        parts += group(comparison, limit, TOP + i * height + GAP / 2)
    width = LABELS + PLOT + RIGHT
    return "\n".join([f'<svg xmlns="http://www.w3.org/2000/svg" width="{width}" '
                      f'height="{bottom + GAP}" font-family="sans-serif">',
                      '<rect width="100%" height="100%" fill="white"/>', *parts, "</svg>", ""])


def main():
    arguments = parse_arguments()
    with open(arguments.figures, encoding="utf-8") as file:
        comparisons = json.load(file)["comparisons"]
    with open(arguments.output, "w", encoding="utf-8") as file:
        file.write(draw(comparisons))


if __name__ == "__main__":
    sys.exit(main())
