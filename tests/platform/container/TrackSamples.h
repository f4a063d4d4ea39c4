// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <datasource/FileSource.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AMessage.h>

#include "support/Test.h"

// What the tests of the extractor read with it.

namespace android {

constexpr size_t kBufferSize = 8 << 20;

struct Sample {
    int64_t timeUs;
    size_t size;
    bool sync;

    // Times may differ by a microsecond.
    bool operator==(const Sample& other) const {
        return std::abs(timeUs - other.timeUs) <= 1 && size == other.size && sync == other.sync;
    }
};

inline sp<NuMediaExtractor> newExtractor() {
    return new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
}

inline sp<NuMediaExtractor> openClip(const std::string& path) {
    sp<NuMediaExtractor> extractor = newExtractor();
    EXPECT_EQ(extractor->setDataSource(new FileSource(path.c_str())), OK) << path;
    return extractor;
}

inline void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.timeUs << " us, " << sample.size << " bytes" << (sample.sync ? ", sync" : "");
}

// Reads what is left, as a pipeline does.
inline std::vector<Sample> readAll(const sp<NuMediaExtractor>& extractor) {
    std::vector<Sample> samples;
    sp<ABuffer> buffer = new ABuffer(kBufferSize);
    while (extractor->readSampleData(buffer) == OK) {
        sp<MetaData> meta;
        EXPECT_EQ(extractor->getSampleMeta(&meta), OK);
        Sample sample = {0, buffer->size(), meta->hasData(kKeyIsSyncFrame)};
        EXPECT_TRUE(meta->findInt64(kKeyTime, &sample.timeUs));
        samples.push_back(sample);
        const status_t err = extractor->advance();
        EXPECT_TRUE(err == OK || err == ERROR_END_OF_STREAM) << err;
    }
    return samples;
}

inline std::vector<Sample> readTrack(const std::string& path, size_t index) {
    sp<NuMediaExtractor> extractor = openClip(path);
    EXPECT_EQ(extractor->selectTrack(index), OK);
    return readAll(extractor);
}

inline sp<AMessage> formatOf(const sp<NuMediaExtractor>& extractor, size_t track = 0) {
    sp<AMessage> format;
    EXPECT_EQ(extractor->getTrackFormat(track, &format), OK);
    return format;
}

// -1 without it.
inline int32_t int32Of(const sp<AMessage>& format, const char* name) {
    int32_t value = -1;
    format->findInt32(name, &value);
    return value;
}

}  // namespace android
