// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Display.h>
#include <oxa/host/FaultListener.h>

#include <functional>
#include <memory>
#include <string>

#include "base/AnnotatedMutex.h"
#include "base/SessionState.h"
#include "graphics/LocalBufferProducer.h"
#include "graphics/PictureQueue.h"

namespace android {

// One picture that a display has taken from its queue, with all that it needs to show it.
struct IntakePicture {
    sp<Picture> picture;
    int64_t timestampNs = 0;
    int64_t arrivalUs = 0;  // CLOCK_MONOTONIC
    PictureFormat format;
};

// What every display has: the queue behind its producer, of which it takes each picture in the
// moment it is queued and in order, and the figures. Thread-safe.
class DisplayInput {
  public:
    using Handler = std::function<void(IntakePicture picture)>;

    // `name` is what faults tell of.
    explicit DisplayInput(const std::string& name);
    ~DisplayInput();
    DisplayInput(const DisplayInput&) = delete;
    DisplayInput& operator=(const DisplayInput&) = delete;

    // Once: pictures go to `handler` from now on, and keep their places of the queue until
    // releasePlace(). It runs on a thread that uses the queue, often a codec's looper, one call at
    // a time: it must not wait. It may use the queue.
    void open(Handler handler);
    // The handler is not called any more when this returns; what is rendered now is dropped. Not to
    // be called by the handler.
    void close();

    const sp<IGraphicBufferProducer>& producer() const { return mProducer; }
    // One for each picture that the handler was given.
    void releasePlace() { mQueue->release(); }

    void countShown();
    void countReplaced();
    // `error` is an errno, 0 where there is none.
    void countFailed(oxa::host::FaultSource source, const std::string& cause, int error = 0);
    oxa::host::DisplayFigures figures() const;

  private:
    class Intake;

    const std::string mName;
    // Windows share a thread, which belongs to none.
    const std::shared_ptr<oxa::host::SessionState> mSession = oxa::host::SessionState::current();
    const sp<PictureQueue> mQueue;
    const sp<IGraphicBufferProducer> mProducer;
    sp<Intake> mIntake;  // set by open()
    mutable AnnotatedMutex mLock;
    oxa::host::DisplayFigures mFigures GUARDED_BY(mLock);
};

}  // namespace android
