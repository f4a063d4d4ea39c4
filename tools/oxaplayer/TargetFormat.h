// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayerCommon.h>

#include <optional>

#include "Arguments.h"
#include "tracks/SourceTracks.h"

namespace oxaplayer {

// What `transcode` can be asked beyond the options of every encoding command.
struct TranscodeOptions : EncodeOptions {
    std::string input;
    std::optional<int32_t> profile;  // the platform's values
    std::optional<int32_t> level;
    std::optional<int32_t> audioRate;  // Hz
    std::optional<int32_t> audioChannels;
};

// The source's size as it is looked at: upright, with square pixels, even, and not larger than can
// be encoded.
Size uprightSize(const Track& video);

// The encoder's target for these options, with the source's values where none was given. A track
// that is not processed is null.
android::_AV_FORMAT_FORMAT makeTargetFormat(const TranscodeOptions& options, const Track* video,
                                            const Track* audio);

}  // namespace oxaplayer
