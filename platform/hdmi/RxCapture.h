// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "audio/SoundCapture.h"
#include "base/AnnotatedMutex.h"
#include "hdmi/RxBlockQueue.h"
#include "hdmi/SoundMonitor.h"
#include "live/LevelMeter.h"

namespace android {

// The sound of the HDMI receiver: captured while it is started, kept in blocks while somebody
// records, heard while somebody monitors. Tells the fault listeners what goes wrong. Thread-safe.
class RxCapture : public SoundCaptureClient {
  public:
    // What to capture, with so many channels unless it leaves them open: false when there is
    // nothing.
    using InputChoice = std::function<bool(LiveOptions* options)>;

    explicit RxCapture(InputChoice input) : mInput(std::move(input)) {}

    // With so many channels, in the source's rate. Begins again when the channels change.
    void start(int channels);
    void stop();
    // The input has changed: a capture that is running begins again.
    void restart();
    bool isRunning() const { return mRunning; }

    void setMonitored(bool monitored) { mMonitored = monitored; }
    // Blocks are kept from now on.
    void setRecorded(bool recorded);
    bool isRecorded() const { return mRecorded; }
    // The next block, at most so large. False when there is none.
    bool takeBlock(size_t maxBytes, RxBlock* block);
    uint64_t droppedBlocks() const { return mQueue.dropped(); }
    double peak() const { return mLevel.peak(); }

    static void report(const std::string& cause, int error, bool ended);

    void onSound(LiveBlock sound) override;
    void onSoundEnd(int error, const std::string& text) override;

  private:
    void startLocked() REQUIRES(mLock);
    void stopLocked() REQUIRES(mLock);
    void noteSilence();

    const InputChoice mInput;
    std::atomic<bool> mRunning{false};
    std::atomic<bool> mMonitored{false};
    std::atomic<bool> mRecorded{false};
    std::atomic<int64_t> mSoundUs{0};       // when sound came last, or was asked for
    std::atomic<bool> mSilenceTold{false};  // since sound came
    std::atomic<bool> mFailureTold{false};  // since sound came
    LevelMeter mLevel;
    RxBlockQueue mQueue;
    SoundMonitor mMonitor;  // the capture thread's while there is one

    AnnotatedMutex mLock;
    int mChannels GUARDED_BY(mLock) = 0;
    std::unique_ptr<SoundCapture> mCapture GUARDED_BY(mLock);  // last: its thread uses the others
};

}  // namespace android
