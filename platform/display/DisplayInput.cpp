// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "DisplayInput"

#include "display/DisplayInput.h"

#include <utility>

namespace android {

DisplayInput::DisplayInput(const std::string& name)
    : mName(name), mQueue(new PictureQueue), mProducer(new LocalBufferProducer(mQueue)) {}

DisplayInput::~DisplayInput() {
    close();
}

void DisplayInput::open(PictureIntake::Handler handler) {
    mIntake = new PictureIntake(mQueue, std::move(handler));
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
