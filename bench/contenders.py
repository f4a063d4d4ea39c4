# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""Who is compared: the client of this project and its peers, all with the same settings."""

import os
import shutil
import subprocess
from dataclasses import dataclass
from pathlib import Path

AUDIO_BIT_RATE = 128_000  # the library's, which is fixed
KEY_FRAME_INTERVAL_S = 2
CORES = os.cpu_count() or 1
ENCODER_THREADS = min(CORES, 16)  # the library's numbers
DECODER_THREADS = min(CORES, 4)


@dataclass(frozen=True)
class Job:
    """One file to be made `copies` times at once."""

    name: str
    source: Path
    width: int  # of the output
    height: int
    scaled: bool  # the source has another size
    frame_rate: int
    video_bit_rate: int
    channels: int  # 0: no sound
    sample_rate: int
    copies: int = 1
    remuxed: bool = False  # samples are copied as they are
    quality: int = 0  # 0: the bit rate; otherwise constant, as x264 counts it
    parts_at_once: int = 0  # of one file, by ours; 0: it is not divided

    @property
    def key_frame_distance(self):
        return KEY_FRAME_INTERVAL_S * self.frame_rate

    @property
    def size(self):
        return f"{self.width}x{self.height}"

    @property
    def rate(self):
        return f"quality {self.quality}" if self.quality else f"{self.video_bit_rate / 1e6:.2f} Mb/s"


class OxaPlayer:
    """`divides`: as the job asks for; otherwise never."""

    def __init__(self, folder, divides=True):
        self.name = "oxaplayer" if divides else "oxaplayer (one run)"
        self._divides = divides
        self._player = str(Path(folder) / "oxaplayer")
        self._concurrent = str(Path(folder) / "oxa_bench_concurrent")

    def commands(self, job, outputs):
        if job.copies > 1:
            return [[self._concurrent, str(job.source), str(job.width), str(job.height),
                     str(job.video_bit_rate), str(KEY_FRAME_INTERVAL_S), str(job.channels),
                     str(job.sample_rate), *outputs]]
        if job.remuxed:
            return [[self._player, "remux", str(job.source), "-o", outputs[0], "--quiet"]]
        rate = (["--quality", str(job.quality)] if job.quality
                else ["--video-bitrate", str(job.video_bit_rate)])
        parts = (["--resumable", "--jobs", str(job.parts_at_once)]
                 if job.parts_at_once and self._divides else [])
        return [[self._player, "transcode", str(job.source), "-o", outputs[0], "--quiet",
                 "--size", job.size, *rate, *parts,
                 "--keyframe-interval", str(KEY_FRAME_INTERVAL_S)]]


class FFmpeg:
    """`decoder_threads`: None leaves the choice to the decoder."""

    def __init__(self, decoder_threads):
        self.name = "ffmpeg"
        if decoder_threads is not None:
            self.name += f" (decoder threads: {decoder_threads})"
        self._decoder = [] if decoder_threads is None else ["-threads", str(decoder_threads)]
        self._pass_through = self._find_pass_through()

    @staticmethod
    def _find_pass_through():
        text = subprocess.run(["ffmpeg", "-v", "error", "-h", "long"], check=True,
                              capture_output=True, text=True).stdout
        return ["-fps_mode", "passthrough"] if "-fps_mode" in text else ["-vsync", "0"]

    def commands(self, job, outputs):
        return [self._command(job, output) for output in outputs]

    def _command(self, job, output):
        if job.remuxed:
            return ["ffmpeg", "-v", "error", "-nostdin", "-y", "-i", str(job.source),
                    "-map", "0:v:0", "-map", "0:a:0?", "-c", "copy", output]
        scale = ["-vf", f"scale={job.width}:{job.height}:flags=bicubic"] if job.scaled else []
        rate = ["-crf", str(job.quality)] if job.quality else ["-b:v", str(job.video_bit_rate)]
        return ["ffmpeg", "-v", "error", "-nostdin", "-y", *self._decoder, "-i", str(job.source),
                "-map", "0:v:0", "-map", "0:a:0?", *scale, *self._pass_through,
                "-c:v", "libx264", "-preset", "veryfast", "-bf", "0",
                "-g", str(job.key_frame_distance), *rate,
                "-threads:v", str(ENCODER_THREADS),
                "-c:a", "aac", "-b:a", str(AUDIO_BIT_RATE), output]


class GStreamer:
    name = "gstreamer"

    def commands(self, job, outputs):
        return [self._command(job, output) for output in outputs]

    @staticmethod
    def _command(job, output):
        scale = [*f"! videoscale method=3 ! video/x-raw,width={job.width},"
                  f"height={job.height}".split()] if job.scaled else []
        rate = (["pass=qual", f"quantizer={job.quality}"] if job.quality
                else [f"bitrate={round(job.video_bit_rate / 1000)}"])
        sound = [*"in. ! queue ! audioconvert ! audioresample ! avenc_aac".split(),
                 f"bitrate={AUDIO_BIT_RATE}", *"! aacparse ! queue ! out.".split()]
        return ["gst-launch-1.0", "-q", "filesrc", f"location={job.source}",
                *"! decodebin name=in".split(),
                *"in. ! queue ! videoconvert ! videoflip video-direction=auto".split(), *scale,
                *"! x264enc speed-preset=veryfast bframes=0 vbv-buf-capacity=0".split(),
                f"key-int-max={job.key_frame_distance}", f"threads={ENCODER_THREADS}", *rate,
                *"! h264parse ! queue ! out.".split(), *(sound if job.channels else []),
                *"mp4mux name=out ! filesink".split(), f"location={output}"]


# By name: the program, and its variants; each figure of a peer is that of its better variant.
PEERS = {
    "ffmpeg": ("ffmpeg", lambda: [FFmpeg(None)]),
    "ffmpeg-few-threads": ("ffmpeg", lambda: [FFmpeg(DECODER_THREADS)]),
    "gstreamer": ("gst-launch-1.0", lambda: [GStreamer()]),
}


# Those that copy samples.
REMUXING_PEERS = {"ffmpeg"}


def is_installed(peer):
    return shutil.which(PEERS[peer][0]) is not None


def variants(peer):
    return PEERS[peer][1]()
