// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/codec/VideoJob.h"

#include <gui/Surface.h>
#include <mediadrm/ICrypto.h>

#include "support/TempDir.h"

namespace oxa::test {

using namespace android;

namespace {

constexpr int32_t kColorFormatSurface = 0x7F000789;

}  // namespace

VideoJob::VideoJob(VideoJobOptions options) : mOptions(std::move(options)), mPlay(playOptions()) {}

VideoJob::~VideoJob() {
    stop();
}

PlayJobOptions VideoJob::playOptions() {
    PlayJobOptions play;
    play.path = mOptions.path;
    play.samples = mOptions.samples;
    play.onSample = mOptions.onSample;
    play.onFormat = [this](const sp<AMessage>& track) { return prepareEncoder(track); };
    play.onEvent = [this](const CodecEvent& event) { onDecoderEvent(event); };
    if (!mOptions.endThroughDecoder) play.onInputEnd = [this] { signalEnd(); };
    return play;
}

status_t VideoJob::prepareEncoder(const sp<AMessage>& track) {
    int32_t width = 0;
    int32_t height = 0;
    int32_t rotation = 0;
    int32_t frameRate = 0;
    track->findInt32("width", &width);
    track->findInt32("height", &height);
    track->findInt32("rotation-degrees", &rotation);
    track->findInt32("frame-rate", &frameRate);
    if (rotation % 180 != 0) std::swap(width, height);
    if (mOptions.askSize) {
        track->setInt32("eWid", width & ~1);
        track->setInt32("eHei", height & ~1);
    }
    mEncoder.setHandler([this](const CodecEvent& event) { onEncoderEvent(event); });
    const sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    format->setInt32("width", width);
    format->setInt32("height", height);
    format->setInt32("frame-rate", frameRate);
    format->setInt32("bitrate", 6000000);
    format->setInt32("color-format", kColorFormatSurface);
    status_t err = mEncoder->setCallback(nullptr);
    if (err == OK) err = mEncoder.setCallback();
    if (err == OK) {
        err = mEncoder->configure(format, NULL, NULL, MediaCodec::CONFIGURE_FLAG_ENCODE);
    }
    if (err == OK) err = mEncoder->createInputSurface(&mProducer);
    mPlay.setProducer(mProducer);
    return err;
}

bool VideoJob::waitForEnd() {
    return mEncoder.waitFor([this](const CodecClient::Events& events) {
        return failed() || (!events.empty() && (events.back().flags & MediaCodec::BUFFER_FLAG_EOS));
    }) && !failed();
}

void VideoJob::stop() {
    mPlay.stop();
    mEncoder.stopCallbacks();
    mEncoder.release();
}

bool VideoJob::run() {
    const bool ended = start() && waitForEnd();
    stop();
    return ended;
}

void VideoJob::onDecoderEvent(const CodecEvent& event) {
    switch (event.id) {
        case MediaCodec::CB_OUTPUT_AVAILABLE:
            if (event.flags & MediaCodec::BUFFER_FLAG_EOS) {
                mPlay.expect(decoder()->releaseOutputBuffer(event.index));
                signalEnd();
                break;
            }
            mPictureTimesUs.push_back(event.timeUs);
            mPlay.expect(decoder()->renderOutputBufferAndRelease(event.index));
            break;
        case MediaCodec::CB_OUTPUT_FORMAT_CHANGED:
            mStartIsLate = mOptions.startEncoderLate && !mEndSignalled;
            if (!mStartIsLate) mPlay.expect(mEncoder->start());
            break;
        default:
            mPlay.expect(event.err);
            break;
    }
}

void VideoJob::signalEnd() {
    mPlay.expect(mEncoder->signalEndOfInputStream());
    mEndSignalled = true;
    if (mStartIsLate) mPlay.expect(mEncoder->start());
}

void VideoJob::onEncoderEvent(const CodecEvent& event) {
    if (event.id == MediaCodec::CB_OUTPUT_FORMAT_CHANGED) {
        mPlay.expect(mEncoderFormat == nullptr ? OK : ALREADY_EXISTS);
        mEncoderFormat = event.format;
    } else if (event.id != MediaCodec::CB_OUTPUT_AVAILABLE) {
        mPlay.expect(event.err);
    } else if ((event.flags & MediaCodec::BUFFER_FLAG_EOS) == 0) {
        sp<MediaCodecBuffer> buffer;
        mPlay.expect(mEncoder->getOutputBuffer(event.index, &buffer));
        if (buffer == nullptr) return;
        mUnits.push_back({{buffer->data(), buffer->data() + event.size}, event.timeUs});
        mPlay.expect(mEncoder->releaseOutputBuffer(event.index));
    }
}

std::vector<int64_t> VideoJob::timesUs() const {
    std::vector<int64_t> times;
    for (const EncodedUnit& unit : mUnits)
        times.push_back(unit.timeUs);
    return times;
}

bool VideoJob::write(const std::string& path) const {
    std::string bytes;
    for (const char* name : {"csd-0", "csd-1"}) {
        sp<ABuffer> csd;
        if (mEncoderFormat == nullptr || !mEncoderFormat->findBuffer(name, &csd)) return false;
        bytes.append(reinterpret_cast<const char*>(csd->data()), csd->size());
    }
    for (const EncodedUnit& unit : mUnits)
        bytes.append(unit.bytes.begin(), unit.bytes.end());
    return writeFile(path, bytes);
}

}  // namespace oxa::test
