// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Play.h>

#include <optional>
#include <string>

#include "report/ExitCode.h"

namespace oxaplayer {

// Read what a user types: "window", "null", "png:DIR"; "default", "null", "wav:FILE".
std::optional<DisplayChoice> parseDisplayChoice(const std::string& text);
std::optional<SoundChoice> parseSoundChoice(const std::string& text);

}  // namespace oxaplayer
