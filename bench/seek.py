#!/usr/bin/env python3
# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Measures how long after an arrow key the player's window shows the picture of the new place.

The window is that of an Xvfb, whose picture lies in a file. The clip gets brighter all the time, and
a place between its key frames takes longer than one at a key frame. Needs Xvfb.
"""

import argparse
import fcntl
import mmap
import os
import pty
import random
import statistics
import struct
import subprocess
import sys
import tempfile
import termios
import time
from pathlib import Path

import media

WIDTH, HEIGHT = 1280, 720
SECONDS = 60
LIMIT_MS = 150
KEYS = {+1: b"\033[C", -1: b"\033[D"}  # 10 s on, 10 s back
STEP = 20                              # of brightness in 10 s, at the least
DEADLINE_S = 5


def clip(cache):
    return media.made_once(f"brighter_{SECONDS}s", ".mp4", cache, [
        "-f", "lavfi", "-i", f"testsrc2=size={WIDTH}x{HEIGHT}:rate=30,format=yuv420p,drawbox=x=600:y=320"
        f":w=80:h=80:color=gray:t=fill,eq=brightness='t/{SECONDS + 20}-0.4':eval=frame",
        "-f", "lavfi", "-i", "sine=sample_rate=48000", "-c:v", "libx264", "-preset", "faster",
        "-bf", "3", "-g", "60", "-c:a", "aac", "-t", str(SECONDS)])


class Screen:
    """The middle of a display of its own."""

    def __init__(self, folder):
        number, told = os.pipe()
        self._server = subprocess.Popen(
            ["Xvfb", "-displayfd", str(told), "-screen", "0", f"{WIDTH}x{HEIGHT}x24", "-fbdir", folder],
            stderr=subprocess.DEVNULL, pass_fds=[told])
        os.close(told)
        with os.fdopen(number, encoding="ascii") as text:
            self.name = ":" + text.readline().strip()
        with open(Path(folder, "Xvfb_screen0"), "rb") as file:
            self._memory = mmap.mmap(file.fileno(), 0, prot=mmap.PROT_READ)
        # The header of an X window dump: its own size, the bytes of a line, the number of colours.
        header = struct.unpack(">25I", self._memory[:100])
        self._middle = header[0] + header[19] * 12 + HEIGHT // 2 * header[12] + WIDTH // 2 * 4

    def brightness(self):
        return self._memory[self._middle + 1]

    def wait(self, condition):
        """Milliseconds until the brightness fulfils it."""
        begin = time.monotonic()
        while not condition(self.brightness()):
            if time.monotonic() - begin > DEADLINE_S:
                sys.exit("seek.py: the picture did not come")
            time.sleep(0.0005)
        return (time.monotonic() - begin) * 1000

    def close(self):
        self._server.terminate()
        self._server.wait()


def take_terminal(terminal):
    """Keys are read in the foreground of a terminal."""
    os.setsid()
    fcntl.ioctl(terminal, termios.TIOCSCTTY, 0)


def seeks_ms(player, path, count, seed):
    rng = random.Random(seed)
    keys, terminal = pty.openpty()
    times = []
    with tempfile.TemporaryDirectory() as folder:
        screen = Screen(folder)
        process = subprocess.Popen([player, "play", path, "--sound", "null", "--start", "5"], stdin=terminal,
                                   stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
                                   env={**os.environ, "DISPLAY": screen.name},
                                   preexec_fn=lambda: take_terminal(terminal))
        try:
            screen.wait(lambda now: now > 0)
            for number in range(count):
                time.sleep(rng.uniform(0.3, 0.9))
                way = -1 if number % 2 else 1
                before = screen.brightness()
                os.write(keys, KEYS[way])
                times.append(screen.wait(lambda now: (now - before) * way > STEP))
            os.write(keys, b"q")
            process.wait(DEADLINE_S)
        finally:
            process.kill()
            process.wait()
            screen.close()
    return times


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--player", default=media.ROOT / "build/release/bin/oxaplayer", type=Path)
    parser.add_argument("--cache", default=media.CACHE, type=Path, help="where the clip is kept")
    parser.add_argument("--count", default=40, type=int, help="keys (40)")
    parser.add_argument("--seed", default=1, type=int, help="of the times between them (1)")
    arguments = parser.parse_args()
    times = seeks_ms(arguments.player, clip(arguments.cache), arguments.count, arguments.seed)
    late = sum(ms > LIMIT_MS for ms in times)
    print(f"{len(times)} seeks in {WIDTH}x{HEIGHT}, ms: median {statistics.median(times):.0f}, "
          f"most {max(times):.0f}; {late} above {LIMIT_MS}{'!' if late else ''}")


if __name__ == "__main__":
    main()
