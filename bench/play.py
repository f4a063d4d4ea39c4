#!/usr/bin/env python3
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Measures how exactly files are played, and what that costs beside `ffplay`. docs/performance.md
tells how to read it."""

import argparse
import json
import os
import shutil
import statistics
import subprocess
import sys
import tempfile
from pathlib import Path

import media
import report
from measure import run
from thread_times import ThreadTimes, is_pipeline

RATES = (30, 60)
SECONDS, QUICK_SECONDS = 60, 10
MAX_MEDIAN_MS, MAX_P99_MS, MAX_SYNC_MS = 1, 5, 20
MAX_EXTRA_CPU = 0.15  # of one core, beside the peer
THREAD_SAMPLES_S = 0.1


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true",
                        help=f"clips of {QUICK_SECONDS} s instead of {SECONDS} s")
    parser.add_argument("--runs", type=int, default=3, metavar="N",
                        help="measured runs of each player (default: %(default)s)")
    parser.add_argument("--markdown", action="store_true", help="print the tables as Markdown")
    parser.add_argument("--bin", metavar="DIR", default=media.ROOT / "build" / "release" / "bin",
                        type=Path, help="where the built programs are (default: %(default)s)")
    parser.add_argument("--cache", metavar="DIR", default=media.CACHE, type=Path,
                        help="where the clips that are made stay (default: %(default)s)")
    return parser.parse_args()


def mark(value, limit):
    return f"{value:.2f}{'!' if abs(value) > limit else ''}"


def timing_row(rate, clip, arguments):
    text = subprocess.run([arguments.bin / "oxa_bench_play", clip], check=True,
                          capture_output=True, text=True).stdout
    seen = json.loads(text)
    sync = max(seen["sync_most_ms"], seen["sync_least_ms"], key=abs)
    return [f"720p at {rate}", str(seen["pictures"]),
            f"{seen['dropped']}{'!' if seen['dropped'] else ''}",
            mark(seen["picture_median_ms"], MAX_MEDIAN_MS), mark(seen["picture_p99_ms"], MAX_P99_MS),
            mark(seen["sound_median_ms"], MAX_MEDIAN_MS), mark(seen["sound_p99_ms"], MAX_P99_MS),
            f"{seen['sync_least_ms']:.1f} to {seen['sync_most_ms']:.1f}"
            f"{'!' if abs(sync) > MAX_SYNC_MS else ''}",
            f"{seen['sleep_p99_ms']:.2f}, {seen['sleep_most_ms']:.1f}"]


def cost_row(rate, clip, arguments):
    """CPU time divided by wall time: how much of one core each player keeps busy."""
    ours = [arguments.bin / "oxaplayer", "play", clip, "--display", "null", "--sound", "null",
            "--quiet"]
    peer = ["ffplay", "-v", "error", "-autoexit", "-framedrop", clip]
    shares = {"ours": [], "peer": [], "polls": []}
    for _ in range(arguments.runs):
        times = ThreadTimes()
        usage = run([ours], sample=times, interval_s=THREAD_SAMPLES_S)
        shares["ours"].append(usage.cpu_s / usage.wall_s)
        pipeline_s = sum(thread.cpu_s for thread in times.by_name() if is_pipeline(thread.name))
        shares["polls"].append(pipeline_s / usage.wall_s)
        usage = run([peer])
        shares["peer"].append(usage.cpu_s / usage.wall_s)
    ours, peer, polls = (statistics.median(shares[name]) for name in ("ours", "peer", "polls"))
    return [f"720p at {rate}", f"{ours:.1%}", f"{peer:.1%}",
            f"{ours - peer:+.1%}{'!' if ours - peer > MAX_EXTRA_CPU else ''}", f"{polls:.1%}"]


def main():
    arguments = parse_arguments()
    for program in ("oxaplayer", "oxa_bench_play"):
        if not os.access(arguments.bin / program, os.X_OK):
            raise SystemExit(f"play.py: there is no {program} in {arguments.bin}: build it with\n"
                             "    cmake --preset release && cmake --build --preset release")
    seconds = QUICK_SECONDS if arguments.quick else SECONDS
    clips = {rate: media.flash_clip(rate, seconds, arguments.cache) for rate in RATES}
    with tempfile.TemporaryDirectory(prefix="oxa-bench-") as home:
        # No screen, no sound card: the peer's own headless drivers.
        os.environ.update(SDL_VIDEODRIVER="dummy", SDL_AUDIODRIVER="dummy", HOME=home)
        print(f"{report.machine_line(report.machine())}\n")
        print(report.grid(["clip", "pictures", "dropped", "picture late, median ms", "p99 ms",
                           "sound late, median ms", "p99 ms", "sound after picture, ms",
                           "a sleep late, p99 and most ms"],
                          [timing_row(rate, clip, arguments) for rate, clip in clips.items()],
                          arguments.markdown), end="\n\n")
        if shutil.which("ffplay") is None:
            print("ffplay is not installed: no comparison of the CPU time")
            return
        print(report.grid(["clip", "ours, of one core", "ffplay", "difference",
                           "our pipelines' loopers"],
                          [cost_row(rate, clip, arguments) for rate, clip in clips.items()],
                          arguments.markdown))


if __name__ == "__main__":
    sys.exit(main())
