#!/usr/bin/env python3
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Compares `oxaplayer transcode` with other programs that do the same work with the same settings,
and prints one table of ratios of medians. docs/performance.md tells how to read it."""

import argparse
import fnmatch
import os
import signal
import subprocess
import sys
import tempfile
from pathlib import Path

import comparison
import contenders
import media
import report
from measure import PeakMemory, RunFailed, Usage, run
from thread_times import ThreadTimes, is_pipeline

BITS_PER_PIXEL = 15  # the client's rule for a bit rate where none is given
FULL_HD = "full_hd"
FULL_SECONDS, QUICK_SECONDS, CONCURRENT_SECONDS = 60, 10, 10
CONCURRENT_COPIES = 4
PARTS_AT_ONCE, PARTS_QUALITY = 2, 23
THREAD_SAMPLES_S = 0.1


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true",
                        help=f"the 1080p clip has {QUICK_SECONDS} s instead of {FULL_SECONDS} s, "
                             "and 3 runs instead of 5")
    parser.add_argument("--runs", type=int, metavar="N", help="measured runs of each contender")
    parser.add_argument("--case", action="append", metavar="PATTERN",
                        help="only cases whose name matches, * and ? allowed; may be repeated")
    parser.add_argument("--list", action="store_true", help="show the names of the cases and end")
    parser.add_argument("--peers", metavar="NAMES", default=",".join(contenders.PEERS),
                        help="comma-separated, default: %(default)s; those that are not installed "
                             "are left out")
    parser.add_argument("--polls", action="store_true",
                        help="no comparison: show CPU time and context switches of our threads")
    parser.add_argument("--json", metavar="FILE", help="write all figures there")
    parser.add_argument("--markdown", action="store_true", help="print the table as Markdown")
    parser.add_argument("--bin", metavar="DIR", default=media.ROOT / "build" / "release" / "bin",
                        type=Path, help="where the built programs are (default: %(default)s)")
    parser.add_argument("--cache", metavar="DIR", default=media.CACHE, type=Path,
                        help="where the clip that is made stays (default: %(default)s)")
    arguments = parser.parse_args()
    arguments.peers = arguments.peers.split(",")
    for peer in arguments.peers:
        if peer not in contenders.PEERS:
            parser.error(f"no such peer: '{peer}'")
    if arguments.runs is None:
        arguments.runs = 3 if arguments.quick else 5
    if arguments.runs < 1:
        parser.error("--runs: at least 1")
    return arguments


def case_makers(arguments):
    """By name, what makes the case's job: only a chosen case needs its clip."""
    seconds = QUICK_SECONDS if arguments.quick else FULL_SECONDS
    player = arguments.bin / "oxaplayer"

    def full_hd(name, size, bit_rate, clip_seconds=seconds, copies=1):
        return lambda: make_job(player, name, media.full_hd_clip(clip_seconds, arguments.cache),
                                size, bit_rate, copies)

    makers = {path.stem: lambda path=path: make_job(player, path.stem, path)
              for path in media.test_clips()}
    for name, *settings in (
            (f"{FULL_HD}_same_size", None, 6_000_000),
            (f"{FULL_HD}_to_720p", (1280, 720), 4_000_000),
            (f"{FULL_HD}_{CONCURRENT_COPIES}_at_once", None, 6_000_000, CONCURRENT_SECONDS,
             CONCURRENT_COPIES)):
        makers[name] = full_hd(name, *settings)
    remux = f"{FULL_HD}_remux"
    makers[remux] = lambda: make_job(player, remux, media.full_hd_clip(seconds, arguments.cache),
                                     remuxed=True)
    parts = f"{FULL_HD}_in_parts"
    # Also with --quick: a short film is not divided.
    makers[parts] = lambda: make_job(player, parts,
                                     media.full_hd_clip(FULL_SECONDS, arguments.cache),
                                     quality=PARTS_QUALITY, parts_at_once=PARTS_AT_ONCE)
    return makers


def make_job(player, name, source, size=None, bit_rate=None, copies=1, **settings):
    video, audio = media.tracks(player, source)
    upright = (video["width"], video["height"])
    if video["rotation"] % 180:
        upright = upright[::-1]
    # An odd side cannot be encoded as 4:2:0.
    width, height = size or (side - side % 2 for side in upright)
    return contenders.Job(
        name, source, width, height, scaled=(width, height) != upright,
        frame_rate=video["frame_rate"],
        video_bit_rate=bit_rate or width * height * BITS_PER_PIXEL,
        channels=audio["channels"] if audio else 0,
        sample_rate=audio["sample_rate"] if audio else 0, copies=copies, **settings)


def run_once(contender, job, folder):
    """Returns the usage and what was made; the files are gone afterwards."""
    outputs = [str(Path(folder) / f"{number}.mp4") for number in range(job.copies)]
    commands = contender.commands(job, outputs)
    try:
        if job.copies == 1:
            usage = run(commands)
        else:
            memory = PeakMemory()
            usage = run(commands, sample=memory)
            usage = Usage(usage.wall_s, usage.cpu_s, memory.mib)
        return usage, [media.work_in(output) for output in outputs]
    finally:
        for output in outputs:
            Path(output).unlink(missing_ok=True)


