// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <memory>

#include "display/DisplayInput.h"
#include "display/PictureMailbox.h"
#include "modules/sdl/SdlDisplayThread.h"
#include "modules/sdl/SdlWindow.h"

namespace android {

// Between the thread that renders and the display thread: a mailbox of one picture.
class WindowDisplay : public oxa::host::Display, private SdlDisplayThread::Window {
  public:
    explicit WindowDisplay(const oxa::host::WindowOptions& options);
    ~WindowDisplay() override;

    sp<IGraphicBufferProducer> producer() const override { return mInput.producer(); }
    oxa::host::DisplayFigures figures() const override { return mInput.figures(); }
    void toggleFullScreen() override;

    // Why it cannot show anything; empty when it can. Waits until the display thread has tried.
    std::string error() { return mThread->error(); }

  private:
    void take(IntakePicture picture);

    void onTurn() override;
    void onEvent(const SDL_Event& event) override;
    void onRemoved() override;
    bool show(const IntakePicture& picture, std::string* error);

    const oxa::host::WindowOptions mOptions;
    DisplayInput mInput;
    PictureMailbox mMailbox;
    std::atomic<bool> mWantsToggle{false};
    SdlDisplayThread::User mThread;
    // Display thread only.
    std::unique_ptr<SdlWindow> mWindow;
    std::string mOpenError;  // not empty: it cannot be opened
};

}  // namespace android
