// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "audio/SoundDeviceModule.h"
#include "display/WindowModule.h"
#include "modules/sdl/SdlSink.h"
#include "modules/sdl/WindowDisplay.h"

namespace android {

namespace {

std::unique_ptr<oxa::host::Display> createWindow(const oxa::host::WindowOptions& options,
                                                 std::string* error) {
    auto display = std::make_unique<WindowDisplay>(options);
    *error = display->error();
    if (!error->empty()) return nullptr;
    return display;
}

std::string displayError() {
    const SdlDisplayThread::User thread;
    return thread->error();
}

std::unique_ptr<SoundSink> openSound(const SoundFormat& format, SoundSource* source,
                                     std::string* error) {
    auto sink = std::make_unique<SdlSink>();
    if (sink->open(format, source) == OK) return sink;
    *error = sink->error();
    return nullptr;
}

}  // namespace

extern "C" const WindowModule oxaWindows = {createWindow, displayError};
extern "C" const SoundDeviceModule oxaSoundDevices = {openSound, SdlSink::probe};

}  // namespace android
