// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "WindowDisplay"

#include "modules/sdl/WindowDisplay.h"

#include <utility>

namespace android {

WindowDisplay::WindowDisplay(const oxa::host::WindowOptions& options)
    : mOptions(options), mInput("window") {
    mInput.open([this](IntakePicture picture) { take(std::move(picture)); });
    mThread->add(this);
}

WindowDisplay::~WindowDisplay() {
    mInput.close();
    mThread->remove(this);
}

void WindowDisplay::take(IntakePicture picture) {
    if (mMailbox.put(std::move(picture))) {
        mInput.countReplaced();
        mInput.releasePlace();
    }
    mThread->wake();
}

void WindowDisplay::onTurn() {
    IntakePicture picture;
    if (!mMailbox.take(&picture)) return;
    std::string error;
    if (show(picture, &error)) {
        mInput.countShown();
    } else {
        mInput.countFailed(oxa::host::FaultSource::kDisplay, error);
    }
    mInput.releasePlace();
}

bool WindowDisplay::show(const IntakePicture& picture, std::string* error) {
    if (mWindow == nullptr && mOpenError.empty()) {
        mWindow = SdlWindow::open(mOptions.title, mOptions.fullScreen, picture, &mOpenError);
    }
    *error = mOpenError;
    return mWindow != nullptr && mWindow->show(picture, error);
}

void WindowDisplay::onEvent(const SDL_Event& event) {
    if (mWindow == nullptr) return;
    switch (mWindow->handleEvent(event)) {
        case SdlWindow::Request::kNone:
            break;
        case SdlWindow::Request::kClose:
            mInput.close();
            mWindow.reset();
            if (mOptions.onEvent) mOptions.onEvent(oxa::host::DisplayEvent::kClosed);
            break;
        case SdlWindow::Request::kQuit:
            if (mOptions.onEvent) mOptions.onEvent(oxa::host::DisplayEvent::kQuitKey);
            break;
    }
}

void WindowDisplay::onRemoved() {
    mWindow.reset();
}

}  // namespace android
