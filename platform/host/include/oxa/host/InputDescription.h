// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace oxa::host {

struct InputRatio {
    int32_t numerator = 0;  // 0: not known
    int32_t denominator = 1;
};

// One stream of a media file, track or not. Texts are empty and numbers 0 where the file does not
// tell; names are those of FFmpeg ("h264", "High", "bt709", "smpte2084", "5.1(side)").
struct InputStream {
    enum class Kind { kPicture, kSound, kSubtitle, kData };
    Kind kind = Kind::kData;
    std::optional<size_t> track;  // its number among those that the extractor lists; none: left out
    std::string whyLeftOut;       // in a few words
    std::string codec;
    std::string profile;
    int64_t bitRate = 0;  // bits a second
    std::string language;
    // Pictures.
    InputRatio frameRate;
    InputRatio pixelAspect;
    std::string colorRange;  // "tv", "pc"
    std::string colorPrimaries;
    std::string colorTransfer;
    std::string colorMatrix;
    int bits = 0;  // of a sample of a picture
    // Sound.
    std::string channelLayout;
};

struct InputChapter {
    int64_t startUs = 0;  // on the clock of the tracks
    int64_t endUs = 0;
    std::string title;
};

// What a media file says of itself beyond the formats of its tracks.
struct InputDescription {
    std::vector<InputStream> streams;                           // all, in the file's order
    std::vector<std::pair<std::string, std::string>> metadata;  // of the file: "title"
    std::vector<InputChapter> chapters;
    // Whether its clock may jump in the middle, which is known when all of it has been read.
    bool mayJump = false;
};

// The file that was opened last in the caller's session (oxa/host/Session.h), by an extractor, as
// the whole of it, whatever part is read; nothing before. Thread-safe, like all below.
std::optional<InputDescription> inputDescription();

// Whether files that are opened from now on in the caller's session are looked into until all of it
// is known. Otherwise, the default, an MP4 whose header tells what is needed to play it is not.
void setThoroughInput(bool thorough);
bool isThoroughInput();

// For the platform.
void reportInputDescription(InputDescription description);

}  // namespace oxa::host
