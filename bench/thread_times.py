# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""CPU time and context switches of each thread of a running process, as the kernel counts them."""

import os
import re
from collections import defaultdict
from dataclasses import dataclass

# The loopers on which the pipelines' own code runs. Their waits are polls, so what they burn
# beyond their work shows here. The kernel keeps 15 characters of a name.
PIPELINE = re.compile(r"[AV]-(De|En)codeCB")


@dataclass
class ThreadTime:
    name: str
    cpu_s: float
    voluntary: int  # times that the thread went to sleep
    involuntary: int


class ThreadTimes:
    """To be called with process ids while they run; keeps the last look at each thread, also of
    those that have ended since."""

    def __init__(self):
        self._seen = {}  # by process and thread

    def __call__(self, pids):
        for pid in pids:
            try:
                threads = os.listdir(f"/proc/{pid}/task")
            except FileNotFoundError:
                continue
            for thread in threads:
                try:
                    self._seen[pid, thread] = _look(f"/proc/{pid}/task/{thread}")
                except (FileNotFoundError, ProcessLookupError):
                    pass  # has ended meanwhile

    def by_name(self):
        """One entry a name, the most expensive first."""
        sums = defaultdict(lambda: ThreadTime("", 0, 0, 0))
        for seen in self._seen.values():
            total = sums[seen.name]
            total.name = seen.name
            total.cpu_s += seen.cpu_s
            total.voluntary += seen.voluntary
            total.involuntary += seen.involuntary
        return sorted(sums.values(), key=lambda total: -total.cpu_s)


def is_pipeline(name):
    return PIPELINE.match(name) is not None


def _look(folder):
    with open(f"{folder}/comm", encoding="utf-8", errors="replace") as file:
        name = file.read().strip()
    with open(f"{folder}/status", encoding="utf-8", errors="replace") as file:
        status = dict(line.split(":", 1) for line in file)
    return ThreadTime(name, _cpu_s(folder), int(status["voluntary_ctxt_switches"]),
                      int(status["nonvoluntary_ctxt_switches"]))


def _cpu_s(folder):
    try:
        with open(f"{folder}/schedstat", encoding="ascii") as file:
            return int(file.read().split()[0]) / 1e9
    except FileNotFoundError:  # a kernel without the statistics: whole clock ticks must do
        with open(f"{folder}/stat", encoding="utf-8", errors="replace") as file:
            after_name = file.read().rpartition(")")[2].split()
        return (int(after_name[11]) + int(after_name[12])) / os.sysconf("SC_CLK_TCK")
