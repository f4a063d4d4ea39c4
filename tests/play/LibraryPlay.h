// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <OxaMediaCodecPlayer.h>
#include <oxa/host/Display.h>
#include <oxa/host/SoundOutput.h>

#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace oxa::test {

struct PlayOptions {
    enum class Sound { kNull, kRecorded };

    std::string input;
    int onlyTrack = 0;  // or CODEC_AUDIO_ONLY, CODEC_VIDEO_ONLY
    bool freeRun = false;
    bool tunneled = false;
    double frameRateIntervalSec = 0;
    Sound sound = Sound::kNull;  // recorded: only for a file whose sound is played
};

// What a player's status handler has received.
class PlayReports : public android::AHandler {
  public:
    int count(uint32_t what) const;
    // When the first one came (CLOCK_MONOTONIC), 0: not yet.
    int64_t timeUs(uint32_t what) const;
    // The "instant-fps" or "average-fps" of each.
    std::vector<double> rates(uint32_t what) const;

    void onMessageReceived(const android::sp<android::AMessage>& msg) override;

  private:
    struct Received {
        int64_t timeUs;
        double rate;
    };
    mutable std::mutex mLock;
    std::map<uint32_t, std::vector<Received>> mReceived;  // guarded by mLock
};

// One playback through the library's public class, as a client makes it, onto a recording display.
// Each call fails the test if the player refuses it. With recorded sound, start() returns when
// something is heard, and one start waits for the other: so each playback has its own recording.
class LibraryPlay {
  public:
    explicit LibraryPlay(const PlayOptions& options);
    // Cleans up.
    ~LibraryPlay();
    LibraryPlay(const LibraryPlay&) = delete;
    LibraryPlay& operator=(const LibraryPlay&) = delete;

    // prepare() and run() are the two halves of start().
    void start();
    void prepare();
    void run();
    void waitForEnd();
    // Until what was shown is also recorded.
    void waitForPictures();
    void stop();
    void stopAndCleanUp();

    // Before the cleanup.
    android::_PLAYBACK_PROGRESS progress() const;
    const PlayReports& reports() const { return *mReports; }
    const oxa::host::RecordingDisplay& display() const { return *mDisplay; }
    // What was heard so far, in one piece; null without recorded sound.
    const oxa::host::SoundRecording* sound() const { return mSound.get(); }

  private:
    const PlayOptions mOptions;
    const std::unique_ptr<oxa::host::RecordingDisplay> mDisplay;
    std::shared_ptr<oxa::host::SoundRecording> mSound;
    const android::sp<PlayReports> mReports;
    const android::sp<android::ALooper> mReportLooper;
    const android::sp<android::OxaMediaCodecPlayer> mPlayer;
};

// A recording as one stretch of sound.
struct HeardSound {
    int sampleRate = 0;
    int channels = 0;
    int tracks = 0;
    int64_t firstUs = 0;          // CLOCK_MONOTONIC of the first frame
    std::vector<float> samples;   // the mean of all channels
    std::vector<int64_t> timeUs;  // of each frame

    double seconds() const { return sampleRate == 0 ? 0 : 1.0 * samples.size() / sampleRate; }
    // The part from the first to the last sample that is not silent.
    std::vector<float> audible() const;
};
HeardSound heardSound(const oxa::host::SoundRecording& recording);

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
