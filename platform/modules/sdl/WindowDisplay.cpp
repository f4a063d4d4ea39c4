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

void WindowDisplay::toggleFullScreen() {
    mWantsToggle = true;
    mThread->wake();
}

void WindowDisplay::onTurn() {
    if (mWantsToggle.exchange(false) && mWindow != nullptr) mWindow->toggleFullScreen();
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
    const SdlWindow::Request request = mWindow->handleEvent(event);
    if (request == oxa::host::DisplayEvent::kClosed) {
        mInput.close();
        mWindow.reset();
    }
    if (request && mOptions.onEvent) mOptions.onEvent(*request);
}

void WindowDisplay::onRemoved() {
    mWindow.reset();
}

}  // namespace android
