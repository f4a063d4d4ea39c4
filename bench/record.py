#!/usr/bin/env python3
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Measures recordings of a simulated HDMI receiver: what is dropped, how far sound and picture are
apart, how long a picture is on its way, and how much memory it takes."""

import argparse
import array
import json
import os
import re
import subprocess
import sys
import tempfile
import time
from dataclasses import dataclass
from pathlib import Path

import delay
import media
import report
from measure import run

SECONDS, QUICK_SECONDS = 60, 10
LONG_SECONDS = 600
RECORDED_RATE = 30
SAMPLE_RATE = 48000
SWITCH_ROUNDS, QUICK_SWITCH_ROUNDS = 10, 3
MAX_SYNC_MS = 20
MAX_DELAY_MS = 50
MEMORY_SAMPLES_S = 1
WHITE = 200  # mean brightness of a flash; the moving picture stays far below
LOUD = 3000  # of 32767; the beeps are at half scale


@dataclass(frozen=True)
class Source:
    name: str
    width: int
    height: int
    rate: int

    def graph(self):
        """A moving picture that turns white for 100 ms each second, and beeps that begin with it."""
        flash = "lt(mod(t+0.5,1),0.1)"
        return (f"lavfi:testsrc2=size={self.width}x{self.height}:rate={self.rate},"
                f"drawbox=color=white:t=fill:enable='{flash}'[out0];"
                f"aevalsrc='if({flash},0.5*sin(2*PI*1000*t),0)':s={SAMPLE_RATE}[out1]")


SOURCES = (Source("1080p30", 1920, 1080, 30), Source("720p60 at 30", 1280, 720, 60))


class MemoryOverTime:
    """The peak of a process's memory so far, as the kernel counts it, at the moments asked for."""

    def __init__(self, moments_s):
        self._begin = time.monotonic()
        self._moments_s = moments_s
        self.mib = {}

    def __call__(self, pids):
        elapsed_s = time.monotonic() - self._begin
        for moment_s in self._moments_s:
            if elapsed_s < moment_s or moment_s in self.mib:
                continue
            try:
                text = Path(f"/proc/{pids[0]}/status").read_text(encoding="ascii")
            except OSError:
                return
            self.mib[moment_s] = int(re.search(r"VmHWM:\s*(\d+)", text).group(1)) / 1024


def parse_arguments():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true",
                        help=f"recordings of {QUICK_SECONDS} s instead of {SECONDS} s")
    parser.add_argument("--long", action="store_true",
                        help=f"also {LONG_SECONDS // 60} minutes, for the memory")
    parser.add_argument("--preset", default="veryfast", help="of the encoder (default: %(default)s)")
    parser.add_argument("--markdown", action="store_true", help="print the tables as Markdown")
    parser.add_argument("--bin", metavar="DIR", default=media.ROOT / "build" / "release" / "bin",
                        type=Path, help="where the built programs are (default: %(default)s)")
    return parser.parse_args()


def record(source, seconds, output, arguments, memory=None):
    """Records, and returns the usage and the player's own result."""
    events = output.with_suffix(".json")
    player = [arguments.bin / "oxaplayer", "record", "--hdmi", source.graph(), "-o", output,
              "--fps", RECORDED_RATE, "--duration", seconds, "--preset", arguments.preset,
              "--force", "--json"]
    # The shell is replaced by the player: what is measured is the player.
    command = ["sh", "-c", 'events=$1; shift; exec "$@" > "$events"', "sh", str(events),
               *map(str, player)]
    usage = run([command], sample=memory, interval_s=MEMORY_SAMPLES_S)
    lines = [json.loads(line) for line in events.read_text(encoding="utf-8").splitlines()]
    return usage, next(line for line in lines if line["event"] == "result")


def decoded(path, *arguments):
    return subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-i", path, *arguments, "-"],
                          check=True, capture_output=True).stdout


def start_and_times(path, kind):
    """The first time of a stream and, of pictures, all of them; in seconds."""
    text = subprocess.run(["ffprobe", "-v", "error", "-select_streams", f"{kind}:0",
                           "-show_entries", "stream=start_time:packet=pts_time", "-of", "json",
                           path], check=True, capture_output=True, text=True).stdout
    found = json.loads(text)
    return (float(found["streams"][0]["start_time"]),
            sorted(float(packet["pts_time"]) for packet in found["packets"]))


def flashes(path):
    _, times = start_and_times(path, "v")
    means = decoded(path, "-map", "0:v:0", "-vsync", "passthrough", "-vf",
                    "scale=1:1:flags=area,format=gray", "-f", "rawvideo")
    if len(means) != len(times):
        raise SystemExit(f"record.py: {len(times)} pictures, of which {len(means)} are decoded")
    return [times[i] for i in range(1, len(means)) if means[i] >= WHITE > means[i - 1]]


