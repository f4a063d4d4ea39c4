// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/codec/PlayJob.h"

#include <datasource/FileSource.h>
#include <gui/Surface.h>
#include <mediadrm/ICrypto.h>

namespace oxa::test {

using namespace android;

PlayJob::PlayJob(PlayJobOptions options) : mOptions(std::move(options)) {}

PlayJob::~PlayJob() {
    stop();
}

bool PlayJob::start() {
    mExtractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    if (mExtractor->setDataSource(new FileSource(mOptions.path.c_str())) != OK) return false;
    sp<AMessage> format;
    AString mime;
    for (size_t i = 0; i < mExtractor->countTracks() && !mime.startsWith("video/"); ++i) {
        mExtractor->getTrackFormat(i, &format);
        format->findString("mime", &mime);
        if (mime.startsWith("video/")) mExtractor->selectTrack(i);
    }
    if (!mime.startsWith("video/")) return false;
    if (mOptions.tunneled) {
        format->setInt32("feature-tunneled-playback", 1);
        format->setInt32("audio-hw-sync", mOptions.hwSync);
        if (mOptions.hwSync == 0) format->setInt32("tunnel-no-audio", 1);
    }
    if (mOptions.onFormat) mOptions.onFormat(format);

    mDecoder = std::make_unique<CodecClient>(mime.c_str(), false);
    mDecoder->setHandler([this](const CodecEvent& event) { onEvent(event); });
    mRunning = true;
    return mDecoder->setCallback() == OK &&
           (*mDecoder)->configure(format, new Surface(mOptions.producer), NULL, 0) == OK &&
           (*mDecoder)->start() == OK;
}

bool PlayJob::waitForEnd() {
    return mDecoder->waitFor([this](const CodecClient::Events& events) {
        return mFailed ||
               (!events.empty() && (events.back().id == MediaCodec::CB_ERROR ||
                                    (events.back().flags & MediaCodec::BUFFER_FLAG_EOS)));
    }) && !mFailed;
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
    if (event.id == MediaCodec::CB_INPUT_AVAILABLE && !mInputEnded) feed(event.index);
    if (event.id != MediaCodec::CB_OUTPUT_AVAILABLE) return;
    if ((event.flags & MediaCodec::BUFFER_FLAG_EOS) == 0) mRenderedTimesUs.push_back(event.timeUs);
    expect((*mDecoder)->renderOutputBufferAndRelease(event.index));
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
    expect((*mDecoder)->queueInputBuffer(index, sample->offset(), sample->size(), timeUs, 0));
    mExtractor->advance();
}

}  // namespace oxa::test
