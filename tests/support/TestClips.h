// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace oxa::test {

// Clips are made with the `ffmpeg` command in the process's temporary directory, once for each
// set of options; the calls give the path of the file and abort the test program if the command
// fails.

// The path of a clip in tests/media.
std::string mediaPath(const std::string& name);

struct ClipOptions {
    std::string extension = "mp4";  // decides the container
    double seconds = 3;

    bool video = true;
    int width = 320;
    int height = 240;
    int frameRateNum = 25;
    std::string videoCodec = "libx264";
    std::vector<std::string> videoArguments;  // e.g. {"-g", "25", "-bf", "2"}
    std::string videoFilter;                  // comes after the generated picture

    bool audio = true;
    int channels = 2;  // 0: as generated
    int sampleRate = 48000;
    std::string audioCodec = "aac";
    std::vector<std::string> audioArguments;
    double audioSeconds = 0;  // 0: as `seconds`

    std::vector<std::string> outputArguments;  // before the file's name
};

// A moving test picture and a 440 Hz sine.
std::string testClip(const ClipOptions& options = {});

// White flashes of three pictures in black, one each second, and beeps (1 kHz) of 100 ms that begin
// `beepOffsetMs` after the first picture of each flash. The first flash comes after half a second.
std::string flashBeepClip(const ClipOptions& options = {}, double beepOffsetMs = 0);

// Sines without picture; channel i has frequencies[i], all of one peak amplitude (full scale 1).
// `layout` is a name as the command knows it ("stereo", "5.1"); empty: the usual one for the count.
std::string sineClip(const std::vector<double>& frequencies, double amplitude,
                     const ClipOptions& options, const std::string& layout = "");

// A single picture, and no sound.
std::string oneFrameVideo(const ClipOptions& options = {});

// Sound with a cover picture (MP3).
std::string coverPictureClip();

// A second of a picture in HDR (PQ, 64x48) and two sounds (deu with four channels, eng), with
// French subtitles, two chapters of half a second, and title, artist, date, comment and album
// (MKV).
std::string talkativeClip();

// A copy of an MPEG-TS file without every n-th of its packets of 188 bytes, the first 100 kept.
std::string dropTsPackets(const std::string& path, int everyNth);
// A copy whose bytes from `from` to `to` (fractions of the length) are zero.
std::string zeroRegion(const std::string& path, double from, double to);
// The first part of a file, as a fraction of its length.
std::string truncateClip(const std::string& path, double fraction);
// Bytes without any meaning, the same in every run.
std::string garbageFile(int64_t bytes, const std::string& extension = "mp4");

}  // namespace oxa::test
