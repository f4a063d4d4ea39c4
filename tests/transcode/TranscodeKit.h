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

// What the `ffmpeg` command says while it decodes these streams of a file, all without a list:
// empty when nothing is wrong.
std::string complaintsAbout(const std::string& path, const std::vector<size_t>& streams = {});

// The test fails unless nothing was written, or what was written is a file like any other. It may
// be so short that a stream that is announced has no sample.
void expectEmptyOrPlayable(const std::string& path);

}  // namespace oxa::test
