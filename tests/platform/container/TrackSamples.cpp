// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/container/TrackSamples.h"

#include <datasource/FileSource.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/foundation/ABuffer.h>

#include <cstdlib>

#include "support/Test.h"

namespace android {

sp<NuMediaExtractor> newExtractor() {
    return new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
}

sp<NuMediaExtractor> openClip(const std::string& path) {
    sp<NuMediaExtractor> extractor = newExtractor();
    EXPECT_EQ(extractor->setDataSource(new FileSource(path.c_str())), OK) << path;
    return extractor;
}

bool Sample::operator==(const Sample& other) const {
    return std::abs(timeUs - other.timeUs) <= 1 && size == other.size && sync == other.sync;
}

void PrintTo(const Sample& sample, std::ostream* out) {
    *out << sample.timeUs << " us, " << sample.size << " bytes" << (sample.sync ? ", sync" : "");
}

std::vector<Sample> readAll(const sp<NuMediaExtractor>& extractor, size_t capacity) {
    std::vector<Sample> samples;
    sp<ABuffer> buffer = new ABuffer(capacity);
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

std::vector<Sample> readTrack(const std::string& path, size_t index) {
    sp<NuMediaExtractor> extractor = openClip(path);
    EXPECT_EQ(extractor->selectTrack(index), OK);
    return readAll(extractor);
}

sp<AMessage> formatOf(const sp<NuMediaExtractor>& extractor, size_t track) {
    sp<AMessage> format;
    EXPECT_EQ(extractor->getTrackFormat(track, &format), OK);
    return format;
}

int32_t int32Of(const sp<AMessage>& format, const char* name) {
    int32_t value = -1;
    format->findInt32(name, &value);
    return value;
}

}  // namespace android
