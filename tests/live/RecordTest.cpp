// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <cmath>
#include <cstdlib>
#include <iostream>
#include <ostream>
#include <sstream>
#include <string>

#include "live/LiveJob.h"
#include "support/MediaProbe.h"
#include "support/Sound.h"
#include "support/SyncMeasure.h"
#include "support/TempDir.h"
#include "support/Tries.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

constexpr double kSeconds = 2.2;
constexpr char kFlashes[] =
        "color=black:size=320x240:rate=30,drawbox=color=white:t=fill:"
        "enable='lt(mod(t+0.5,1),0.1)'";
constexpr char kBeeps[] = "aevalsrc='if(lt(mod(t+0.5,1),0.1),0.5*sin(2*PI*1000*t),0)':s=48000";
// The sound of a receiver begins with its first picture. That of a microphone, which is a device of
// its own, begins a little off it.
constexpr double kMostOffsetMs = 20;
constexpr double kMostMicrophoneOffsetMs = 150;
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

struct RecordCase {
    const char* name;
    bool hdmi;
    int onlyTrack;
    bool sound;
    const char* container;
};
void PrintTo(const RecordCase& value, std::ostream* out) {
    *out << value.name;
}

class RecordTest : public testing::TestWithParam<RecordCase> {
  protected:
    LiveOptions options() const {
        LiveOptions options;
        options.hdmi = GetParam().hdmi;
        options.onlyTrack = GetParam().onlyTrack;
        options.source = options.hdmi ? flashesAndBeeps() : kFlashes;
        options.signalHasSound = GetParam().sound;
        options.microphone = kBeeps;
        options.output = mFolder.file(std::string("out.") + GetParam().container);
        return options;
    }

    // Returns how many pictures this machine was too slow for.
    static uint64_t record(const LiveOptions& live) {
        LiveJob job(live);
        job.start();
        if (HasFatalFailure()) return 0;
        job.setRecording(true);
        job.waitForRecorded(kSeconds);
        job.stop();
        return job.lostPictures();
    }

    // What is wrong with its times; the rest is expected.
    static std::string recordAndCheck(const LiveOptions& live) {
        const uint64_t dropped = record(live);
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
            EXPECT_EQ(probe.audio()->sampleRate, 48000);
            EXPECT_EQ(probe.audio()->decodeErrors, 0);
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

INSTANTIATE_TEST_SUITE_P(
        Sources, RecordTest,
        testing::Values(RecordCase{"Hdmi", true, 0, true, "mp4"},
                        RecordCase{"HdmiTs", true, 0, true, "ts"},
                        RecordCase{"HdmiWithoutSound", true, 0, false, "mp4"},
                        RecordCase{"HdmiSound", true, android::CODEC_AUDIO_ONLY, true, "mp4"},
                        RecordCase{"HdmiPicture", true, android::CODEC_VIDEO_ONLY, true, "mp4"},
                        RecordCase{"Usb", false, 0, true, "mp4"},
                        RecordCase{"UsbTs", false, 0, true, "ts"},
                        RecordCase{"UsbSound", false, android::CODEC_AUDIO_ONLY, true, "mp4"},
                        RecordCase{"UsbPicture", false, android::CODEC_VIDEO_ONLY, true, "mp4"}),
        [](const auto& info) { return info.param.name; });

}  // namespace
}  // namespace oxa::test