def measure(job, sides, count):
    """Alternates between the contenders, so that whatever the machine does meets all of them, and
    begins with another one each time. The first runs of all are not counted: they fill caches.
    Returns the runs by contender; one that fails is left out."""
    all_runs = {side: comparison.Runs(side.name, [], []) for side in sides}
    with tempfile.TemporaryDirectory(prefix="oxa-bench-") as folder:
        for turn in range(count + 1):
            first = turn % len(sides)
            for side in sides[first:] + sides[:first]:
                if side not in all_runs:
                    continue
                try:
                    usage, all_runs[side].work = run_once(side, job, folder)
                except (RunFailed, subprocess.CalledProcessError) as error:
                    say(f"{job.name}: {side.name} failed: {error}")
                    del all_runs[side]
                    continue
                if turn > 0:
                    all_runs[side].usages.append(usage)
    return all_runs


def compare_job(job, arguments, peers):
    """Returns comparisons, all runs, and the names of the contenders that failed."""
    ours = contenders.OxaPlayer(arguments.bin)
    targets = comparison.TARGETS
    if job.remuxed:
        peers = [peer for peer in peers if peer in contenders.REMUXING_PEERS]
        targets = comparison.REMUX_TARGETS
    variants = {peer: contenders.variants(peer) for peer in peers}
    if job.parts_at_once:
        targets = comparison.PARTS_TARGETS
        variants["one run"] = [contenders.OxaPlayer(arguments.bin, divides=False)]
    sides = [ours, *(side for its in variants.values() for side in its)]
    all_runs = measure(job, sides, arguments.runs)
    comparisons = []
    for peer, its in variants.items():
        runs = [all_runs[side] for side in its if side in all_runs]
        if runs and ours in all_runs:
            comparisons.append(comparison.compare(job.name, peer, all_runs[ours], runs,
                                                  targets))
    return comparisons, all_runs.values(), [side.name for side in sides if side not in all_runs]


def compare_all(jobs, arguments, peers):
    facts = report.machine()
    comparisons, all_runs, failed = [], [], []
    for job in jobs:
        say(f"{job.name}: {job.size}, {job.rate}")
        of_job, runs, failed_names = compare_job(job, arguments, peers)
        comparisons += of_job
        all_runs += [(job.name, each) for each in runs]
        failed += [f"{name} at {job.name}" for name in failed_names]
    print(report.heading(facts, arguments.runs), end="\n\n")
    if comparisons:
        print(report.table(comparisons, arguments.markdown), end="\n\n")
    if all_runs:
        print(report.spreads(all_runs))
    if failed:
        print("Failed: " + ", ".join(failed))
    if arguments.json:
        report.write_json(arguments.json, facts, comparisons, all_runs)
    return 1 if failed or any(each.difference for each in comparisons) else 0


def show_threads(jobs, arguments):
    ours = contenders.OxaPlayer(arguments.bin)
    for job in jobs:
        times = ThreadTimes()
        with tempfile.TemporaryDirectory(prefix="oxa-bench-") as folder:
            outputs = [f"{folder}/{number}.mp4" for number in range(job.copies)]
            usage = run(ours.commands(job, outputs), sample=times, interval_s=THREAD_SAMPLES_S)
        threads = times.by_name()
        seen_s = sum(thread.cpu_s for thread in threads)
        pipeline_s = sum(thread.cpu_s for thread in threads if is_pipeline(thread.name))
        print(f"{job.name}: {usage.wall_s:.2f} s, {usage.cpu_s:.2f} s of CPU, of which "
              f"{seen_s / usage.cpu_s:.0%} were seen in threads (a last look every "
              f"{THREAD_SAMPLES_S} s)")
        print(report.grid(
            ["thread", "CPU s", "share", "sleeps", "sleeps/s", "preempted"],
            [[thread.name, f"{thread.cpu_s:.3f}", f"{thread.cpu_s / usage.cpu_s:.2%}",
              str(thread.voluntary), f"{thread.voluntary / usage.wall_s:.0f}",
              str(thread.involuntary)] for thread in threads], arguments.markdown))
        print(f"The pipelines' loopers: {pipeline_s:.3f} s, {pipeline_s / usage.cpu_s:.2%} of all; "
              f"this is their work and their polls together.\n")
    return 0


def say(text):
    print(f"== {text}", file=sys.stderr, flush=True)


def chosen(makers, arguments):
    patterns = arguments.case or ([f"{FULL_HD}_same_size"] if arguments.polls else ["*"])
    names = [name for name in makers
             if any(fnmatch.fnmatch(name, pattern) for pattern in patterns)]
    if not names:
        raise SystemExit(f"run.py: no case matches {' or '.join(patterns)}; --list shows them")
    return names


def main():
    # By way of an exception, so that what was started ends too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(143))
    arguments = parse_arguments()
    makers = case_makers(arguments)
    if arguments.list:
        print("\n".join(makers))
        return 0
    if not os.access(arguments.bin / "oxaplayer", os.X_OK):
        raise SystemExit(f"run.py: there is no oxaplayer in {arguments.bin}: build it with\n"
                         "    cmake --preset release && cmake --build --preset release")
    names = chosen(makers, arguments)
    jobs = (makers[name]() for name in names)
    if arguments.polls:
        return show_threads(jobs, arguments)
    peers = [peer for peer in arguments.peers if contenders.is_installed(peer)]
    for peer in set(arguments.peers) - set(peers):
        say(f"{peer} is not installed and left out")
    if not peers:
        raise SystemExit("run.py: nothing to compare with")
    return compare_all(jobs, arguments, peers)


if __name__ == "__main__":
    sys.exit(main())
