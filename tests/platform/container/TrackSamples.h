// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/AMessage.h>

#include <cstddef>
#include <cstdint>
#include <ostream>

#include "support/Test.h"

namespace android {

// What the tests of the extractor read with it.

constexpr size_t kBufferSize = 8 << 20;

struct Sample {
    int64_t timeUs;
    size_t size;
    bool sync;

    // Times may differ by a microsecond.
    bool operator==(const Sample& other) const;
};
void PrintTo(const Sample& sample, std::ostream* out);

sp<NuMediaExtractor> newExtractor();
sp<NuMediaExtractor> openClip(const std::string& path);

// Reads what is left, as a pipeline does.
std::vector<Sample> readAll(const sp<NuMediaExtractor>& extractor, size_t capacity = kBufferSize);
std::vector<Sample> readTrack(const std::string& path, size_t index);

sp<AMessage> formatOf(const sp<NuMediaExtractor>& extractor, size_t track = 0);
// -1 without it.
int32_t int32Of(const sp<AMessage>& format, const char* name);

}  // namespace android
