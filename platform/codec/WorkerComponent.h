// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <deque>
#include <functional>
#include <thread>

#include "base/AnnotatedMutex.h"
#include "codec/CodecComponent.h"

namespace android {

// The part that all components share: one worker thread, the queue of inputs, a bound on outputs
// that the client holds, and an end that always comes. A component writes runWorker() as a plain
// loop over nextInput() and emit().
class WorkerComponent : public CodecComponent {
  public:
    status_t start(Client* client) final;
    void stop() final;
    void queueInput(const CodecInput& input) final;
    void releaseOutput(const CodecOutput& output, bool render, int64_t timestampNs) override;

  protected:
    enum class Next { kInput, kDrain, kStop };

    // At most this many outputs of bytes are with the client at a time.
    static constexpr size_t kMaxOutputs = 8;

    ~WorkerComponent() override;

    // Opens the codec before the worker runs; on the caller's thread of start().
    virtual status_t openCodec() = 0;
    // Frees the codec after the worker has ended; on the caller's thread of stop().
    virtual void closeCodec() = 0;
    // The worker's whole life. Returns when the end was emitted or a call below says "stop".
    virtual void runWorker() = 0;
    // At the end of every stop(), also of a component that was only configured: gives back what
    // configure() has taken (a surface).
    virtual void onStopped() {}

    // stop() without onStopped().
    void stopWorker();

    // Worker only. Waits for an input (front of the queue, removed), a drain request once the queue
    // is empty, or stop.
    Next nextInput(CodecInput* input);
    // Worker only. Gives `take` each input and then its buffer back to the client. True after the
    // last input, which has the end flag; false when stopping, or when `take` answers false.
    bool takeInputs(const std::function<bool(const CodecInput& input)>& take);
    // Worker only. Waits until `ready` answers true; false when stopping. `ready` is called with
    // the component's lock held, and again after each wakeAll().
    template <typename Predicate>
    bool waitUntil(Predicate ready) {
        AnnotatedLock lock(mLock);
        mWoken.wait(mLock, [&]() REQUIRES(mLock) { return mStopping || ready(); });
        return !mStopping;
    }
    // Worker only. Waits until this time of the monotonic clock; false, at once, when stopping.
    bool sleepUntil(int64_t timeUs);
    // Worker only. Waits for room, then hands the output to the client; false when stopping.
    bool emit(const CodecOutput& output);
    // Worker only. emit() of an empty output with the end-of-stream flag.
    bool emitEnd(int64_t timeUs);

    // Any thread: nextInput answers kDrain once, after all queued inputs.
    void requestDrain();
    bool stopping() const;
    Client* client() const { return mClient; }
    // Any thread: what a waitUntil() waits for may have happened.
    void wakeAll();

  private:
    void endWorker();
    void joinWorker();

    mutable AnnotatedMutex mLock;
    // The worker waits for one thing at a time, and what else happens must not wake it.
    AnnotatedCondition mInputQueued;
    AnnotatedCondition mOutputReleased;
    AnnotatedCondition mWoken;
    std::deque<CodecInput> mInputs GUARDED_BY(mLock);
    size_t mOutputsOut GUARDED_BY(mLock) = 0;  // byte outputs that the client holds
    bool mDrainRequested GUARDED_BY(mLock) = false;
    bool mStopping GUARDED_BY(mLock) = false;
    bool mStarted = false;      // looper thread only
    Client* mClient = nullptr;  // constant while the worker runs
    std::thread mWorker;
};

}  // namespace android
