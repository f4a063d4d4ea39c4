// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/AMessage.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "Events.h"
#include "ExitCode.h"
#include "InputFile.h"

namespace oxaplayer {

// One track of a media file, as the platform's extractor describes it.
struct SourceTrack {
    size_t index = 0;
    bool isVideo = false;
    std::string mime;
    std::optional<int64_t> durationUs;
    // Pictures: as stored, before rotation.
    int32_t width = 0;
    int32_t height = 0;
    int32_t rotationDegrees = 0;  // clockwise, to stand upright
    double pixelAspect = 1;       // width of a pixel against its height
    std::optional<int32_t> frameRate;
    // Sound.
    int32_t channels = 0;
    int32_t sampleRate = 0;  // Hz
    android::sp<android::AMessage> format;
};

// Opens `input` at its beginning, with no track selected; an error as
// NuMediaExtractor::setDataSource tells it.
android::status_t openExtractor(const InputFile& input,
                                android::sp<android::NuMediaExtractor>* extractor);

// The tracks of `input` that have a decoder, in the file's order. Nothing when there is at least
// one; otherwise why not (exit 3). The first form also hands out the extractor that read them.
std::optional<Failure> readTracks(const InputFile& input, std::vector<SourceTrack>* tracks,
                                  android::sp<android::NuMediaExtractor>* extractor);
std::optional<Failure> readTracks(const InputFile& input, std::vector<SourceTrack>* tracks);

// The longest of them; nothing where no track says.
std::optional<int64_t> longestDurationUs(const std::vector<SourceTrack>& tracks);

Json trackFields(const SourceTrack& track);
// "960x540, 30 fps"
std::string trackDetails(const SourceTrack& track);
// "video/avc 960x540, 30 fps"
std::string describeTrack(const SourceTrack& track);

}  // namespace oxaplayer
