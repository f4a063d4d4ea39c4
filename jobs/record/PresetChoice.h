// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>
#include <optional>
#include <string>

#include "oxa/jobs/EncodeOptions.h"

namespace oxa::jobs {

// Which preset of the encoder keeps up with a live source on this computer: what was measured once
// is remembered in a file, for each size, rate and processor.
class PresetChoice {
  public:
    // How long a picture takes, in microseconds; 0 when that cannot be said. Blocks meanwhile.
    using Measure = std::function<int64_t(Size size, const std::string& preset)>;

    // With the encoder, and the user's cache.
    PresetChoice();
    // An empty name of the file: nothing is remembered.
    PresetChoice(std::string file, Measure measure);

    // The slowest one up to veryfast that leaves a third of the time to others. Takes some 0.3 s
    // when it is not remembered, and remembers it.
    std::string choose(Size size, int32_t frameRate) const;
    std::optional<std::string> remembered(Size size, int32_t frameRate) const;
    // It has proved to be wrong.
    void forget(Size size, int32_t frameRate) const;

  private:
    std::string measure(Size size, int32_t frameRate) const;
    void write(const std::string& key, const std::string& preset) const;

    const std::string mFile;
    const Measure mMeasure;
};

// The next one that is faster, at most veryfast; nothing for the fastest.
std::optional<std::string> fasterPreset(const std::string& preset);
bool isFasterPreset(const std::string& preset, const std::string& than);

}  // namespace oxa::jobs
