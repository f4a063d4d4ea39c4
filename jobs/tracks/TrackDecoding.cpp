// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "tracks/TrackDecoding.h"

#include <OxaMediaCodecPlayerCommon.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/AString.h>
#include <mediadrm/ICrypto.h>
#include <utils/Condition.h>
#include <utils/Mutex.h>

#include <chrono>
#include <utility>

namespace oxa::jobs {

using namespace android;

namespace {

constexpr std::chrono::seconds kLongestPause(30);
constexpr nsecs_t kCancelIntervalNs = 100'000'000;

// A decoder on a looper of its own, released before its last reference goes.
class OwnedDecoder {
  public:
    explicit OwnedDecoder(const char* mime)
        : mLooper(startLooper("OwnedDecoder")),
          mCodec(MediaCodec::CreateByType(mLooper, mime, false /* encoder */)) {}
    ~OwnedDecoder() {
        if (mCodec != nullptr) mCodec->release();
    }
    OwnedDecoder(const OwnedDecoder&) = delete;
    OwnedDecoder& operator=(const OwnedDecoder&) = delete;

    // Null when there is none for this kind of media.
    const sp<MediaCodec>& get() const { return mCodec; }

  private:
    const sp<ALooper> mLooper;
    const sp<MediaCodec> mCodec;
};

// Feeds one decoder from one extractor until there is a verdict.
class Feeder : public AHandler {
  public:
    Feeder(const sp<NuMediaExtractor>& extractor, const sp<MediaCodec>& decoder, int mostSamples,
           OutputHandler onOutput)
        : mExtractor(extractor),
          mDecoder(decoder),
          mMostSamples(mostSamples),
          mOnOutput(std::move(onOutput)) {}

    Verdict waitForVerdict(const CancelFlag& cancelled) {
        using Clock = std::chrono::steady_clock;
        auto end = Clock::now() + kLongestPause;
        Mutex::Autolock lock(mLock);
        while (mVerdict == Verdict::kGoOn && !cancelled && Clock::now() < end) {
            if (std::exchange(mMoved, false)) end = Clock::now() + kLongestPause;
            mDecided.waitRelative(mLock, kCancelIntervalNs);
        }
        return mVerdict;
    }

    void onMessageReceived(const sp<AMessage>& message) override {
        if (isDecided()) return;
        int32_t callback = 0;
        int32_t index = 0;
        message->findInt32("callbackID", &callback);
        message->findInt32("index", &index);
        switch (callback) {
            case MediaCodec::CB_INPUT_AVAILABLE:
                onInput(index);
                break;
            case MediaCodec::CB_OUTPUT_AVAILABLE:
                onOutput(index, message);
                break;
            case MediaCodec::CB_ERROR:
                decide(Verdict::kFails);
                break;
            default:
                break;
        }
    }

  private:
    void onInput(size_t index) {
        sp<MediaCodecBuffer> buffer;
        if (mDecoder->getInputBuffer(index, &buffer) != OK) return;
        sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
        int64_t timeUs = 0;
        const bool isEnough = mMostSamples > 0 && mSamples == mMostSamples;
        const status_t status = isEnough ? ERROR_END_OF_STREAM : mExtractor->readSampleData(sample);
        if (status == ERROR_END_OF_STREAM || mExtractor->getSampleTime(&timeUs) != OK) {
            mDecoder->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
            return;
        }
        // A sample that does not fit is left out, as the pipelines do it.
        const size_t size = status == OK ? sample->size() : 0;
        mDecoder->queueInputBuffer(index, sample->offset(), size, timeUs, 0);
        mExtractor->advance();
        ++mSamples;
    }

    void onOutput(size_t index, const sp<AMessage>& message) {
        DecodedOutput output = {index, 0, 0, false};
        int32_t flags = 0;
        message->findSize("size", &output.size);
        message->findInt64("timeUs", &output.timeUs);
        message->findInt32("flags", &flags);
        output.isEnd = (flags & MediaCodec::BUFFER_FLAG_EOS) != 0;
        decide(mOnOutput(mDecoder, output));
    }

    bool isDecided() {
        Mutex::Autolock lock(mLock);
        return mVerdict != Verdict::kGoOn;
    }

    void decide(Verdict verdict) {
        Mutex::Autolock lock(mLock);
        mVerdict = verdict;
        mMoved = true;
        if (verdict != Verdict::kGoOn) mDecided.broadcast();
    }

    const sp<NuMediaExtractor> mExtractor;
    const sp<MediaCodec> mDecoder;
    const int mMostSamples;
    const OutputHandler mOnOutput;
    int mSamples = 0;
    Mutex mLock;
    Condition mDecided;
    Verdict mVerdict GUARDED_BY(mLock) = Verdict::kGoOn;
    bool mMoved GUARDED_BY(mLock) = false;
};

}  // namespace

Verdict decodeTrack(const sp<NuMediaExtractor>& extractor, const sp<AMessage>& format,
                    const sp<Surface>& surface, int mostSamples, const CancelFlag& cancelled,
                    OutputHandler onOutput) {
    AString mime;
    format->findString("mime", &mime);
    const OwnedDecoder decoder(mime.c_str());
    if (decoder.get() == nullptr) return Verdict::kFails;
    const sp<ALooper> looper = startLooper("TrackDecoding");
    const sp<Feeder> feeder =
            new Feeder(extractor, decoder.get(), mostSamples, std::move(onOutput));
    looper->registerHandler(feeder);
    decoder.get()->setCallback(new AMessage(0, feeder));
    Verdict verdict = Verdict::kFails;
    if (decoder.get()->configure(format, surface, nullptr, 0) == OK &&
        decoder.get()->start() == OK) {
        verdict = feeder->waitForVerdict(cancelled);
    }
    looper->stop();
    looper->unregisterHandler(feeder->id());
    return verdict;
}

}  // namespace oxa::jobs
