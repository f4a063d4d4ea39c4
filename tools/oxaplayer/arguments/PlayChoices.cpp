// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/PlayChoices.h"

namespace oxaplayer {

namespace {

// The rest of `text` behind `prefix`; nothing without it, or when nothing follows.
std::optional<std::string> behind(const std::string& text, const std::string& prefix) {
    if (text.size() <= prefix.size() || text.compare(0, prefix.size(), prefix) != 0) {
        return std::nullopt;
    }
    return text.substr(prefix.size());
}

}  // namespace

std::optional<DisplayChoice> parseDisplayChoice(const std::string& text) {
    using Kind = DisplayChoice::Kind;
    if (text == "window") return DisplayChoice{Kind::kWindow, {}};
    if (text == "null") return DisplayChoice{Kind::kNull, {}};
    if (const auto directory = behind(text, "png:")) return DisplayChoice{Kind::kPng, *directory};
    return std::nullopt;
}

std::optional<SoundChoice> parseSoundChoice(const std::string& text) {
    using Kind = SoundChoice::Kind;
    if (text == "default") return SoundChoice{Kind::kDevice, {}};
    if (text == "null") return SoundChoice{Kind::kNull, {}};
    if (const auto file = behind(text, "wav:")) return SoundChoice{Kind::kWav, *file};
    return std::nullopt;
}

}  // namespace oxaplayer
