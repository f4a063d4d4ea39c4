// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>
#include <oxa/host/Cameras.h>

#include <cmath>
#include <iostream>
#include <ostream>
#include <string>

#include "live/LiveJob.h"
#include "support/MediaProbe.h"
#include "support/Sound.h"
#include "support/SyncMeasure.h"
#include "support/TempDir.h"
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

// The picture rate of the source, without more gaps than the pictures that were dropped.
void expectSteadyPictures(const StreamProbe& video, int frameRate, uint64_t dropped) {
    EXPECT_EQ(video.firstUs(), 0);
    EXPECT_EQ(video.decodeErrors, 0);
    EXPECT_TRUE(video.decodingTimesRise);
    const auto expected = std::lround(video.durationUs() / 1e6 * frameRate);
    EXPECT_NEAR(static_cast<double>(video.frameCount), static_cast<double>(expected),
                1 + static_cast<double>(dropped));
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

    const TempDir mFolder;
};

TEST_P(RecordTest, isWholeAndInStep) {
    const LiveOptions live = options();
    uint64_t dropped = 0;
    {
        LiveJob job(live);
        ASSERT_NO_FATAL_FAILURE(job.start());
        ASSERT_NO_FATAL_FAILURE(job.setRecording(true));
        ASSERT_NO_FATAL_FAILURE(job.waitForRecorded(kSeconds));
        job.stop();
        dropped = oxa::host::cameraFigures(0).recordingDropped;
    }
    const MediaProbe probe(live.output);
    ASSERT_TRUE(probe.ok()) << probe.error();
    EXPECT_EQ(complaintsAbout(live.output), "");
    const bool hasPicture = live.onlyTrack != android::CODEC_AUDIO_ONLY;
    const bool hasSound = GetParam().sound && live.onlyTrack != android::CODEC_VIDEO_ONLY;
    ASSERT_EQ(probe.video() != nullptr, hasPicture);
    ASSERT_EQ(probe.audio() != nullptr, hasSound);
    if (hasPicture) {
        expectSteadyPictures(*probe.video(), live.frameRate, dropped);
        EXPECT_GE(probe.video()->durationUs(), kSeconds * 1e6);
    }
    if (hasSound) {
        EXPECT_EQ(probe.audio()->sampleRate, 48000);
        EXPECT_EQ(probe.audio()->decodeErrors, 0);
    }
    if (hasPicture && hasSound) {
        EXPECT_NEAR(probe.audio()->durationUs() / 1e6, probe.video()->durationUs() / 1e6, 0.3);
        const SyncMeasure sync = measureSync(live.output);
        EXPECT_GE(sync.offsetsMs.size(), 2U);
        EXPECT_LT(std::fabs(sync.largestMs()), live.hdmi ? kMostOffsetMs : kMostMicrophoneOffsetMs);
        std::cout << "sound after picture: " << sync.meanMs() << " ms, " << dropped
                  << " pictures dropped\n";
    }
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
