# Copyright 2026 The Oxa Authors
# SPDX-License-Identifier: Apache-2.0
"""What the benchmarks read: the clips of the tests and one that is made here."""

import hashlib
import json
import os
import subprocess
import sys
from pathlib import Path

ROOT = Path(__file__).resolve().parent.parent
CACHE = Path(__file__).resolve().parent / ".cache"
CLIPS = ROOT / "tests" / "media"
CLIP_SUFFIXES = {".avi", ".mp4", ".ts", ".webm"}

# A zoom (motion everywhere), a test chart (sharp edges) and grain (nothing repeats), with sound.
PICTURE = ("mandelbrot=size=960x540:rate=30,scale=1920:1080,format=yuv420p[zoom];"
           "testsrc2=size=1920x1080:rate=30,format=yuv420p[chart];"
           "[zoom][chart]blend=all_mode=average,noise=all_seed=1:alls=8:allf=t[picture]")
SOUND = ("sine=frequency=440:sample_rate=48000[left];"
         "anoisesrc=color=pink:sample_rate=48000:amplitude=0.2:seed=1[right];"
         "[left][right]join=inputs=2:channel_layout=stereo[sound]")
ENCODER = ["-c:v", "libx264", "-preset", "faster", "-profile:v", "high", "-bf", "3", "-g", "60",
           "-b:v", "10M", "-c:a", "aac", "-b:a", "192k"]


def test_clips():
    return sorted(path for path in CLIPS.iterdir() if path.suffix in CLIP_SUFFIXES)


def full_hd_clip(seconds, cache):
    """1920x1080 at 30 frames a second, H.264 High with B-frames and AAC; made once."""
    return made_once(f"full_hd_{seconds}s", ".mp4", cache, [
        "-filter_complex", f"{PICTURE};{SOUND}", "-map", "[picture]", "-map", "[sound]",
        *ENCODER, "-t", str(seconds)])


def flash_clip(rate, seconds, cache):
    """1280x720 H.264 with a beep at each whole second in sound without loss; made once."""
    return made_once(f"flash_{rate}_{seconds}s", ".mkv", cache, [
        "-f", "lavfi", "-i", f"testsrc2=size=1280x720:rate={rate},format=yuv420p",
        "-f", "lavfi", "-i", "aevalsrc='if(lt(mod(t,1),0.05),0.5*cos(2*PI*1000*t),0)':s=48000",
        "-c:v", "libx264", "-preset", "veryfast", "-b:v", "4M", "-c:a", "flac",
        "-t", str(seconds)])


def made_once(name, suffix, cache, arguments):
    digest = hashlib.sha256("\0".join(arguments).encode()).hexdigest()[:12]
    clip = cache / f"{name}_{digest}{suffix}"
    if not clip.exists():
        clip.parent.mkdir(parents=True, exist_ok=True)
        print(f"== making {clip}", file=sys.stderr, flush=True)
        unfinished = clip.with_suffix(f".{os.getpid()}{suffix}")
        try:
            subprocess.run(["ffmpeg", "-v", "error", "-nostdin", "-y", *arguments, unfinished],
                           check=True)
            unfinished.rename(clip)
        finally:
            unfinished.unlink(missing_ok=True)
    return clip


def tracks(player, path):
    """The first picture and the first sound of a file (None where there is none), as the player
    under test sees them."""
    text = subprocess.run([player, "probe", path, "--json"], check=True, capture_output=True,
                          text=True).stdout
    found = {"video": None, "audio": None}
    for track in json.loads(text)["tracks"]:
        found[track["kind"]] = found[track["kind"]] or track
    return found["video"], found["audio"]


def work_in(path):
    """What an encoder put into a file: pictures and their size, sound and its layout."""
    text = subprocess.run(
        ["ffprobe", "-v", "error", "-count_packets", "-show_entries",
         "stream=codec_type,codec_name,width,height,channels,sample_rate,nb_read_packets",
         "-of", "json", path], check=True, capture_output=True, text=True).stdout
    work = {"frames": 0, "bytes": os.path.getsize(path)}
    for stream in json.loads(text)["streams"]:
        packets = int(stream.get("nb_read_packets", 0))
        if stream["codec_type"] == "video":
            work["frames"] = packets
            work["picture"] = f"{stream['codec_name']} {stream['width']}x{stream['height']}"
        elif stream["codec_type"] == "audio":
            work["sound_units"] = packets
            work["sound"] = (f"{stream['codec_name']} {stream['channels']} ch "
                             f"{stream['sample_rate']} Hz")
    return work
