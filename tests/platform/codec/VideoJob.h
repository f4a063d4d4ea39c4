// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "platform/codec/PlayJob.h"

namespace oxa::test {

struct VideoJobOptions {
    std::string path;
    bool askSize = true;    // of the decoder, as "eWid" and "eHei"; the encoder has it anyway
    int samples = INT_MAX;  // the end is signalled after so many
    // Called with each sample's number and bytes before it is queued; may change them.
    std::function<void(int number, uint8_t* data, size_t size)> onSample;
    // The end is queued to the decoder, and signalled to the encoder when it comes out there.
    bool endThroughDecoder = false;
    // The encoder is started only when the end has been signalled; for clips of a few pictures.
    bool startEncoderLate = false;
};

struct EncodedUnit {
    std::vector<uint8_t> bytes;
    int64_t timeUs = 0;
};

// Transcodes the picture of a file as a pipeline does: the decoder renders to the encoder's input
// surface, the encoder is started when the decoder reports its format, and the end is signalled to
// the encoder as soon as the file has been read.
class VideoJob {
  public:
    explicit VideoJob(VideoJobOptions options);
    ~VideoJob();

    // OK, or the first error. Tests look at results after waitForEnd() or stop().
    android::status_t prepare() { return mPlay.prepare(); }
    bool start() { return mPlay.start(); }
    bool waitForEnd();
    // Callbacks do nothing any more, and failures are not counted.
    void abandon() { mPlay.abandon(); }
    void stop();
    // All of the above; false when something failed.
    bool run();

    const std::vector<EncodedUnit>& units() const { return mUnits; }
    // Of the encoder's access units.
    std::vector<int64_t> timesUs() const;
    // Of the pictures that the decoder offered.
    const std::vector<int64_t>& pictureTimesUs() const { return mPictureTimesUs; }
    bool failed() const { return mPlay.failed(); }
    CodecClient& decoder() { return mPlay.decoder(); }
    CodecClient& encoder() { return mEncoder; }
    const android::sp<android::IGraphicBufferProducer>& producer() const { return mProducer; }
    // Writes a plain H.264 stream.
    bool write(const std::string& path) const;

  private:
    PlayJobOptions playOptions();
    android::status_t prepareEncoder(const android::sp<android::AMessage>& track);
    void onDecoderEvent(const CodecEvent& event);
    void onEncoderEvent(const CodecEvent& event);
    void signalEnd();

    const VideoJobOptions mOptions;
    android::sp<android::IGraphicBufferProducer> mProducer;
    // Decoder's callback thread.
    bool mEndSignalled = false;
    bool mStartIsLate = false;
    std::vector<int64_t> mPictureTimesUs;
    // Encoder's callback thread.
    std::vector<EncodedUnit> mUnits;
    android::sp<android::AMessage> mEncoderFormat;
    // Last: their callback threads use all of the above.
    CodecClient mEncoder{"video/avc", true};
    PlayJob mPlay;
};

}  // namespace oxa::test
