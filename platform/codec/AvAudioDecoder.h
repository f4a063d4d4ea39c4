// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/SessionClock.h"
#include "codec/DamageCounter.h"
#include "codec/WorkerComponent.h"
#include "ffmpeg/AudioConverter.h"
#include "ffmpeg/AvOwner.h"
#include "ffmpeg/TrackParameters.h"

namespace android {

// Decodes any sound that libavcodec knows into interleaved 16-bit PCM. The channels stand in the
// order of their bits in the channel mask. The output format is that of the first decoded frame and
// is reported once; what changes later in the stream is converted to it.
//
// configure() takes the stream's parameters from the format's TrackParameters object, or without
// one from "mime", "channel-count", "sample-rate" and "csd-0", "csd-1". Codec data that the format
// lacks may come as inputs of its own. Data that libavcodec refuses is told by onError() after the
// start, as a device does it. Damaged samples are skipped and counted.
// With "audio-hw-sync" the clock of that session is told the time of the first output.
class AvAudioDecoder : public WorkerComponent {
  public:
    explicit AvAudioDecoder(const AString& mime);

    AString name() const override;
    status_t configure(const sp<AMessage>& format, const sp<Surface>& surface) override;
    size_t inputCount() const override { return kInputCount; }
    size_t inputCapacity() const override { return mInputCapacity; }

  protected:
    ~AvAudioDecoder() override;

    status_t openCodec() override;
    void closeCodec() override;
    void runWorker() override;

  private:
    static constexpr size_t kInputCount = 4;
    // Lossless formats put seconds of sound into one packet; pages that stay unused cost nothing.
    static constexpr size_t kMinInputCapacity = size_t{4} * 1024 * 1024;
    static constexpr size_t kMinAacInputCapacity = size_t{256} * 1024;
    static constexpr int kMaxOutputFrames = 2048;
    // Codecs with tiny frames: fewer and larger outputs.
    static constexpr int kMinOutputFrames = 512;
    // Above the rounding of any container's times: two of them are off by half a millisecond each.
    static constexpr int64_t kResyncUs = 1100;

    // The steps below answer false when the component is being stopped.
    bool decodeInput(const CodecInput& input);
    bool receiveFrames();
    bool handleFrame();
    bool finish();
    bool emitPending(int minFrames);
    bool cutToWindow(int frames, CodecOutput* output) const;

    status_t openDecoder(const AVCodecParameters& parameters);
    bool hasCodecData() const { return mTrack->codec().extradata_size > 0; }
    // Codec data that comes as inputs, where the format had none.
    void addLateData(MediaCodecBuffer& buffer);
    void useLateData();
    bool fillPacket(const CodecInput& input);
    bool openOutput(const AudioShape& shape);
    void reportFallbackFormat();
    void followClock();
    void publishFirstTime(int64_t timeUs);
    int64_t frameTimeUs() const;
    int64_t pulledTimeUs(int64_t framesAhead) const;

    const AString mMime;
    sp<TrackParameters> mTrack;  // constant while the worker runs, like mInputCapacity
    size_t mInputCapacity = kMinInputCapacity;
    sp<SessionClock> mSessionClock;  // null without a session

    // Worker only while it runs.
    AvCodecOwner mCodec;     // null while it runs: the codec data is missing, or was refused
    sp<AMessage> mLateData;  // until the next sample; null: none
    AvPacketOwner mPacket;
    AvFrameOwner mFrame;
    AudioConverter mConverter;
    bool mFormatReported = false;
    bool mFirstTimePublished = false;
    bool mClockSet = false;
    int64_t mBaseTimeUs = 0;    // the time of the first frame that counts in mPulledFrames
    int64_t mPulledFrames = 0;  // output frames since mBaseTimeUs
    int64_t mInputTimeUs = 0;   // of the last input
    DamageCounter mDamage;
};

// A decoder for an "audio/..." type; null for other types. Whether libavcodec can decode it is
// found out by configure(), since the stream's parameters say more than the type.
sp<CodecComponent> createAvAudioDecoder(const AString& mime);

}  // namespace android
