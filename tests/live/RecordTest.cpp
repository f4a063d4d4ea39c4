// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdlib>
#include <iostream>
#include <sstream>

#include "live/LiveJob.h"
#include "support/Pictures.h"
#include "support/Sound.h"
#include "support/SyncMeasure.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

// ---- Every kind of recording --------------------------------------------------------------------

constexpr double kSeconds = 2.2;
// The sound of a receiver begins with its first picture. That of a microphone, which is a device of
// its own, begins a little off it.
constexpr double kMostOffsetMs = 20;
constexpr double kMostMicrophoneOffsetMs = 150;
// A stop discards the sound that is on its way: in the service, between two polls, in the encoder.
constexpr int64_t kMostLongerUs = 300'000;

// The picture rate of the source, without more gaps than the pictures that were dropped. Before the
// last one, which a stop marks, those that wait are left out.
void expectSteadyPictures(const StreamProbe& video, int frameRate, uint64_t dropped) {
    EXPECT_EQ(video.firstUs(), 0);
    EXPECT_EQ(video.decodeErrors, 0);
    EXPECT_TRUE(video.decodingTimesRise);
    ASSERT_GE(video.timesUs.size(), 2U);
    const int64_t steadyUs = *(video.timesUs.end() - 2) - video.firstUs();
    EXPECT_NEAR(video.timesUs.size() - 2.0, steadyUs / 1e6 * frameRate, 1.0 + dropped);
}

struct RecordCase : Named {
    bool hdmi;
    int onlyTrack;
    bool sound;
    const char* container;
    bool sharedCamera = false;
    int signalRate = 48000;
    int sampleRate = 48000;
};
struct Recorded {
    uint64_t lost = 0;  // pictures that this machine was too slow for
    android::_RECORDING_PROGRESS progress = {};
};

Recorded record(const LiveOptions& live) {
    Recorded recorded;
    LiveJob job(live);
    job.start();
    if (testing::Test::HasFatalFailure()) return recorded;
    job.setRecording(true);
    job.waitForRecorded(kSeconds);
    job.stop();
    recorded.lost = job.lostPictures();
    EXPECT_EQ(job.player().getRecordingProgress(&recorded.progress), android::OK);
    return recorded;
}

class RecordTest : public testing::TestWithParam<RecordCase> {
  protected:
    LiveOptions options() const {
        LiveOptions options = sourceOf(GetParam().hdmi);
        options.onlyTrack = GetParam().onlyTrack;
        options.signalRate = GetParam().signalRate;
        options.sampleRate = GetParam().sampleRate;
        options.source = options.hdmi ? flashesAndBeeps(options.signalRate) : kFlashes;
        options.microphone = beeps();
        options.signalHasSound = GetParam().sound;
        options.sharedCamera = GetParam().sharedCamera;
        options.output = mFolder.file(std::string("out.") + GetParam().container);
        return options;
    }

    // What is wrong with its times; the rest is expected.
    static std::string recordAndCheck(const LiveOptions& live) {
        const uint64_t dropped = record(live).lost;
        const MediaProbe probe(live.output);
        EXPECT_TRUE(probe.ok()) << probe.error();
        EXPECT_EQ(complaintsAbout(live.output), "");
        const bool hasPicture = live.onlyTrack != android::CODEC_AUDIO_ONLY;
        const bool hasSound = GetParam().sound && live.onlyTrack != android::CODEC_VIDEO_ONLY;
        EXPECT_EQ(probe.video() != nullptr, hasPicture);
        EXPECT_EQ(probe.audio() != nullptr, hasSound);
        if (probe.video() != nullptr) {
            expectSteadyPictures(*probe.video(), live.frameRate, dropped);
            EXPECT_GE(probe.video()->durationUs(), kSeconds * 1e6);
        }
        if (probe.audio() != nullptr) {
            EXPECT_EQ(probe.audio()->sampleRate, live.sampleRate);
            EXPECT_EQ(probe.audio()->decodeErrors, 0);
            const Sound sound = decodeSound(live.output);
            EXPECT_NEAR(dominantFrequency(sound.mono(), sound.sampleRate), kBeepFrequency, 2);
        }
        if (probe.video() == nullptr || probe.audio() == nullptr) return "";
        return outOfStep(live, probe.audio()->durationUs() - probe.video()->durationUs());
    }

