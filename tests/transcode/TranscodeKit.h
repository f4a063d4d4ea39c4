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

// Runs `oxaplayer transcode` over a file, replacing the output. The test fails unless the program
// ends well and the `ffmpeg` command then decodes the whole output without a complaint.
ProcessResult transcode(const std::string& input, const std::string& output,
                        const std::vector<std::string>& options = {});

// What the `ffmpeg` command says while it decodes these streams of a file, all without a list:
// empty when nothing is wrong.
std::string complaintsAbout(const std::string& path, const std::vector<size_t>& streams = {});

// The test fails unless nothing was written, or what was written is a file like any other. It may
// be so short that a stream that is announced has no sample.
void expectEmptyOrPlayable(const std::string& path);

// ---- Pictures

constexpr int kQualityBitRate = 6'000'000;

// The peer of a transcoded picture: the first video stream through a chain of libavfilter's, by the
// `ffmpeg` command with the encoder settings that the player uses, at kQualityBitRate.
void encodePeer(const std::string& source, const std::string& filters, int keyFrameInterval,
                const std::string& output);

struct PictureQuality {
    size_t pictures = 0;
    double meanDb = 0;    // of the mean square error over all pictures and planes
    double lowestDb = 0;  // of the worst picture
};

// How far the pictures of each file are from those that `filters` makes of the source's, one by one
// in their order. The source is decoded by the `ffmpeg` command, which turns it upright.
std::vector<PictureQuality> pictureQuality(const std::string& source, const std::string& filters,
                                           const std::vector<std::string>& files);

// The filters for an upright picture of this size.
std::string scaledTo(int width, int height);

// The test fails if the output, made at kQualityBitRate, has other pictures than the peer's
// encoding of the same source, or is visibly farther from what `filters` makes of the source.
void expectAsGoodAsPeer(const std::string& source, const std::string& filters,
                        const std::string& output);

// How much later all of a source is in a transcode of it, relative to the start of each file. A
// transport stream has no start of its own but the first sample that is in it.
double startChangeUs(const MediaProbe& source, const MediaProbe& output);

// The test fails unless the output has the source's pictures, each presented at its time, within a
// millisecond, but for `laterUs`.
void expectSamePictures(const StreamProbe& source, const StreamProbe& output, double laterUs = 0);

// ---- Sound

// What a transcode did to the first sound of a file. Times are relative to each file's start.
struct SoundChange {
    bool silent = false;      // there is nothing to be heard in the source
    double beginLaterMs = 0;  // by how much later the same sound is heard, near the begin
    double endLaterMs = 0;    // the same, near the end
    double cutLaterMs = 0;    // by how much later the last sample ends
    double levelDb = 0;       // by how much the sound is louder
    double tailDb = 0;        // by how much the source's last 100 ms are
};
// Both must have one sample rate.
SoundChange compareSound(const std::string& source, const std::string& output);

// The test fails unless the output has the source's sound from begin to end at its level, and in
// its place but for `laterMs`.
void expectSameSound(const std::string& source, const std::string& output, double laterMs = 0);

}  // namespace oxa::test
