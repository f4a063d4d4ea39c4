# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Measures how long a picture of a live source is on its way until it is encoded and written."""

import os
import re
import select
import shutil
import subprocess
import threading
import time

RATE = 30
BITS = 6  # of a picture's number, drawn into it
BOX = 32  # points, of each bit
TS_PACKET = 188
PTS_HZ = 90000


def graph(width, height, told):
    """A moving picture with its number, which tells `told` when it is fetched: as soon as the one
    before was due."""
    boxes = "".join(f",drawbox=x={BOX * bit}:y=0:w={BOX}:h={BOX}:color=white:t=fill"
                    f":enable='mod(floor(n/{1 << bit}),2)'" for bit in range(BITS))
    return (f"lavfi:testsrc2=size={width // 6}x{height // 6}:rate={RATE},"
            f"metadata=add:key=k:value=1,metadata=print:file={told}:direct=1,scale={width}:{height},"
            f"drawbox=x=0:y=0:w={BOX * BITS}:h={BOX}:color=black:t=fill{boxes}")


class FetchTimes(threading.Thread):
    """When each picture was fetched, by what the graph that was opened last writes."""

    def __init__(self, told):
        super().__init__()
        os.mkfifo(told)
        # Open for both: no writer waits for a reader, and none is the last.
        self._pipe = os.open(told, os.O_RDWR | os.O_NONBLOCK)
        self._ended = threading.Event()
        self.times = []
        self.start()

    def run(self):
        while not self._ended.is_set():
            if not select.select([self._pipe], [], [], 0.1)[0]:
                continue
            now = time.monotonic()
            for number in re.findall(rb"frame:(\d+)", os.read(self._pipe, 1 << 16)):
                if number == b"0":
                    self.times.clear()
                self.times.append(now)

    def end(self):
        self._ended.set()
        self.join()
        os.close(self._pipe)
        return self.times


class Pictures:
    """The pictures of a transport stream as it comes."""

    def __init__(self):
        self.kept = bytearray()
        self.times_s = []  # that the stream states
        self.ends_s = []   # when the last byte came, on the monotonic clock
        self._pid = None

    def read(self, stream):
        rest = b""
        while data := os.read(stream, 1 << 20):
            now = time.monotonic()
            self.kept += data
            rest += data
            whole = len(rest) - len(rest) % TS_PACKET
            for at in range(0, whole, TS_PACKET):
                self._take(rest[at:at + TS_PACKET], now)
            rest = rest[whole:]

    def _take(self, packet, now):
        pid = (packet[1] & 0x1F) << 8 | packet[2]
        payload = packet[4 + (1 + packet[4] if packet[3] & 0x20 else 0):]
        if packet[1] & 0x40 and payload.startswith(b"\0\0\1\xe0"):
            self._pid = pid
            stamp = payload[9:14]
            pts = ((stamp[0] >> 1 & 7) << 30 | stamp[1] << 22 | stamp[2] >> 1 << 15 |
                   stamp[3] << 7 | stamp[4] >> 1)
            self.times_s.append(pts / PTS_HZ)
            self.ends_s.append(now)
        elif pid == self._pid:
            self.ends_s[-1] = now


def number_of_first(recording):
    means = subprocess.run(
        ["ffmpeg", "-v", "error", "-nostdin", "-i", recording, "-frames:v", "1", "-vf",
         f"crop={BOX * BITS}:{BOX}:0:0,scale={BITS}:1:flags=area,format=gray", "-f", "rawvideo",
         "-"], check=True, capture_output=True).stdout
    return sum(1 << bit for bit in range(BITS) if means[bit] > 128)


def delays_ms(player, width, height, seconds, preset, folder):
    """Of each picture of a recording, from when it was captured until its last byte has come out of
    the player; sorted."""
    told, recording = folder / "told", folder / "delay.ts"
    fetches = FetchTimes(told)
    command = [player, "record", "--usb", graph(width, height, told), "--only", "video", "-o", "-",
               "--duration", str(seconds), "--preset", preset, "--quiet"]
    pictures = Pictures()
    with subprocess.Popen(command, stdout=subprocess.PIPE) as process:
        pictures.read(process.stdout.fileno())
    fetched = fetches.end()
    os.unlink(told)
    recording.write_bytes(pictures.kept)
    # No picture is fetched before the one in front of it was due; the quickest tells when that was.
    origin = min(at - (number - 1) / RATE for number, at in enumerate(fetched) if number > 0)
    first = origin + number_of_first(recording) / RATE
    return sorted((end - first - (at - pictures.times_s[0])) * 1000
                  for at, end in zip(pictures.times_s, pictures.ends_s))


def gstreamer_delays_ms(width, height, seconds, preset):
    """The same of GStreamer's encoder for low latency, from the source's push until the encoded
    sample, without a muxer; None where it is not installed."""
    if not shutil.which("gst-launch-1.0"):
        return None
    command = ["gst-launch-1.0", "-q",
               *f"videotestsrc is-live=true num-buffers={seconds * RATE} pattern=smpte".split(),
               *f"horizontal-speed=6 ! video/x-raw,format=I420,width={width},height={height},"
                f"framerate={RATE}/1 ! x264enc tune=zerolatency speed-preset={preset}".split(),
               *f"key-int-max={2 * RATE} threads={os.cpu_count() or 1} ! fakesink".split()]
    told = subprocess.run(command, check=True, stderr=subprocess.PIPE, text=True,
                          env={**os.environ, "GST_TRACERS": "latency", "GST_DEBUG_NO_COLOR": "1",
                               "GST_DEBUG": "GST_TRACER:7"}).stderr
    return sorted(int(ns) / 1e6 for ns in re.findall(r":: latency,.*time=\(guint64\)(\d+)", told))
