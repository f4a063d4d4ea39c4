// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Plays one file as fast as it is meant to be, onto a display and into sound that are recorded, and
// prints as one JSON object how far from their due times pictures were shown and sound was written,
// how far each beep was heard from its flash, and how late a mere sleep ended meanwhile. Beeps are
// expected at whole seconds after silence. Exit 0, 1 when it failed, 2 for wrong usage.

#include <OxaMediaCodecPlayer.h>
#include <android/log.h>
#include <oxa/host/Display.h>
#include <oxa/host/SoundOutput.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <thread>
#include <utility>
#include <vector>

using android::AHandler;
using android::ALooper;
using android::AMessage;
using android::OK;
using android::OxaMediaCodecPlayer;
using android::sp;
using oxa::host::RecordedPicture;
using oxa::host::SoundBlock;

namespace {

constexpr int64_t kSecondUs = 1'000'000;
constexpr size_t kMaxSoundFrames = size_t{48000} * 600;
constexpr int kLoud = 3000;
constexpr int64_t kSilenceUs = 300'000;
constexpr std::chrono::microseconds kLookInterval(200);

class End : public AHandler {
  public:
    bool reached() const { return mReached; }
    void onMessageReceived(const sp<AMessage>& message) override {
        if (message->what() == android::kWhatPlayerEOS) mReached = true;
    }

  private:
    std::atomic<bool> mReached{false};
};

double percentile(std::vector<double> values, double share) {
    if (values.empty()) return NAN;
    std::sort(values.begin(), values.end());
    const auto last = static_cast<double>(values.size() - 1);
    return values[static_cast<size_t>(std::lround(share * last))];
}

// When a sound was written is seen by looking at the player's progress: the figures are too large
// by up to one look.
struct Writes {
    std::vector<double> lateMs;
    int64_t lastTimeUs = -1;

    void look(const android::_PLAYBACK_PROGRESS& progress) {
        if (progress.audioTimeUs == lastTimeUs || progress.startTimeUs == 0) return;
        lastTimeUs = progress.audioTimeUs;
        const int64_t dueUs = progress.startTimeUs + progress.audioTimeUs;
        lateMs.push_back((ALooper::GetNowUs() - dueUs) / 1000.0);
    }
};

// When each beep was heard: the first loud sample after a silence.
std::vector<int64_t> beepTimes(const std::vector<SoundBlock>& blocks) {
    std::vector<int64_t> times;
    int64_t lastLoudUs = -kSilenceUs;
    for (const SoundBlock& block : blocks) {
        for (size_t i = 0; i < block.frames(); ++i) {
            if (std::abs(block.samples[i * block.channels]) < kLoud) continue;
            const int64_t timeUs =
                    block.timeUs + static_cast<int64_t>(i) * kSecondUs / block.sampleRate;
            if (timeUs - lastLoudUs >= kSilenceUs) times.push_back(timeUs);
            lastLoudUs = timeUs;
        }
    }
    return times;
}

// The first beep is at media time 0.
std::vector<double> offsets(const std::vector<int64_t>& beeps,
                            const std::vector<RecordedPicture>& pictures) {
    std::vector<double> result;
    for (const RecordedPicture& picture : pictures) {
        if (picture.mediaTimeUs % kSecondUs != 0) continue;
        const auto second = static_cast<size_t>(picture.mediaTimeUs / kSecondUs);
        if (second >= beeps.size()) break;
        result.push_back((beeps[second] - picture.arrivalUs) / 1000.0);
    }
    return result;
}

int fail(const char* what) {
    std::fprintf(stderr, "oxa_bench_play: %s\n", what);
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fprintf(stderr, "usage: oxa_bench_play FILE\n");
        return 2;
    }
    __android_log_set_minimum_priority(ANDROID_LOG_WARN);
    const auto display = oxa::host::createRecordingDisplay();
    const auto sound = oxa::host::useSoundRecording(kMaxSoundFrames);
    const sp<End> end = new End;
    const sp<ALooper> looper = new ALooper;
    looper->registerHandler(end);
    looper->start();

    const sp<OxaMediaCodecPlayer> player = new OxaMediaCodecPlayer(true, 0);
    player->mStatusHandler = end;
    player->initiate(android::SourceTypeFile, true, false);
    if (player->setDataSource(argv[1]) != OK) return fail("the file cannot be read");
    player->setSurface(display->producer());
    player->prepare();
    player->start();

    Writes writes;
    std::vector<double> sleepLateMs;
    android::_PLAYBACK_PROGRESS progress = {};
    while (!end->reached()) {
        player->getPlaybackProgress(&progress);
        writes.look(progress);
        const int64_t beforeUs = ALooper::GetNowUs();
        std::this_thread::sleep_for(kLookInterval);
        sleepLateMs.push_back((ALooper::GetNowUs() - beforeUs - kLookInterval.count()) / 1000.0);
    }
    player->getPlaybackProgress(&progress);
    player->stop();
    player->cleanup();
    looper->stop();

    std::vector<double> pictureLateMs;
    const std::vector<RecordedPicture> pictures = display->pictures();
    for (const RecordedPicture& picture : pictures) {
        const int64_t dueUs = progress.startTimeUs + picture.mediaTimeUs;
        pictureLateMs.push_back((picture.arrivalUs - dueUs) / 1000.0);
    }
    const std::vector<double> soundAfterPictureMs = offsets(beepTimes(sound->blocks()), pictures);
    std::printf(
            "{\"pictures\": %lld, \"dropped\": %lld, "
            "\"picture_median_ms\": %.3f, \"picture_p99_ms\": %.3f, "
            "\"sounds\": %zu, \"sound_median_ms\": %.3f, \"sound_p99_ms\": %.3f, "
            "\"beeps\": %zu, \"sync_least_ms\": %.3f, \"sync_most_ms\": %.3f, "
            "\"sleep_p99_ms\": %.3f, \"sleep_most_ms\": %.3f}\n",
            static_cast<long long>(progress.shownFrames),
            static_cast<long long>(progress.droppedFrames), percentile(pictureLateMs, 0.5),
            percentile(pictureLateMs, 0.99), writes.lateMs.size(), percentile(writes.lateMs, 0.5),
            percentile(writes.lateMs, 0.99), soundAfterPictureMs.size(),
            percentile(soundAfterPictureMs, 0), percentile(soundAfterPictureMs, 1),
            percentile(sleepLateMs, 0.99), percentile(sleepLateMs, 1));
    return 0;
}
