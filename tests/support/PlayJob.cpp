// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/PlayJob.h"

#include <datasource/FileSource.h>
#include <gui/Surface.h>
#include <mediadrm/ICrypto.h>

namespace oxa::test {

using namespace android;

PlayJob::PlayJob(PlayJobOptions options) : mOptions(std::move(options)) {}

PlayJob::~PlayJob() {
    stop();
}

status_t PlayJob::prepare() {
    mExtractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    status_t err = mExtractor->setDataSource(new FileSource(mOptions.path.c_str()));
    if (err != OK) return err;
    sp<AMessage> format;
    AString mime;
    for (size_t i = 0; i < mExtractor->countTracks() && !mime.startsWith("video/"); ++i) {
        mExtractor->getTrackFormat(i, &format);
        format->findString("mime", &mime);
        if (mime.startsWith("video/")) mExtractor->selectTrack(i);
    }
    if (!mime.startsWith("video/")) return NAME_NOT_FOUND;
    if (mOptions.hwSync != 0) {
        format->setInt32("feature-tunneled-playback", 1);
        format->setInt32("audio-hw-sync", mOptions.hwSync);
    }
    if (mOptions.onFormat) err = mOptions.onFormat(format);
    if (err != OK) return err;

    mDecoder = std::make_unique<CodecClient>(mime.c_str(), false);
    mDecoder->setHandler([this](const CodecEvent& event) { onEvent(event); });
    err = mDecoder->setCallback();
    const sp<Surface> surface =
            mOptions.producer == nullptr ? nullptr : new Surface(mOptions.producer);
    return err == OK ? (*mDecoder)->configure(format, surface, NULL, 0) : err;
}

bool PlayJob::start() {
    if (prepare() != OK) return false;
    mRunning = true;
    return (*mDecoder)->start() == OK;
}

bool PlayJob::waitForEnd() {
    return mDecoder->waitFor([this](const CodecClient::Events& events) {
        return mFailed ||
               (!events.empty() && (events.back().id == MediaCodec::CB_ERROR ||
                                    (events.back().flags & MediaCodec::BUFFER_FLAG_EOS)));
    }) && !mFailed;
}

bool PlayJob::startAgain() {
    if ((*mDecoder)->flush() != OK || mExtractor->seekTo(0) != OK) return false;
    mSampleCount = 0;
    mInputEnded = false;
    return (*mDecoder)->start() == OK;
}

void PlayJob::stop() {
    mRunning = false;
    if (mDecoder == nullptr) return;
    mDecoder->stopCallbacks();
    mDecoder->release();
}

bool PlayJob::run() {
    const bool ended = start() && waitForEnd();
    stop();
    return ended;
}

void PlayJob::expect(status_t err) {
    if (err != OK && mRunning) mFailed = true;
}

void PlayJob::onEvent(const CodecEvent& event) {
    if (!mRunning) return;
    if (event.id == MediaCodec::CB_INPUT_AVAILABLE) {
        if (!mInputEnded) feed(event.index);
    } else if (mOptions.onEvent) {
        mOptions.onEvent(event);
    } else if (event.id == MediaCodec::CB_OUTPUT_AVAILABLE) {
        expect((*mDecoder)->renderOutputBufferAndRelease(event.index));
    }
}

void PlayJob::feed(size_t index) {
    sp<MediaCodecBuffer> buffer;
    expect((*mDecoder)->getInputBuffer(index, &buffer));
    if (buffer == nullptr) return;
    const sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
    if (mExtractor->readSampleData(sample) != OK) {
        mInputEnded = true;
        expect((*mDecoder)->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS));
        return;
    }
    int64_t timeUs = 0;
    expect(mExtractor->getSampleTime(&timeUs));
    if (mOptions.onSample) mOptions.onSample(mSampleCount, sample->data(), sample->size());
    ++mSampleCount;
    expect((*mDecoder)->queueInputBuffer(index, sample->offset(), sample->size(), timeUs, 0));
    mExtractor->advance();
}

}  // namespace oxa::test
