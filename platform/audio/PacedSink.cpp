// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/PacedSink.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>

#include "base/Monotonic.h"
#include "base/SessionState.h"

namespace android {

PacedSink::PacedSink(std::unique_ptr<SoundConsumer> consumer) : mConsumer(std::move(consumer)) {}

PacedSink::~PacedSink() {
    PacedSink::stop();
}

status_t PacedSink::open(const SoundFormat& format, SoundSource* source) {
    constexpr int kBlocksPerSecond = 200;
    mFormat = format;
    mSource = source;
    mBlockFrames = std::max(1, format.sampleRate / kBlocksPerSecond);
    mBlock.resize(mBlockFrames * format.channels);
    return mConsumer != nullptr ? mConsumer->open(format) : OK;
}

status_t PacedSink::start() {
    if (mThread.joinable()) return OK;
    {
        AnnotatedLock lock(mLock);
        mStopping = false;
    }
    mThread = std::thread(oxa::host::inSession([this, startUs = monotonicUs()] { run(startUs); }));
    return OK;
}

void PacedSink::stop() {
    if (!mThread.joinable()) return;
    {
        AnnotatedLock lock(mLock);
        mStopping = true;
    }
    mWake.notify_all();
    mThread.join();
    if (mConsumer != nullptr) mConsumer->onStopped();
}

void PacedSink::run(int64_t startUs) {
    pthread_setname_np(pthread_self(), "PacedSink");
    int64_t frames = 0;
    int64_t heardAtUs = startUs;
    while (waitUntil(heardAtUs)) {
        pull(heardAtUs);
        frames += mBlockFrames;
        heardAtUs = startUs + framesToUs(frames, mFormat.sampleRate);
        const int64_t nowUs = monotonicUs();
        if (nowUs - heardAtUs > kMaxLateUs) {
            startUs = heardAtUs = nowUs;
            frames = 0;
        }
    }
}

bool PacedSink::waitUntil(int64_t timeUs) {
    const std::chrono::steady_clock::time_point time{std::chrono::microseconds(timeUs)};
    AnnotatedLock lock(mLock);
    return !mWake.wait_until(mLock, time, [this]() REQUIRES(mLock) { return mStopping; });
}

void PacedSink::pull(int64_t heardAtUs) {
    mSource->fill(mBlock.data(), mBlockFrames, heardAtUs);
    if (mConsumer != nullptr) mConsumer->consume(mBlock.data(), mBlockFrames, heardAtUs);
}

}  // namespace android
