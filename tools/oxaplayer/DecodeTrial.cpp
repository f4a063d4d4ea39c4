// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "DecodeTrial.h"

#include <gui/Surface.h>
#include <media/MediaCodecBuffer.h>
#include <media/stagefright/MediaCodec.h>
#include <media/stagefright/MediaErrors.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/ABuffer.h>
#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>
#include <media/stagefright/foundation/AMessage.h>
#include <media/stagefright/foundation/AString.h>
#include <mediadrm/ICrypto.h>

#include <chrono>
#include <condition_variable>
#include <mutex>

#include "Signals.h"

namespace oxaplayer {

using namespace android;

namespace {

constexpr std::chrono::seconds kLongestTrial(30);
constexpr std::chrono::milliseconds kSignalInterval(100);
constexpr int32_t kSurfaceColourFormat = 0x7F000789;
constexpr int32_t kAnySize = 64;

// Feeds one decoder from one extractor until something comes out.
class Trial : public AHandler {
  public:
    Trial(const sp<NuMediaExtractor>& extractor, const sp<MediaCodec>& decoder)
        : mExtractor(extractor), mDecoder(decoder) {}

    bool waitForResult() {
        const auto end = std::chrono::steady_clock::now() + kLongestTrial;
        std::unique_lock<std::mutex> lock(mLock);
        while (mResult == kOpen && !Signals::arrived() && std::chrono::steady_clock::now() < end) {
            mDecided.wait_for(lock, kSignalInterval);
        }
        return mResult == kDecodes;
    }

    void onMessageReceived(const sp<AMessage>& message) override {
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
                decide(kFails);
                break;
            default:
                break;
        }
    }

  private:
    enum Result { kOpen, kDecodes, kFails };

    void onInput(size_t index) {
        sp<MediaCodecBuffer> buffer;
        if (mDecoder->getInputBuffer(index, &buffer) != OK) return;
        sp<ABuffer> sample = new ABuffer(buffer->base(), buffer->capacity());
        int64_t timeUs = 0;
        const status_t status = mExtractor->readSampleData(sample);
        if (status == ERROR_END_OF_STREAM || mExtractor->getSampleTime(&timeUs) != OK) {
            mDecoder->queueInputBuffer(index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS);
            return;
        }
        // A sample that does not fit is left out, as the pipelines do it.
        const size_t size = status == OK ? sample->size() : 0;
        mDecoder->queueInputBuffer(index, sample->offset(), size, timeUs, 0);
        mExtractor->advance();
    }

    void onOutput(size_t index, const sp<AMessage>& message) {
        size_t size = 0;
        int32_t flags = 0;
        message->findSize("size", &size);
        message->findInt32("flags", &flags);
        mDecoder->releaseOutputBuffer(index);
        if (size > 0) {
            decide(kDecodes);
        } else if ((flags & MediaCodec::BUFFER_FLAG_EOS) != 0) {
            decide(kFails);
        }
    }

    void decide(Result result) {
        std::lock_guard<std::mutex> lock(mLock);
        if (mResult == kOpen) mResult = result;
        mDecided.notify_all();
    }

    const sp<NuMediaExtractor> mExtractor;
    const sp<MediaCodec> mDecoder;
    std::mutex mLock;
    std::condition_variable mDecided;
    Result mResult = kOpen;  // guarded by mLock
};

sp<ALooper> startLooper(const char* name) {
    sp<ALooper> looper = new ALooper;
    looper->setName(name);
    looper->start();
    return looper;
}

// A codec, released before its last reference goes.
class Codec {
  public:
    Codec(const sp<ALooper>& looper, const char* mime, bool encoder)
        : mCodec(MediaCodec::CreateByType(looper, mime, encoder)) {}
    ~Codec() {
        if (mCodec != nullptr) mCodec->release();
    }
    Codec(const Codec&) = delete;
    Codec& operator=(const Codec&) = delete;

    const sp<MediaCodec>& get() const { return mCodec; }

  private:
    const sp<MediaCodec> mCodec;
};

// Pictures need a surface to go to: that of an encoder which is never started.
sp<Surface> makeSurface(const sp<MediaCodec>& encoder) {
    sp<AMessage> format = new AMessage;
    format->setString("mime", "video/avc");
    format->setInt32("width", kAnySize);
    format->setInt32("height", kAnySize);
    format->setInt32("frame-rate", 30);
    format->setInt32("bitrate", 100'000);
    format->setInt32("i-frame-interval", 1);
    format->setInt32("color-format", kSurfaceColourFormat);
    sp<IGraphicBufferProducer> producer;
    if (encoder->configure(format, nullptr, nullptr, MediaCodec::CONFIGURE_FLAG_ENCODE) != OK ||
        encoder->createInputSurface(&producer) != OK) {
        return nullptr;
    }
    return new Surface(producer);
}

}  // namespace

bool canDecode(const InputFile& input, const SourceTrack& track) {
    sp<NuMediaExtractor> extractor = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
    sp<AMessage> format;
    if (extractor->setDataSource(input.descriptor(), 0, input.size()) != OK ||
        extractor->getTrackFormat(track.index, &format) != OK ||
        extractor->selectTrack(track.index) != OK) {
        return false;
    }
    sp<ALooper> codecLooper = startLooper("TrialCodec");
    sp<ALooper> callbackLooper = startLooper("TrialCallback");
    Codec encoder(codecLooper, "video/avc", true);
    Codec decoder(codecLooper, track.mime.c_str(), false);
    if (decoder.get() == nullptr || encoder.get() == nullptr) return false;
    sp<Surface> surface = track.isVideo ? makeSurface(encoder.get()) : nullptr;

    sp<Trial> trial = new Trial(extractor, decoder.get());
    callbackLooper->registerHandler(trial);
    decoder.get()->setCallback(new AMessage(0, trial));
    const bool decodes = decoder.get()->configure(format, surface, nullptr, 0) == OK &&
                         decoder.get()->start() == OK && trial->waitForResult();
    callbackLooper->stop();
    callbackLooper->unregisterHandler(trial->id());
    return decodes;
}

}  // namespace oxaplayer
