// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/AnnotatedMutex.h"
#include "display/DisplayInput.h"
#include "display/PictureWorker.h"

namespace android {

// Notes arrivals on the thread that renders and hashes on a thread of its own.
class RecordingDisplayImpl : public oxa::host::RecordingDisplay {
  public:
    explicit RecordingDisplayImpl(size_t limit);
    ~RecordingDisplayImpl() override;

    sp<IGraphicBufferProducer> producer() const override { return mInput.producer(); }
    oxa::host::DisplayFigures figures() const override { return mInput.figures(); }
    std::vector<oxa::host::RecordedPicture> pictures() const override;

  private:
    void record(const IntakePicture& picture);

    const size_t mLimit;
    DisplayInput mInput;
    mutable AnnotatedMutex mLock;
    std::vector<oxa::host::RecordedPicture> mPictures GUARDED_BY(mLock);
    size_t mRecordedCount = 0;  // worker only
    PictureWorker mWorker;
};

}  // namespace android
