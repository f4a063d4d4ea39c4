// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>

#include <chrono>
#include <functional>
#include <string>

namespace oxa::test {

// One transcode through the library's public class, as a client makes it: both formats' defaults,
// 320x240 and 48 kHz stereo. Each call fails the test if the player refuses it.
class LibraryJob {
  public:
    // The output's name decides the container; onlyTrack: or CODEC_AUDIO_ONLY, CODEC_VIDEO_ONLY.
    LibraryJob(const std::string& input, const std::string& output, int onlyTrack = 0);
    ~LibraryJob();

    // From nothing to running.
    void start();
    // Waits until all that was read is written.
    void waitForEnd();
    void stopAndCleanUp();

  private:
    const std::string mInput;
    const bool mIsMp4;
    const int mDescriptor;
    const android::sp<android::OxaMediaCodecPlayer> mPlayer;
    android::_AV_FORMAT_FORMAT mFormat = {};
};

// All of one.
void transcodeByLibrary(const std::string& input, const std::string& output, int onlyTrack = 0);

// Does it again and again, first some rounds in which a process opens and allocates what it needs
// once, then `rounds` more. The test ends at a round that leaves anything behind, the program at
// one that takes longer than `limit`; and the test fails if memory is collected.
void repeat(int firstRounds, int rounds, std::chrono::seconds limit,
            const std::function<void(int round)>& once);

}  // namespace oxa::test
