// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <datasource/FileSource.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>
#include <utils/Timers.h>

#include "FixedSites.h"
#include "OxaMediaCodecPlayerCommon.h"

// What the two playback pipelines share; `file` is the one that assertions name. Functions that log
// have internal linkage, so that the lines carry the tag of the pipeline that includes them.

namespace android {

// What is later than this is dropped.
constexpr int64_t kMaxLatenessUs = 30000;
constexpr nsecs_t kPaceStepNs = 10000;

// Tests `done` in waits of 10 microseconds on `condition`, which nobody signals.
template <typename Done>
void pollUntil(Mutex& lock, Condition& condition, Done done) {
    while (!done()) {
        Mutex::Autolock autoLock(lock);
        condition.waitRelative(lock, kPaceStepNs);
    }
}

// The source that a request names; without one of its keys the request is a fatal assertion.
static inline sp<FileSource> openFileSource(const sp<AMessage>& msg, const char* file,
                                            bool byPath) {
    if (byPath) {
        AString inputFile;
        CHECK_IN(file, __LINE__, msg->findString(AMSG_PATH, &inputFile));
        return new FileSource(inputFile.c_str());
    }
    int32_t fileId;
    int64_t fileOffset, fileLength;
    CHECK_IN(file, __LINE__, msg->findInt32(AMSG_FILE_ID, &fileId));
    CHECK_IN(file, __LINE__, msg->findInt64(AMSG_FILE_OFFSET, &fileOffset));
    CHECK_IN(file, __LINE__, msg->findInt64(AMSG_FILE_LENGTH, &fileLength));
    return new FileSource(reopenDescriptor(fileId), fileOffset, fileLength);
}

// Selects the first track whose type begins with `prefix`; false without one.
static inline bool selectFirstTrack(const sp<NuMediaExtractor>& extractor, const char* file,
                                    const char* prefix, sp<AMessage>* format, AString* mime) {
    for (size_t i = 0; i < extractor->countTracks(); ++i) {
        CHECK_IN(file, __LINE__, extractor->getTrackFormat(i, format) == OK);
        CHECK_IN(file, __LINE__, (*format)->findString(AMSG_MIME, mime));
        if (!mime->startsWithIgnoreCase(prefix)) continue;
        CHECK_IN(file, __LINE__, extractor->selectTrack(i) == OK);
        return true;
    }
    return false;
}

enum class Feed { kSample, kEnd, kNothing };

// Fills the codec's input buffer with the next sample, or marks the end. `timeUs` receives the
// sample's time; `file`, `function` and `line` are the caller's.
static inline Feed feedDecoder(const sp<MediaCodec>& codec, const sp<CallbackRelay>& relay,
                               const sp<NuMediaExtractor>& extractor, uint32_t index,
                               int64_t* timeUs, const char* file, const char* function, int line) {
    sp<MediaCodecBuffer> buffer;
    status_t err = codec->getInputBuffer(index, &buffer);
    if (!relay->accepted(err, LOG_TAG, {file, __LINE__}, "CHECK(err == OK)")) {
        return Feed::kNothing;
    }
    if (buffer == NULL) {
        ALOGE(LOG_RED "%s[%d]: Failed to getInputBuffer" LOG_RESET, function, line);
        return Feed::kNothing;
    }
    sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    err = extractor->readSampleData(sample);
    if (err == NO_MEMORY) {
        ALOGE(LOG_RED "%s[%d]: Not enough memory" LOG_RESET, function, line);
        // It would not fit the next time either, and a buffer that is kept never comes again.
        codec->queueInputBuffer(index, 0, 0, 0, 0);
        extractor->advance();
        return Feed::kNothing;
    }
    if (err == ERROR_END_OF_STREAM) {
        err = codec->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
        relay->accepted(err, LOG_TAG, {file, __LINE__}, "CHECK(err == OK)");
        return Feed::kEnd;
    }
    buffer->setRange(sample->offset(), sample->size());
    CHECK_IN(file, __LINE__, extractor->getSampleTime(timeUs) == OK);
    err = codec->queueInputBuffer(index, sample->offset(), sample->size(), *timeUs, 0);
    if (!relay->accepted(err, LOG_TAG, {file, __LINE__}, "CHECK(err == OK)")) {
        return Feed::kNothing;
    }
    // Leaving the last sample answers the end of the stream; the next read finds it.
    err = extractor->advance();
    CHECK_IN(file, __LINE__, err == OK || err == ERROR_END_OF_STREAM);
    return Feed::kSample;
}

}  // namespace android
