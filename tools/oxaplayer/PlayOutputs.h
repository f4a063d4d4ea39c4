// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Display.h>

#include <memory>
#include <optional>
#include <string>

#include "EventQueue.h"
#include "ExitCode.h"
#include "Report.h"

namespace oxaplayer {

struct DisplayChoice {
    enum class Kind { kWindow, kNull, kPng };
    Kind kind = Kind::kWindow;
    std::string directory;  // kPng
};

struct SoundChoice {
    enum class Kind { kDevice, kNull, kWav };
    Kind kind = Kind::kDevice;
    std::string file;  // kWav
};

// Read what a user types: "window", "null", "png:DIR"; "default", "null", "wav:FILE".
std::optional<DisplayChoice> parseDisplayChoice(const std::string& text);
std::optional<SoundChoice> parseSoundChoice(const std::string& text);

// Where a playback is seen and heard. Without a screen or a sound device one warning says so, and
// the null outputs take their place.
class PlayOutputs {
  public:
    PlayOutputs();

    // Nothing when pictures can be shown; otherwise why not (exit 4). `queue` is told when the
    // window's user wants to end. `title` names the window.
    std::optional<Failure> openDisplay(const DisplayChoice& choice, const std::string& title,
                                       const std::shared_ptr<EventQueue>& queue, Report* report);
    // The same for sound, for the whole process.
    std::optional<Failure> openSound(const SoundChoice& choice, Report* report);

    // Never null.
    oxa::host::Display& display() const { return *mDisplay; }

  private:
    std::unique_ptr<oxa::host::Display> mDisplay;
};

}  // namespace oxaplayer
