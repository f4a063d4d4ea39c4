# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""From the figures of single runs to ratios and verdicts."""

import statistics
from dataclasses import dataclass, fields

from measure import Usage

# The highest ratio of ours to the peer's that is good enough.
TARGETS = {"wall_s": 1.00, "cpu_s": 1.06, "memory_mib": 1.00}
# Of a job that copies samples, and is over so soon that most of it is the program's start.
REMUX_TARGETS = {"wall_s": 1.10, "cpu_s": 1.10, "memory_mib": 1.00}
# Of one file in parts; its memory is stated, since several encoders are at work.
PARTS_TARGETS = {"wall_s": 0.97}
# Encoders differ in how they begin and end a stream of sound.
SOUND_UNITS_TOLERANCE = 4


@dataclass
class Runs:
    """All runs of one contender at one job."""

    name: str
    usages: list  # Usage
    work: list  # of the files it made, one dictionary each

    def median(self):
        return Usage(*(statistics.median(getattr(usage, field.name) for usage in self.usages)
                       for field in fields(Usage)))

    def wall_spread(self):
        """Slowest to fastest, as a share of the median."""
        walls = [usage.wall_s for usage in self.usages]
        return (max(walls) - min(walls)) / statistics.median(walls)


@dataclass(frozen=True)
class Comparison:
    job: str
    peer: str
    ours: Usage
    theirs: Usage  # each figure is that of the peer's better variant
    ratios: dict  # by field of Usage
    difference: str  # how the work differs; empty where it is the same
    frames: int
    byte_ratio: float
    targets: dict

    def misses(self):
        return [figure for figure, target in self.targets.items() if self.ratios[figure] > target]


def compare(job, peer, ours, variants, targets=None):
    """`ours` and each of `variants` are Runs."""
    medians = [runs.median() for runs in variants]
    best = Usage(*(min(getattr(median, field.name) for median in medians)
                   for field in fields(Usage)))
    mine = ours.median()
    ratios = {field.name: getattr(mine, field.name) / getattr(best, field.name)
              for field in fields(Usage)}
    differences = [difference(ours.work, runs.work) for runs in variants]
    theirs_bytes = max(sum(work["bytes"] for work in runs.work) for runs in variants)
    return Comparison(job, peer, mine, best, ratios,
                      next((text for text in differences if text), ""),
                      sum(work["frames"] for work in ours.work),
                      sum(work["bytes"] for work in ours.work) / theirs_bytes,
                      targets or TARGETS)


def difference(ours, theirs):
    """What one of two sides left out, or made in another way; empty when nothing."""
    if len(ours) != len(theirs):
        return f"{len(ours)} and {len(theirs)} files"
    for mine, other in zip(ours, theirs):
        for key in ("frames", "picture", "sound"):
            if mine.get(key) != other.get(key):
                return f"{key}: {mine.get(key)} and {other.get(key)}"
        units = mine.get("sound_units", 0), other.get("sound_units", 0)
        if abs(units[0] - units[1]) > SOUND_UNITS_TOLERANCE:
            return f"sound units: {units[0]} and {units[1]}"
    return ""
