// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "DisplayInput"

#include "display/DisplayInput.h"

#include <utility>

#include "base/Monotonic.h"

namespace android {

// The consumer end of the queue.
class DisplayInput::Intake : public PictureQueue::ConsumerListener {
  public:
    Intake(const sp<PictureQueue>& queue, Handler handler)
        : mQueue(queue), mHandler(std::move(handler)) {}

    void onPictureQueued() override {
        AnnotatedLock lock(mLock);
        mAgain = true;
        // Nobody waits here: who is taking already takes this picture, too. It may be this thread,
        // when a producer answers a free place with its next picture.
        if (mTaking) return;
        mTaking = true;
        while (mAgain && !mClosed) {
            mAgain = false;
            lock.unlock();
            takeAll();
            lock.lock();
        }
        mTaking = false;
        mIdle.notify_all();
    }

    void close() {
        AnnotatedLock lock(mLock);
        mClosed = true;
        mIdle.wait(mLock, [this]() REQUIRES(mLock) { return !mTaking; });
    }

  private:
    void takeAll() {
        QueuedPicture queued;
        while (mQueue->tryAcquire(&queued)) {
            IntakePicture taken;
            taken.picture = queued.picture;
            taken.timestampNs = queued.timestampNs;
            taken.arrivalUs = monotonicUs();
            taken.format = mQueue->format();
            mHandler(std::move(taken));
        }
    }

    const sp<PictureQueue> mQueue;
    const Handler mHandler;
    AnnotatedMutex mLock;
    AnnotatedCondition mIdle;
    // By one thread at a time, so that pictures stay in order.
    bool mTaking GUARDED_BY(mLock) = false;
    bool mAgain GUARDED_BY(mLock) = false;  // something was queued meanwhile
    bool mClosed GUARDED_BY(mLock) = false;
};

DisplayInput::DisplayInput(const std::string& name)
    : mName(name), mQueue(new PictureQueue), mProducer(new LocalBufferProducer(mQueue)) {}

DisplayInput::~DisplayInput() {
    close();
}

void DisplayInput::open(Handler handler) {
    mIntake = new Intake(mQueue, std::move(handler));
    mQueue->setConsumer(mIntake);
}

void DisplayInput::close() {
    // Abandoned first, so that nothing is queued any more that nobody would take.
    mQueue->abandon();
    if (mIntake != nullptr) mIntake->close();
}

void DisplayInput::countShown() {
    AnnotatedLock lock(mLock);
    ++mFigures.shown;
}

void DisplayInput::countReplaced() {
    AnnotatedLock lock(mLock);
    ++mFigures.replaced;
}

void DisplayInput::countFailed(oxa::host::FaultSource source, const std::string& cause, int error) {
    {
        AnnotatedLock lock(mLock);
        if (++mFigures.failed > 1) return;
    }
    const oxa::host::SessionScope scope(mSession);
    oxa::host::Fault fault;
    fault.source = source;
    fault.object = mName;
    fault.cause = cause;
    fault.error = error;
    oxa::host::reportFault(fault);
}

oxa::host::DisplayFigures DisplayInput::figures() const {
    AnnotatedLock lock(mLock);
    return mFigures;
}

}  // namespace android
