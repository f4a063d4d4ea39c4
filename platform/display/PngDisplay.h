// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>
#include <vector>

#include "display/DisplayInput.h"
#include "display/PictureConverter.h"
#include "display/PictureWorker.h"

namespace android {

// Encodes and writes on a thread of its own.
class PngDisplay : public oxa::host::Display {
  public:
    explicit PngDisplay(const std::string& directory);
    ~PngDisplay() override;

    sp<IGraphicBufferProducer> producer() const override { return mInput.producer(); }
    oxa::host::DisplayFigures figures() const override { return mInput.figures(); }

  private:
    void write(const IntakePicture& picture);
    std::string nextPath(const Picture& picture);

    const std::string mDirectory;
    DisplayInput mInput;
    // Worker only.
    const std::unique_ptr<PictureConverter> mConverter;
    std::vector<uint8_t> mPng;
    unsigned mNumber = 0;
    PictureWorker mWorker;
};

}  // namespace android
