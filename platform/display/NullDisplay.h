// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "display/DisplayInput.h"

namespace android {

// Counts pictures on the thread that renders them.
class NullDisplay : public oxa::host::Display {
  public:
    NullDisplay();
    ~NullDisplay() override;

    sp<IGraphicBufferProducer> producer() const override { return mInput.producer(); }
    oxa::host::DisplayFigures figures() const override { return mInput.figures(); }

  private:
    DisplayInput mInput;
};

}  // namespace android
