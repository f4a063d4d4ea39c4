// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <memory>
#include <thread>
#include <vector>

#include "audio/SoundSink.h"
#include "base/AnnotatedMutex.h"

namespace android {

// Takes the blocks that a PacedSink has pulled.
class SoundConsumer {
  public:
    virtual ~SoundConsumer() = default;

    virtual status_t open(const SoundFormat& format) = 0;
    // On the sink's thread.
    virtual void consume(const int16_t* samples, size_t frames, int64_t heardAtUs) = 0;
    // The sink has stopped, and may start again.
    virtual void onStopped() {}
};

// A sink without a device: pulls blocks of 5 ms by the monotonic clock. Each block has an absolute
// time, so it does not drift.
class PacedSink : public SoundSink {
  public:
    // Without a consumer the sound is dropped.
    explicit PacedSink(std::unique_ptr<SoundConsumer> consumer);
    ~PacedSink() override;

    status_t open(const SoundFormat& format, SoundSource* source) override;
    status_t start() override;
    void stop() override;
    int64_t latencyUs() const override { return 0; }
    int64_t blockUs() const override { return framesToUs(mBlockFrames, mFormat.sampleRate); }

  private:
    // A process that was stopped or slept longer than this does not make up for it.
    static constexpr int64_t kMaxLateUs = 2000000;

    void run(int64_t startUs);
    bool waitUntil(int64_t timeUs);
    void pull(int64_t heardAtUs);

    const std::unique_ptr<SoundConsumer> mConsumer;
    SoundFormat mFormat;
    SoundSource* mSource = nullptr;
    std::vector<int16_t> mBlock;  // the thread's
    size_t mBlockFrames = 0;

    AnnotatedMutex mLock;
    AnnotatedCondition mWake;
    bool mStopping GUARDED_BY(mLock) = false;
    std::thread mThread;
};

}  // namespace android
