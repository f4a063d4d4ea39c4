// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

namespace oxa::jobs {

// A fraction, as files have them.
struct Ratio {
    int32_t numerator = 0;  // 0: not known
    int32_t denominator = 1;
};

// What a picture's numbers mean, in FFmpeg's names ("bt709", "smpte2084"); empty: not told.
struct Color {
    std::string range;  // "tv" or "pc"
    std::string primaries;
    std::string transfer;
    std::string matrix;
    int bits = 0;  // of a sample; 0: not known
};

// One track of a media file that has a decoder, or of a live source.
struct Track {
    size_t index = 0;  // in the file, which may have others
    bool isVideo = false;
    std::string mime;                   // "video/avc"; empty for a live source
    std::optional<int64_t> durationUs;  // where the file tells
    std::string language;               // as the file names it: "deu"; empty: it does not say
    // In FFmpeg's names: "h264", "High"; empty where it is not known.
    std::string codec;
    std::string profile;
    std::optional<int64_t> bitRate;  // bits a second, where the file tells
    // Pictures: as stored, before rotation.
    int32_t width = 0;
    int32_t height = 0;
    int32_t rotationDegrees = 0;       // clockwise, to stand upright
    double pixelAspect = 1;            // width of a pixel against its height
    bool isInterlaced = false;         // made of fields, as the file says
    std::optional<int32_t> frameRate;  // frames a second, rounded
    Ratio exactFrameRate;
    Ratio exactPixelAspect;
    Color color;
    // Sound.
    int32_t channels = 0;
    int32_t sampleRate = 0;  // Hz
    std::string layout;      // "stereo", "5.1(side)"; empty: not told
    std::string source;      // of a live source: where the sound comes from
};

// Which kinds of tracks a job works on.
enum class Only { kBoth, kAudio, kVideo };

}  // namespace oxa::jobs
