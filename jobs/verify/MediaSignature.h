// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Display.h>

#include <cstdint>
#include <optional>
#include <vector>

#include "files/InputFile.h"
#include "run/JobContext.h"

namespace oxa::jobs {

// How the pictures of a source are changed before they are encoded.
struct PictureChanges {
    int32_t frameRate = 0;     // 0: that of the source
    int32_t deinterlace = -1;  // as in the encoder's target format
};

// Which tracks count.
struct SignatureTracks {
    bool video;
    bool audio;
};

// What there is to be seen and heard in a file, coarsely.
struct MediaSignature {
    static constexpr int64_t kLevelUs = 2000;

    struct Picture {
        int64_t timeUs;
        host::PictureGrid grid;
    };
    std::vector<Picture> pictures;
    // How loud it is, for every kLevelUs from the time 0; 0 where there is no sound.
    std::vector<float> levels;
    int64_t soundBeginUs = 0;
    int32_t sampleRate = 0;
};

// Decodes the first picture and the first sound of a file, as the session's choice shows them.
// Nothing when all of it could be decoded; otherwise why not (kFailed, kCancelled). Blocks.
std::optional<Failure> readSignature(const InputFile& file, SignatureTracks tracks,
                                     const PictureChanges& changes, const CancelFlag& cancelled,
                                     MediaSignature* signature);

}  // namespace oxa::jobs