def beeps(path):
    start, _ = start_and_times(path, "a")
    samples = array.array("h", decoded(path, "-map", "0:a:0", "-ac", "1", "-ar",
                                       str(SAMPLE_RATE), "-f", "s16le"))
    found, silent_from = [], 0
    for i, sample in enumerate(samples):
        if abs(sample) < LOUD:
            continue
        if i - silent_from > SAMPLE_RATE // 4:
            found.append(start + i / SAMPLE_RATE)
        silent_from = i
    return found


def offsets_ms(path):
    """Beep minus flash, for each flash that has a beep within half a second."""
    sounds = beeps(path)
    pairs = ((min(sounds, key=lambda beep: abs(beep - flash)), flash)
             for flash in flashes(path) if sounds)
    return [(beep - flash) * 1000 for beep, flash in pairs if abs(beep - flash) < 0.5]


def mark(text, missed):
    return f"{text}{report.MISSED if missed else ''}"


def percentile(ordered, part):
    return ordered[len(ordered) * part // 100]


def recording_row(source, arguments, folder):
    seconds = QUICK_SECONDS if arguments.quick else SECONDS
    output = folder / f"{source.name.partition(' ')[0]}.mp4"
    usage, result = record(source, seconds, output, arguments)
    frames = media.work_in(output)["frames"]
    expected = seconds * RECORDED_RATE
    offsets = offsets_ms(output)
    delays = delay.delays_ms(arguments.bin / "oxaplayer", source.width, source.height, seconds,
                             arguments.preset, folder)
    others = delay.gstreamer_delays_ms(source.width, source.height, seconds, arguments.preset)
    if not offsets:
        raise SystemExit(f"record.py: no flash of {output.name} has a beep")
    return [source.name, arguments.preset, mark(result["dropped"], result["dropped"]),
            mark(f"{frames} of {expected}", frames != expected),
            *(mark(f"{offset:+.1f}", abs(offset) > MAX_SYNC_MS)
              for offset in (offsets[0], offsets[-1])),
            f"{percentile(delays, 50):.1f}",
            mark(f"{percentile(delays, 99):.1f}", percentile(delays, 99) > MAX_DELAY_MS),
            *(f"{percentile(others, part):.1f}" if others else "-" for part in (50, 99)),
            f"{usage.cpu_s / usage.wall_s:.0%}", f"{usage.memory_mib:.0f}"]


def memory_row(source, arguments, folder):
    memory = MemoryOverTime((60,))
    usage, _ = record(source, LONG_SECONDS, folder / "long.mp4", arguments, memory)
    return [source.name, arguments.preset, f"{memory.mib[60]:.1f}", f"{usage.memory_mib:.1f}"]


def preview_gap_ms(arguments):
    """The longest gap in the preview while recordings are switched; None if it cannot be told."""
    program = arguments.bin / "live_control_test"
    if not os.access(program, os.X_OK):
        return None
    rounds = QUICK_SWITCH_ROUNDS if arguments.quick else SWITCH_ROUNDS
    text = subprocess.run(
        [program, "--gtest_filter=*eachRecordingIsAFileFromZeroWhileThePreviewGoesOn/Hdmi"],
        check=True, capture_output=True, text=True,
        env={**os.environ, "OXA_TEST_ROUNDS": str(rounds)}).stdout
    found = re.search(r"longest gap in the preview over (\d+) recordings: ([\d.]+) ms", text)
    return int(found.group(1)), float(found.group(2))


def main():
    arguments = parse_arguments()
    if not os.access(arguments.bin / "oxaplayer", os.X_OK):
        raise SystemExit(f"record.py: there is no oxaplayer in {arguments.bin}: build it with\n"
                         "    cmake --preset release && cmake --build --preset release")
    print(f"{report.machine_line(report.machine())}\n")
    with tempfile.TemporaryDirectory(prefix="oxa-bench-") as home:
        folder = Path(home)
        print(report.grid(["source", "preset", "dropped", "pictures", "sound after picture, ms: "
                           "first", "last", "picture to sample, ms: p50", "p99",
                           "GStreamer's zerolatency: p50", "p99", "CPU, of one core", "memory MiB"],
                          [recording_row(source, arguments, folder) for source in SOURCES],
                          arguments.markdown), end="\n\n")
        if arguments.long:
            print(report.grid(["source", "preset", "peak MiB after 1 minute",
                               f"after {LONG_SECONDS // 60}"],
                              [memory_row(source, arguments, folder) for source in SOURCES],
                              arguments.markdown), end="\n\n")
    gap = preview_gap_ms(arguments)
    if gap is None:
        print("live_control_test is not built: nothing about the preview")
    else:
        print(f"Longest gap in the preview while {gap[0]} recordings are switched: {gap[1]:.1f} ms")


if __name__ == "__main__":
    sys.exit(main())
