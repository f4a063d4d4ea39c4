// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Display.h>
#include <oxa/host/FaultListener.h>

#include <memory>
#include <string>

#include "base/AnnotatedMutex.h"
#include "base/SessionState.h"
#include "display/PictureIntake.h"
#include "graphics/LocalBufferProducer.h"

namespace android {

// What every display has: the queue behind its producer, the intake at that queue's end, and the
// figures. Thread-safe.
class DisplayInput {
  public:
    // `name` is what faults tell of.
    explicit DisplayInput(const std::string& name);
    ~DisplayInput();
    DisplayInput(const DisplayInput&) = delete;
    DisplayInput& operator=(const DisplayInput&) = delete;

    // Once: pictures go to `handler` from now on.
    void open(PictureIntake::Handler handler);
    // The handler is not called any more when this returns; what is rendered now is dropped.
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
    const std::string mName;
    // Windows share a thread, which belongs to none.
    const std::shared_ptr<oxa::host::SessionState> mSession = oxa::host::SessionState::current();
    const sp<PictureQueue> mQueue;
    const sp<IGraphicBufferProducer> mProducer;
    sp<PictureIntake> mIntake;  // set by open()
    mutable AnnotatedMutex mLock;
    oxa::host::DisplayFigures mFigures GUARDED_BY(mLock);
};

}  // namespace android
