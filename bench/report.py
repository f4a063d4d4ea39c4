# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Tables for people (terminal, Markdown) and a record for programs (JSON)."""

import json
import os
import platform
import subprocess
from dataclasses import asdict

FIGURES = {"wall_s": ("wall s", 2), "cpu_s": ("CPU s", 2), "memory_mib": ("memory MiB", 1)}
MISSED = "!"


def machine():
    def first_line(*command):
        return subprocess.run(command, capture_output=True, text=True,
                              check=False).stdout.partition("\n")[0]

    with open("/proc/cpuinfo", encoding="ascii", errors="replace") as info:
        models = [line.partition(":")[2].strip() for line in info if line.startswith("model name")]
    return {"processor": models[0] if models else platform.machine(), "cores": os.cpu_count(),
            "kernel": platform.release(), "load": round(os.getloadavg()[0], 2),
            "ffmpeg": first_line("ffmpeg", "-version").split(" Copyright")[0]}


def machine_line(facts):
    return (f"{facts['processor']}, {facts['cores']} cores, Linux {facts['kernel']}, "
            f"{facts['ffmpeg']}; load at the start {facts['load']}.")


def heading(facts, runs):
    return (f"{machine_line(facts)}\n"
            f"Medians of {runs} alternating runs, ours / peer's, and their ratio beside the most "
            f"that it should be. {MISSED} marks a miss.")


def _ratio(ratio, target, is_missed):
    if target is None:
        return f"{ratio:.3f}"
    return f"{ratio:.3f}{MISSED if is_missed else ' '} ({target:.2f})"


def _row(comparison):
    row = [comparison.job, comparison.peer]
    misses = comparison.misses()
    for figure, (_, digits) in FIGURES.items():
        row.append(f"{getattr(comparison.ours, figure):.{digits}f} / "
                   f"{getattr(comparison.theirs, figure):.{digits}f}")
        row.append(_ratio(comparison.ratios[figure], comparison.targets.get(figure),
                          figure in misses))
    row.append(f"{comparison.byte_ratio:.2f}")
    row.append(f"not comparable: {comparison.difference}" if comparison.difference
               else f"{comparison.frames} = {comparison.frames}")
    return row


def table(comparisons, markdown=False):
    titles = ["case", "peer"]
    for title, _ in FIGURES.values():
        titles += [title, "ratio"]
    titles += ["bytes", "frames"]
    return grid(titles, [_row(comparison) for comparison in comparisons], markdown)


def grid(titles, rows, markdown=False):
    if markdown:
        lines = [titles, ["---"] * len(titles), *rows]
        return "\n".join("| " + " | ".join(cell.strip() for cell in line) + " |"
                         for line in lines)
    widths = [max(len(line[column]) for line in [titles, *rows])
              for column in range(len(titles))]
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(line, widths)).rstrip()
                     for line in [titles, ["-" * width for width in widths], *rows])


def spreads(all_runs):
    """One line on how far the runs of one contender lay apart: noise of the machine."""
    worst = max(all_runs, key=lambda entry: entry[1].wall_spread())
    return (f"Largest spread of wall times (slowest - fastest, of the median): "
            f"{worst[1].wall_spread():.0%}, {worst[1].name} at {worst[0]}.")


def write_json(path, facts, comparisons, all_runs):
    record = {
        "machine": facts,
        "comparisons": [{**asdict(comparison), "misses": comparison.misses()}
                        for comparison in comparisons],
        "runs": [{"case": job, **asdict(runs)} for job, runs in all_runs],
    }
    with open(path, "w", encoding="utf-8") as file:
        json.dump(record, file, indent=2)
        file.write("\n")
