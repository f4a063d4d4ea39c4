// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <gui/IGraphicBufferProducer.h>
#include <gui/Surface.h>
#include <media/stagefright/NuMediaExtractor.h>

#include <atomic>
#include <climits>
#include <memory>
#include <string>
#include <vector>

#include "platform/codec/CodecClient.h"

namespace oxa::test {

struct VideoJobOptions {
    std::string path;
    int width = 0;  // 0: upright, even
    int height = 0;
    bool askSize = true;  // of the decoder, as "eWid" and "eHei"; the encoder has it anyway
    int frameRate = 0;
    int deinterlace = -1;  // -1: no key
    int bitrate = 6000000;
    float keyIntervalSec = 2;
    int samples = INT_MAX;  // the end is signalled after so many
    // Called with each sample's number and bytes before it is queued; may change them.
    std::function<void(int number, uint8_t* data, size_t size)> onSample;
    // The end is queued to the decoder, and signalled to the encoder when it comes out there.
    bool endThroughDecoder = false;
    // The encoder is started only when the end has been signalled; for clips of a few pictures.
    bool startEncoderLate = false;
    // Pictures stay with the client until renderHeld().
    bool holdPictures = false;
};

struct EncodedUnit {
    std::vector<uint8_t> bytes;
    int64_t timeUs = 0;
    uint32_t flags = 0;
};

// Transcodes the picture of a file as a pipeline does: the decoder renders to the encoder's input
// surface, the encoder is started when the decoder reports its format, and the end is signalled to
// the encoder as soon as the file has been read.
class VideoJob {
  public:
    explicit VideoJob(VideoJobOptions options);
    ~VideoJob();

    // OK, or the first error. Tests look at results after waitForEnd() or stop().
    android::status_t prepare();
    android::status_t start();
    bool waitForEnd();
    // Callbacks do nothing any more, and failures are not counted.
    void abandon() { mRunning = false; }
    void stop();
    // All of the above; false when something failed.
    bool run();

    const std::vector<EncodedUnit>& units() const { return mUnits; }
    // Of the encoder's access units.
    std::vector<int64_t> timesUs() const;
    // Of the pictures that the decoder offered.
    const std::vector<int64_t>& pictureTimesUs() const { return mPictureTimesUs; }
    const CodecEvent* encoderFormat() const { return mEncoderFormat.get(); }
    size_t decoderFormatCount() const;
    bool failed() const { return mFailed; }
    CodecClient& decoder() { return *mDecoder; }
    CodecClient& encoder() { return *mEncoder; }
    const android::sp<android::IGraphicBufferProducer>& producer() const { return mProducer; }
    // Renders what was held, and from now on everything at once.
    void renderHeld();

    // Puts the units into a file, by its name's extension; false when that fails.
    bool write(const std::string& path) const;

  private:
    void onDecoderEvent(const CodecEvent& event);
    void onEncoderEvent(const CodecEvent& event);
    void feed(size_t index);
    void signalEnd();
    void render(size_t index);
    void expect(android::status_t err);

    const VideoJobOptions mOptions;
    android::sp<android::NuMediaExtractor> mExtractor;
    android::sp<android::IGraphicBufferProducer> mProducer;
    android::sp<android::Surface> mSurface;
    android::sp<android::AMessage> mTrackFormat;
    std::atomic<bool> mRunning{false};
    std::atomic<bool> mFailed{false};
    // Decoder's callback thread.
    int mSampleCount = 0;
    bool mInputEnded = false;
    bool mEndSignalled = false;
    bool mStartIsLate = false;
    std::vector<int64_t> mPictureTimesUs;
    std::mutex mHeldLock;
    bool mHolding;              // guarded by mHeldLock
    std::vector<size_t> mHeld;  // guarded by mHeldLock
    // Encoder's callback thread.
    std::vector<EncodedUnit> mUnits;
    std::unique_ptr<CodecEvent> mEncoderFormat;
    // Last: their callback threads use all of the above.
    std::unique_ptr<CodecClient> mDecoder;
    std::unique_ptr<CodecClient> mEncoder;
};

}  // namespace oxa::test
