// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "codec/SoundTimeline.h"
#include "codec/WorkerComponent.h"
#include "ffmpeg/AudioConverter.h"
#include "ffmpeg/AvOwner.h"

namespace android {

// Encodes interleaved 16-bit PCM as AAC LC, and mixes and resamples it on the way if asked to.
//
// Keys of the format: "channel-count" and "sample-rate" describe the PCM, "bitrate" the stream in
// bits per second (all needed); "channel-mask" names the channels (absent: the usual ones for the
// count); "audio-chan-count" and "audio-samp-rate" ask for other ones in the stream (absent or 0:
// the same); "max-input-size" in bytes. configure() answers BAD_VALUE without a needed key, for a
// rate that AAC does not have, for more than 8 channels in the stream, and for another profile than
// LC.
//
// Channels keep their names where AAC can hold them; surround to the side counts as surround
// behind. Otherwise, and for another number of channels, they are mixed to the usual ones for the
// count.
//
// Times: the stream counts samples from the time of the first input; what does not follow on the
// input before is brought into its place by a SoundTimeline. An access unit has the time of its
// first sample, so the first unit, which holds the encoder's priming, lies before the first input.
class AacEncoder : public WorkerComponent, private SoundTimeline::Output {
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
    static constexpr int kMaxStreamChannels = 8;
    static constexpr int kMaxInputChannels = 64;
    static constexpr int kStretchesPerSecond = 2;  // how short one is

    int64_t endUs() const override;
    bool put(const int16_t* pcm, int frames) override;
    bool stretch(int64_t us) override;

    status_t openEncoder();
    status_t openEncoder(const AVChannelLayout& layout);

    // The steps below answer false when the component is being stopped or has failed.
    bool encodeInput(const CodecInput& input);
    bool encodeAvailable(int minFrames);
    bool receivePackets();
    bool finish();

    bool fail(const char* what, int error);
    void reportFormat();
    int64_t streamTimeUs(int64_t position) const;

    // Constant while the worker runs.
    AudioShape mPcm;
    AudioShape mStream;
    int32_t mBitRate = 0;
    size_t mInputCapacity = kMinInputCapacity;

    // Worker only while it runs.
    AvCodecOwner mCodec;
    AvPacketOwner mPacket;
    AvFrameOwner mFrame;
    AudioConverter mConverter;
    SoundTimeline mTimeline;
    bool mFirstStampSet = false;
    int64_t mFirstStampUs = 0;
    int64_t mInputFrames = 0;      // PCM frames put since the first stamp, silence included
    int64_t mStreamFrames = 0;     // frames given to the encoder
    int64_t mStretchedFrames = 0;  // by how much the stream is longer than the PCM, in its frames
    int64_t mStretchEnd = 0;       // where the last stretch ends, as mStreamFrames
};

sp<CodecComponent> createAacEncoder();

}  // namespace android
