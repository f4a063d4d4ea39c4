// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cmath>
#include <iostream>
#include <ostream>
#include <string>
#include <vector>

#include "live/LiveJob.h"
#include "support/MediaProbe.h"
#include "support/Pictures.h"
#include "support/Sound.h"
#include "support/SyncMeasure.h"
#include "support/TempDir.h"
#include "support/Tries.h"

namespace oxa::test {
namespace {

// Brightness steps that survive the encoder.
constexpr int kDarkest = 20;
constexpr int kStep = 4;
constexpr int kNumbers = 50;
constexpr double kSeconds = 1.5;
constexpr double kToneHz = 1000;
constexpr double kFlashesS = 2.2;
constexpr double kMostOffsetMs = 20;
// A stop discards the sound that is on its way: in the service, between two polls, in the encoder.
constexpr double kMostTailS = 0.3;

// Grey pictures whose brightness tells their number, and a tone.
std::string numberedSignal(int frameRate, int width, int height, int sampleRate = 48000) {
    return "nullsrc=size=16x16:rate=" + std::to_string(frameRate) + ",format=yuv420p,geq=lum='" +
           std::to_string(kDarkest) + "+" + std::to_string(kStep) + "*mod(N\\," +
           std::to_string(kNumbers) + ")':cb=128:cr=128,scale=" + std::to_string(width) + ":" +
           std::to_string(height) +
           ":flags=neighbor,setsar=1[out0];sine=frequency=" + std::to_string(int(kToneHz)) +
           ":sample_rate=" + std::to_string(sampleRate) + "[out1]";
}

int numberOf(const Image& image) {
    return static_cast<int>(std::lround((meanColour(image).y - kDarkest) / kStep));
}

void record(const LiveOptions& live, uint64_t* lostPictures,
            android::_RECORDING_PROGRESS* progress = nullptr, double seconds = kSeconds) {
    LiveJob job(live);
    ASSERT_NO_FATAL_FAILURE(job.start());
    ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
    ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(seconds));
    job.stop();
    *lostPictures = job.lostPictures();
    if (progress != nullptr) {
        ASSERT_EQ(job.player().getRecordingProgress(progress), android::OK);
    }
}

struct RateCase {
    const char* name;
    int sourceRate;
    int recordedRate;
    int width;
    int height;
};
void PrintTo(const RateCase& value, std::ostream* out) {
    *out << value.name;
}

class RateTest : public testing::TestWithParam<RateCase> {
  protected:
    const TempDir mFolder;
};

TEST_P(RateTest, keepsExactlyEveryNthPicture) {
    const RateCase& rates = GetParam();
    LiveOptions live;
    live.source = numberedSignal(rates.sourceRate, rates.width, rates.height);
    live.width = rates.width;
    live.height = rates.height;
    live.frameRate = rates.recordedRate;
    live.output = mFolder.file("out.mp4");
    uint64_t lost = 0;
    android::_RECORDING_PROGRESS progress;
    ASSERT_NO_FATAL_FAILURE(record(live, &lost, &progress));

    const std::vector<Image> pictures = decodePictures(live.output);
    ASSERT_GE(pictures.size(), kSeconds * rates.recordedRate - lost);
    const int expected = rates.sourceRate / rates.recordedRate;
    uint64_t others = 0;
    for (size_t i = 1; i < pictures.size(); ++i) {
        const int step = (numberOf(pictures[i]) - numberOf(pictures[i - 1]) + kNumbers) % kNumbers;
        others += step != expected;
        const double periodUs = 1e6 / rates.sourceRate;
        EXPECT_NEAR(static_cast<double>(pictures[i].timeUs - pictures[i - 1].timeUs),
                    step * periodUs, periodUs / 2)
                << "a picture is shown at another one's time";
    }
    // Not the last one, which is kept whatever its number.
    EXPECT_LE(others, lost + 1);
    // The camera delivers 30 a second; the others are left out behind it.
    const int interval = 30 / rates.recordedRate;
    EXPECT_NEAR(static_cast<double>(progress.thinnedFrames),
                static_cast<double>((interval - 1) * pictures.size()), interval);
    std::cout << pictures.size() << " pictures, " << others << " irregular steps, " << lost
              << " lost by this machine\n";
}

INSTANTIATE_TEST_SUITE_P(Rates, RateTest,
                         testing::Values(RateCase{"From30To15", 30, 15, 320, 240},
                                         RateCase{"From30To10", 30, 10, 320, 240},
                                         RateCase{"From60To30", 60, 30, 1280, 720}),
                         [](const auto& info) { return info.param.name; });

class SignalRateTest : public testing::Test {
  protected:
    LiveOptions converted(const std::string& source) const {
        LiveOptions live;
        live.source = source;
        live.signalRate = kSignalRate;
        live.sampleRate = 48000;
        live.output = mFolder.file("out.mp4");
        return live;
    }

    static constexpr int kSignalRate = 44100;
    const TempDir mFolder;
};

TEST_F(SignalRateTest, soundOf44100HzKeepsItsPitchAt48000) {
    const LiveOptions live = converted(numberedSignal(30, 320, 240, kSignalRate));
    uint64_t lost = 0;
    ASSERT_NO_FATAL_FAILURE(record(live, &lost));
    const Sound sound = decodeSound(live.output);
    EXPECT_EQ(sound.sampleRate, 48000);
    EXPECT_GE(sound.seconds(), kSeconds - kMostTailS);
    EXPECT_NEAR(dominantFrequency(sound.mono(), sound.sampleRate), kToneHz, 2);
}

TEST_F(SignalRateTest, soundOf44100HzStaysWithThePictureAt48000) {
    const LiveOptions live = converted(flashesAndBeeps(30, kSignalRate));
    const auto recordToTail = [&]() -> std::string {
        uint64_t lost = 0;
        record(live, &lost, nullptr, kFlashesS);
        if (HasFatalFailure()) return "";
        const SyncMeasure sync = measureSync(live.output);
        EXPECT_GE(sync.offsetsMs.size(), 2U);
        EXPECT_LT(std::fabs(sync.largestMs()), kMostOffsetMs);
        const MediaProbe probe(live.output);
        if (probe.video() == nullptr || probe.audio() == nullptr) return "a track is missing";
        const double tailS = (probe.video()->endUs - probe.audio()->endUs) / 1e6;
        std::cout << "sound after picture: " << sync.meanMs() << " ms\n";
        if (std::fabs(tailS) < kMostTailS) return "";
        return "sound ends " + std::to_string(tailS) + " s before the picture";
    };
    EXPECT_EQ(missedEachTime(recordToTail), "");
}

}  // namespace
}  // namespace oxa::test
