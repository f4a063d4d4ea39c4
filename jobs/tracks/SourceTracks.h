// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/NuMediaExtractor.h>
#include <oxa/host/InputDescription.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "files/InputFile.h"
#include "oxa/jobs/Track.h"

namespace oxa::jobs {

// Opens `input` at its beginning, with no track selected; an error as
// NuMediaExtractor::setDataSource tells it.
android::status_t openExtractor(const InputFile& input,
                                android::sp<android::NuMediaExtractor>* extractor);

// The tracks of `input` that have a decoder, in the file's order. Nothing when there is at least
// one; otherwise why not (kInput). The first form also hands out the extractor that read them.
std::optional<Failure> readTracks(const InputFile& input, std::vector<Track>* tracks,
                                  android::sp<android::NuMediaExtractor>* extractor);
std::optional<Failure> readTracks(const InputFile& input, std::vector<Track>* tracks);

// As the file names it; empty when it does not say.
std::string languageOf(const host::InputStream& stream);

// The first picture, or the first sound; nothing where there is none.
std::optional<Track> firstOf(const std::vector<Track>& tracks, bool isVideo);

// The longest of them; nothing where no track says.
std::optional<int64_t> longestDurationUs(const std::vector<Track>& tracks);

// How long the file is, in seconds; nothing when it cannot be read.
std::optional<double> fileLengthSec(const std::string& path);

}  // namespace oxa::jobs
