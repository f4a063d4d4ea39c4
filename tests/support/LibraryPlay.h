// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/Display.h>
#include <oxa/host/SoundOutput.h>

#include <memory>
#include <string>
#include <vector>

#include "support/Reports.h"
#include "support/Sound.h"

namespace oxa::test {

struct PlayOptions {
    std::string input;
    int onlyTrack = 0;  // or CODEC_AUDIO_ONLY, CODEC_VIDEO_ONLY
    bool freeRun = false;
    bool tunneled = false;
    double frameRateIntervalSec = 0;
    bool recordSound = false;  // only for a file whose sound is played
};

// What came of a playback.
struct Played {
    android::_PLAYBACK_PROGRESS progress = {};
    std::vector<oxa::host::RecordedPicture> pictures;
    Sound heard;  // times are CLOCK_MONOTONIC
    int soundTracks = 0;
    int64_t endUs = 0;  // of the first report of the end (CLOCK_MONOTONIC)
    int ends = 0;
    std::vector<double> instantRates;
    std::vector<double> averageRates;
};

// One playback through the library's public class, as a client makes it, onto a recording display.
// Each call fails the test if the player refuses it. With recorded sound, run() returns when
// something is heard, and one run waits for the other: so each playback has its own recording.
class LibraryPlay {
  public:
    explicit LibraryPlay(const PlayOptions& options);
    // Cleans up.
    ~LibraryPlay();
    LibraryPlay(const LibraryPlay&) = delete;
    LibraryPlay& operator=(const LibraryPlay&) = delete;

    // From nothing, until all is played and the player is cleaned up.
    Played playToEnd();

    // prepare() and run() start it.
    void prepare();
    void run();
    void stop();

    android::OxaMediaCodecPlayer& player() { return *mPlayer; }

  private:
    const PlayOptions mOptions;
    const std::unique_ptr<oxa::host::RecordingDisplay> mDisplay;
    std::shared_ptr<oxa::host::SoundRecording> mSound;
    const android::sp<android::Reports> mReports = new android::Reports;
    const android::OwnLooper mReportLooper{mReports};
    const android::sp<android::OxaMediaCodecPlayer> mPlayer;
};

// A decoded picture of a file as a recording display would note it. Times are relative to the
// file's start.
struct ExpectedPicture {
    int64_t timeUs;
    int width;
    int height;
    uint64_t hash;
};
// Of the first video stream, as stored: not turned upright.
std::vector<ExpectedPicture> expectedPictures(const std::string& path);

// The names of the clips in tests/media.
std::vector<std::string> mediaClips();

}  // namespace oxa::test