    static std::string outOfStep(const LiveOptions& live, int64_t longerUs) {
        const SyncMeasure sync = measureSync(live.output);
        std::ostringstream text;
        text << sync.offsetsMs.size() << " beeps, at most " << sync.largestMs()
             << " ms after their flash, sound longer by " << longerUs << " us";
        std::cout << text.str() << '\n';
        const double mostMs = live.hdmi ? kMostOffsetMs : kMostMicrophoneOffsetMs;
        const bool inStep = sync.offsetsMs.size() >= 2 && std::fabs(sync.largestMs()) < mostMs &&
                            std::llabs(longerUs) < kMostLongerUs;
        return inStep ? "" : text.str();
    }

    const TempDir mFolder;
};

TEST_P(RecordTest, isWholeAndInStep) {
    const LiveOptions live = options();
    EXPECT_EQ(missedEachTime([&] { return recordAndCheck(live); }), "");
}

constexpr int kSoundOnly = android::CODEC_AUDIO_ONLY;
constexpr int kPictureOnly = android::CODEC_VIDEO_ONLY;
const RecordCase kRecordings[] = {
        {"Hdmi", true, 0, true, "mp4"},
        {"HdmiTs", true, 0, true, "ts"},
        {"HdmiWithoutSound", true, 0, false, "mp4"},
        {"HdmiSound", true, kSoundOnly, true, "mp4", false, 48000, 32000},
        {"HdmiOfOtherRate", true, 0, true, "mp4", false, 44100},
        {"HdmiPicture", true, kPictureOnly, true, "mp4"},
        {"Usb", false, 0, true, "mp4"},
        {"UsbTs", false, 0, true, "ts"},
        {"UsbSound", false, kSoundOnly, true, "mp4", false, 48000, 32000},
        {"UsbPicture", false, kPictureOnly, true, "mp4"},
        {"UsbShared", false, 0, true, "mp4", true},
};

INSTANTIATE_TEST_SUITE_P(Sources, RecordTest, testing::ValuesIn(kRecordings), rowName<RecordCase>);

// ---- Rates --------------------------------------------------------------------------------------

// Brightness steps that survive the encoder.
constexpr int kDarkest = 20;
constexpr int kStep = 4;
constexpr int kNumbers = 50;

// Grey pictures whose brightness tells their number, and some sound.
std::string numberedSignal(int frameRate, int width, int height, const std::string& filter) {
    return "nullsrc=size=16x16:rate=" + std::to_string(frameRate) + ",format=yuv420p,geq=lum='" +
           std::to_string(kDarkest) + "+" + std::to_string(kStep) + "*mod(N\\," +
           std::to_string(kNumbers) + ")':cb=128:cr=128,scale=" + std::to_string(width) + ":" +
           std::to_string(height) + ":flags=neighbor,setsar=1" + filter +
           "[out0];sine=sample_rate=48000[out1]";
}

int numberOf(const Image& image) {
    return static_cast<int>(std::lround((meanColour(image).y - kDarkest) / kStep));
}

struct RateCase : Named {
    int sourceRate, recordedRate, width, height;
    const char* filter = "";  // of the signal's pictures
};
class RateTest : public testing::TestWithParam<RateCase> {};

TEST_P(RateTest, keepsExactlyEveryNthPicture) {
    const RateCase& rates = GetParam();
    const TempDir folder;
    LiveOptions live;
    live.source = numberedSignal(rates.sourceRate, rates.width, rates.height, rates.filter);
    live.width = rates.width;
    live.height = rates.height;
    live.frameRate = rates.recordedRate;
    live.output = folder.file("out.mp4");
    const auto [lost, progress] = record(live);
    if (HasFatalFailure()) return;

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
    // The camera delivers 30 a second; the others are left out behind it. Those that wait when a
    // stop comes are not recorded, but were chosen before.
    const int interval = 30 / rates.recordedRate;
    const double delivered = 30 * (pictures.back().timeUs - pictures[0].timeUs) / 1e6;
    EXPECT_NEAR(static_cast<double>(progress.thinnedFrames), delivered * (interval - 1) / interval,
                static_cast<double>(interval + lost));
}

INSTANTIATE_TEST_SUITE_P(Rates, RateTest,
                         testing::Values(RateCase{"From30To15", 30, 15, 320, 240},
                                         RateCase{"From30To10", 30, 10, 320, 240},
                                         RateCase{"From60To30", 60, 30, 1280, 720},
                                         RateCase{"FullRange", 30, 15, 320, 240,
                                                  ",scale=out_range=full,format=yuvj420p"}),
                         rowName<RateCase>);

}  // namespace
}  // namespace oxa::test
