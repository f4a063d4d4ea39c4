# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Runs commands and tells what they cost."""

import os
import select
import subprocess
import tempfile
import time
from dataclasses import dataclass


class RunFailed(Exception):
    """A command that ended badly or took too long; the text is one line for people."""


@dataclass(frozen=True)
class Usage:
    wall_s: float
    cpu_s: float  # user and system, of the commands and all that they waited for
    memory_mib: float


class PeakMemory:
    """Peak over samples of the memory of several processes together. Shared pages are divided
    among those that map them, so four processes do not pay four times for one library."""

    def __init__(self):
        self.mib = 0.0

    def __call__(self, pids):
        self.mib = max(self.mib, sum(self._kib(pid) for pid in pids) / 1024)

    @staticmethod
    def _kib(pid):
        try:
            with open(f"/proc/{pid}/smaps_rollup", encoding="ascii") as rollup:
                return next(int(line.split()[1]) for line in rollup if line.startswith("Pss:"))
        except (OSError, StopIteration):
            return 0  # has ended meanwhile


def run(commands, timeout_s=3600, sample=None, interval_s=0.2):
    """Runs all commands at once and waits for the last one. `sample`, if given, is called with the
    ids of those that still run, every `interval_s`. memory_mib is the sum of the commands' peaks.
    The kernel counts what this interpreter held when it forked as a lower bound of a peak, so
    peaks below some 20 MiB are not told apart. Raises RunFailed."""
    begin = time.monotonic()
    with tempfile.TemporaryFile() as errors:
        running = {}
        try:
            for command in commands:
                child = subprocess.Popen(command, stdin=subprocess.DEVNULL,
                                         stdout=subprocess.DEVNULL, stderr=errors)
                running[os.pidfd_open(child.pid)] = child
            ended = _wait(running, begin + timeout_s, sample, interval_s)
            wall_s = time.monotonic() - begin
        finally:
            _kill(running)
        for child, _ in ended:
            if child.returncode != 0:
                raise RunFailed(f"{' '.join(child.args)}: exit {child.returncode}: "
                                f"{_last_line(errors)}")
    usages = [usage for _, usage in ended]
    return Usage(wall_s, sum(usage.ru_utime + usage.ru_stime for usage in usages),
                 sum(usage.ru_maxrss for usage in usages) / 1024)


def _wait(running, deadline, sample, interval_s):
    """Moves processes from `running` (by descriptor) to the result, with what each used."""
    poll = select.poll()
    for descriptor in running:
        poll.register(descriptor, select.POLLIN)
    ended = []
    next_sample = time.monotonic()
    while running:
        now = time.monotonic()
        if now >= deadline:
            raise RunFailed(f"{' '.join(next(iter(running.values())).args)}: took too long")
        if sample and now >= next_sample:
            sample([child.pid for child in running.values()])
            next_sample = now + interval_s
        until = min(deadline, next_sample) if sample else deadline
        for descriptor, _ in poll.poll(max(0, until - time.monotonic()) * 1000):
            poll.unregister(descriptor)
            child = running.pop(descriptor)
            os.close(descriptor)
            _, status, usage = os.wait4(child.pid, 0)
            child.returncode = os.waitstatus_to_exitcode(status)
            ended.append((child, usage))
    return ended


def _kill(running):
    for descriptor, child in running.items():
        child.kill()
        child.wait()
        os.close(descriptor)


def _last_line(errors):
    errors.seek(0)
    lines = errors.read().decode(errors="replace").strip().splitlines()
    return lines[-1] if lines else "it gave no reason"
