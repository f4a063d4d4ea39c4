// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Transcode.h>

namespace CLI {
class App;
}

namespace oxaplayer {

// INPUT and all that says what is to become of it, for the commands that transcode.
void addTranscodeOptions(CLI::App& app, oxa::jobs::TranscodeOptions* options);

}  // namespace oxaplayer
