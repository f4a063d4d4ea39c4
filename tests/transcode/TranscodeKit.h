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

// ---- Pictures

// An option of transcode(), so that expectAsGoodAsPeer() compares like with like.
constexpr char kQualityOption[] = "--video-bitrate 6000000 ";

// The test fails if an output made with kQualityOption has other pictures than the peer's encoding
// of the same source, or is visibly farther from what `filters` (libavfilter's, each with a comma
// behind it) and a change of the size make of the source. The peer is the `ffmpeg` command with the
// encoder settings that the player uses; it turns the source upright.
void expectAsGoodAsPeer(const std::string& source, const std::string& output,
                        const std::string& filters = "");

// How much later all of a source is in a transcode of it, relative to the start of each file. A
// transport stream has no start of its own but the first sample that is in it.
double startChangeUs(const MediaProbe& source, const MediaProbe& output);

// The test fails unless the output has the source's pictures, each presented at its time, within a
// millisecond, but for `laterUs`.
void expectSamePictures(const StreamProbe& source, const StreamProbe& output, double laterUs = 0);

// ---- Sound

// The test fails unless the output has the source's sound from begin to end at its level, and in
// its place but for `laterMs`.
void expectSameSound(const std::string& source, const std::string& output, double laterMs = 0);

// The test fails unless each beep of a clip with flashes and beeps, `pairs` of both, is as far from
// its flash as in the source.
void expectSameSync(const std::string& source, const std::string& output, int pairs);

}  // namespace oxa::test
