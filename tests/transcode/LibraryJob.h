// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>

#include <string>

namespace oxa::test {

// One transcode through the library's public class, as a client makes it: both formats' defaults,
// the source's size and 48 kHz stereo. Each call fails the test if the player refuses it.
class LibraryJob {
  public:
    struct Work {
        std::string input;
        std::string output;  // the name decides the container
        int onlyTrack = 0;   // or CODEC_AUDIO_ONLY, CODEC_VIDEO_ONLY
        int width = 320;
        int height = 240;
    };

    explicit LibraryJob(const Work& work);
    ~LibraryJob();

    // From nothing to running.
    void start();
    // Waits until all that was read is written.
    void waitForEnd();
    void stopAndCleanUp();

  private:
    const Work mWork;
    const int mDescriptor;
    const android::sp<android::OxaMediaCodecPlayer> mPlayer;
    android::_AV_FORMAT_FORMAT mFormat = {};
};

// What a process must not collect.
struct ProcessUse {
    int descriptors = 0;
    int threads = 0;

    bool operator==(const ProcessUse& other) const {
        return descriptors == other.descriptors && threads == other.threads;
    }
};
ProcessUse currentUse();

}  // namespace oxa::test
