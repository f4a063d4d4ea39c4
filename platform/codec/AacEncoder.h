// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <vector>

#include "codec/AudioConverter.h"
#include "codec/WorkerComponent.h"

extern "C" {
#include <libavcodec/avcodec.h>
}

namespace android {

// Encodes interleaved 16-bit PCM as AAC LC, and mixes and resamples it on the way if asked to.
//
// Keys of the format: "channel-count" and "sample-rate" describe the PCM (needed);
// "audio-chan-count" and "audio-samp-rate" ask for other ones in the stream (absent or 0: the
// same); "bitrate" in bits per second (128000); "max-input-size" in bytes. configure() answers
// BAD_VALUE for a rate that AAC does not have, for more than 8 channels in the stream, and for
// another profile than LC.
//
// Times: the stream counts samples from the time of the first input. An input that begins more than
// 100 ms after the end of the one before is preceded by silence; one that begins more than 100 ms
// before it loses the samples that overlap. An access unit has the time of its first sample, so the
// first unit, which holds the encoder's priming, lies before the first input.
class AacEncoder : public WorkerComponent {
  public:
    AacEncoder() = default;

    AString name() const override;
    status_t configure(const sp<AMessage>& format, const sp<Surface>& surface) override;
    size_t inputCount() const override { return kInputCount; }
    size_t inputCapacity() const override { return mInputCapacity; }

  protected:
    ~AacEncoder() override;

    status_t openCodec() override;
    void closeCodec() override;
    void runWorker() override;

  private:
    static constexpr size_t kInputCount = 4;
    static constexpr size_t kMinInputCapacity = size_t{256} * 1024;
    static constexpr int32_t kDefaultBitRate = 128000;
    static constexpr int kMaxStreamChannels = 8;
    static constexpr int kMaxInputChannels = 64;
    static constexpr int64_t kMaxDeviationUs = 100000;
    // A stamp that is further off than a day is a broken stamp, not a pause.
    static constexpr int64_t kBrokenStampUs = INT64_C(86400) * 1000000;
    static constexpr int kSilenceStepFrames = 4096;

    // The steps below answer false when the component is being stopped or has failed.
    bool encodeInput(const CodecInput& input);
    bool pushSilence(int64_t frames);
    bool pushPcm(const uint8_t* pcm, int frames);
    bool encodeAvailable(int minFrames);
    bool receivePackets();
    bool finish();

    bool fail(const char* what, int error);
    void reportFormat();
    int64_t inputEndUs() const;
    int64_t streamTimeUs(int64_t position) const;

    // Constant while the worker runs.
    AudioShape mPcm;
    AudioShape mStream;
    int32_t mBitRate = kDefaultBitRate;
    size_t mInputCapacity = kMinInputCapacity;

    // Worker only while it runs.
    AVCodecContext* mCodec = nullptr;
    AVPacket* mPacket = nullptr;
    AVFrame* mFrame = nullptr;
    AudioConverter mConverter;
    std::vector<uint8_t> mSilence;
    bool mFirstStampSet = false;
    int64_t mFirstStampUs = 0;
    bool mBrokenStampSeen = false;
    bool mDropping = false;     // an overlap that has begun is dropped to its end
    int64_t mInputFrames = 0;   // PCM frames taken since the first stamp, silence included
    int64_t mStreamFrames = 0;  // frames given to the encoder
};

sp<CodecComponent> createAacEncoder();

}  // namespace android
