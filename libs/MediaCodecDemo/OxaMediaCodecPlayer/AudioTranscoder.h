// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABuffer.h>
#include <utils/Condition.h>
#include <utils/List.h>
#include <utils/Mutex.h>

#include <atomic>

#include "FileTranscoder.h"

namespace android {

// Turns the first audio track of a file into AAC in the muxer: decoded PCM is copied into a queue
// and from there into the encoder, which also mixes and resamples to the target. The encoder is
// made when the decoder has reported what it delivers. When start() fails the transcoder stays
// PREPARED.
class AudioTranscoder : public FileTranscoder {
  public:
    AudioTranscoder();

    // `format` is not copied: it must outlive the transcoder.
    status_t setTargetFormat(const _AV_FORMAT_FORMAT& format);

    // Any thread: the time of the last picture written, which the sound follows within a second;
    // microseconds, -1: there is none to follow.
    void setVideoTimeUs(int64_t timeUs) { mVideoTimeUs = timeUs; }

    void handleDecoderInputBuffer(uint32_t index) override;
    void handleDecoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;
    void handleDecoderOutputFormatChange(const sp<AMessage>& format) override;

    void handleEncoderInputBuffer(uint32_t index) override;
    void handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override;

  protected:
    ~AudioTranscoder() override = default;

    status_t onPrepare() override;
    status_t onStart() override;
    void onStop() override;
    void onReset() override;
    void onInputEnd(uint32_t index) override;
    void waitPaceStep() override { waitOnce(kPaceStepNs); }

  private:
    static const Kind kKind;

    void dropEncoder();
    sp<AMessage> buildEncoderFormat(const sp<AMessage>& decoderFormat);

    void throttle(int64_t sampleTimeUs);
    bool waitForPcm();
    bool pcmQueueEmpty();
    void queuePcm(uint32_t index);
    void waitOnce(nsecs_t delayNs);

    List<sp<ABuffer>> mPcmQueue GUARDED_BY(mQueueLock);  // meta: "timeUs", "flags"
    Mutex mQueueLock;
    Mutex mWaitLock;
    Condition mWaitCond;  // monotonic; never signalled
    std::atomic<int64_t> mVideoTimeUs{-1};
    ssize_t mAudioTrackIndex = -1;

    std::atomic<size_t> mPcmBytes{0};  // in mPcmQueue
    bool mEncoderInputEOS = false;     // encoder callback thread only
};

}  // namespace android
