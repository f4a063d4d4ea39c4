// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "WorkerComponent"

#include "codec/WorkerComponent.h"

#include <media/stagefright/MediaCodec.h>
#include <sys/prctl.h>

#include <chrono>

#include "base/SessionState.h"

namespace android {

WorkerComponent::~WorkerComponent() {
    // The codec is closed by the subclass, whose part is gone here: MediaCodec stops a component
    // before it drops it.
    joinWorker();
}

status_t WorkerComponent::start(Client* client) {
    if (mStarted) return INVALID_OPERATION;
    mClient = client;
    {
        AnnotatedLock lock(mLock);
        mStopping = false;
        mOutputsOut = 0;
    }
    status_t err = openCodec();
    if (err != OK) {
        closeCodec();
        return err;
    }
    mStarted = true;
    mWorker = std::thread(oxa::host::inSession([this] {
        prctl(PR_SET_NAME, "CodecWorker");
        runWorker();
    }));
    return OK;
}

void WorkerComponent::stop() {
    stopWorker();
    onStopped();
}

void WorkerComponent::stopWorker() {
    if (mStarted) endWorker();
    AnnotatedLock lock(mLock);
    mInputs.clear();
    mDrainRequested = false;
}

void WorkerComponent::endWorker() {
    {
        AnnotatedLock lock(mLock);
        mStopping = true;
        mInputQueued.notify_all();
        mOutputReleased.notify_all();
        mWoken.notify_all();
    }
    joinWorker();
    closeCodec();
    mStarted = false;
}

void WorkerComponent::joinWorker() {
    if (mWorker.joinable()) mWorker.join();
}

void WorkerComponent::queueInput(const CodecInput& input) {
    {
        AnnotatedLock lock(mLock);
        mInputs.push_back(input);
    }
    // Without the lock, which the woken worker takes first.
    mInputQueued.notify_all();
}

void WorkerComponent::releaseOutput(const CodecOutput& output, bool /*render*/,
                                    int64_t /*timestampNs*/) {
    if (output.picture != nullptr) return;
    {
        AnnotatedLock lock(mLock);
        if (mOutputsOut > 0) --mOutputsOut;
    }
    mOutputReleased.notify_all();
}

WorkerComponent::Next WorkerComponent::nextInput(CodecInput* input) {
    AnnotatedLock lock(mLock);
    mInputQueued.wait(mLock, [this]() REQUIRES(mLock) {
        return mStopping || !mInputs.empty() || mDrainRequested;
    });
    if (mStopping) return Next::kStop;
    if (!mInputs.empty()) {
        *input = mInputs.front();
        mInputs.pop_front();
        return Next::kInput;
    }
    mDrainRequested = false;
    return Next::kDrain;
}

bool WorkerComponent::takeInputs(const std::function<bool(const CodecInput& input)>& take) {
    CodecInput input;
    for (;;) {
        const Next next = nextInput(&input);
        if (next == Next::kStop) return false;
        if (next == Next::kDrain) continue;
        if (!take(input)) return false;
        client()->onInputConsumed(input.index);
        if (input.flags & MediaCodec::BUFFER_FLAG_EOS) return true;
    }
}

bool WorkerComponent::sleepUntil(int64_t timeUs) {
    const std::chrono::steady_clock::time_point end{std::chrono::microseconds(timeUs)};
    AnnotatedLock lock(mLock);
    return !mWoken.wait_until(mLock, end, [this]() REQUIRES(mLock) { return mStopping; });
}

bool WorkerComponent::emit(const CodecOutput& output) {
    {
        AnnotatedLock lock(mLock);
        if (output.picture == nullptr) {
            mOutputReleased.wait(mLock, [this]() REQUIRES(mLock) {
                return mStopping || mOutputsOut < kMaxOutputs;
            });
            ++mOutputsOut;
        }
        if (mStopping) return false;
    }
    mClient->onOutput(output);
    return true;
}

bool WorkerComponent::emitEnd(int64_t timeUs) {
    CodecOutput end;
    end.data = new ABuffer(0);
    end.timeUs = timeUs;
    end.flags = MediaCodec::BUFFER_FLAG_EOS;
    return emit(end);
}

void WorkerComponent::requestDrain() {
    {
        AnnotatedLock lock(mLock);
        mDrainRequested = true;
    }
    mInputQueued.notify_all();
}

bool WorkerComponent::stopping() const {
    AnnotatedLock lock(mLock);
    return mStopping;
}

void WorkerComponent::wakeAll() {
    // The lock, so that what changed is seen by a waitUntil() that is about to wait.
    { AnnotatedLock lock(mLock); }
    mWoken.notify_all();
}

}  // namespace android
