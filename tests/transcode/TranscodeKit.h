// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

#include "support/MediaProbe.h"
#include "support/ProcessRunner.h"

namespace oxa::test {

// libavformat's name for it. A transport stream of a few packets is not recognised without.
constexpr char kTransportStream[] = "mpegts";
bool isTransportStream(const std::string& path);

// How often a repeating test repeats: the environment variable OXA_TEST_ROUNDS, or `usual`.
int testRounds(int usual);

// Runs `oxaplayer transcode` with these options (words) over a file, replacing the output. The test
// fails unless the program ends well and the `ffmpeg` command then decodes the whole output without
// a complaint.
ProcessResult transcode(const std::string& input, const std::string& output,
                        const std::string& options = "");

// What the `ffmpeg` command says while it decodes a file: empty when nothing is wrong.
std::string complaintsAbout(const std::string& path);

}  // namespace oxa::test
