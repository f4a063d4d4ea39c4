// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// What people see and hear of a live source while nothing, or something, is recorded.

#include <camera/CameraParameters.h>
#include <oxa/host/SoundOutput.h>

#include "live/LiveJob.h"
#include "support/LogCapture.h"
#include "support/MediaProbe.h"
#include "support/Sound.h"

namespace oxa::test {
namespace {

using namespace android;

// ---- What people see and hear of a live source --------------------------------------------------

constexpr size_t kMaxFrames = 48000 * 120;
constexpr double kTone = 440;

class MonitorTest : public testing::TestWithParam<bool> {
  protected:
    static LiveOptions options() {
        LiveOptions options = sourceOf(GetParam());
        const std::string tone = "[out0];sine=frequency=440:sample_rate=48000[out1]";
        if (options.hdmi) options.source = "testsrc2=size=320x240:rate=30" + tone;
        return options;
    }

    // The first channel of what was heard behind so many blocks.
    std::vector<float> heardAfter(size_t blocks) const {
        std::vector<float> samples;
        const std::vector<host::SoundBlock> all = mSound->blocks();
        for (size_t i = blocks; i < all.size(); ++i) {
            for (size_t frame = 0; frame < all[i].frames(); ++frame)
                samples.push_back(all[i].samples[frame * all[i].channels] / 32768.0f);
        }
        return samples;
    }
    // For half a second without a pause, which a machine that stands still makes.
    bool hearsTone(size_t blocksBefore) const {
        const std::vector<float> last = window(heardAfter(blocksBefore), kRate, -0.5, 0.5);
        return last.size() >= kRate / 2 && toneDb(last, kRate, kTone) > kLoudDb &&
               std::fabs(dominantFrequency(last, kRate) - kTone) < 5;
    }
    // But for what was on its way.
    bool isQuiet(size_t blocksBefore) const {
        const std::vector<float> samples = heardAfter(blocksBefore);
        return samples.size() <= kRate / 10 ||
               levelDb(window(samples, kRate, 0.1, samples.size() / double{kRate})) < kLoudDb - 40;
    }

    static constexpr int kRate = 48000;
    static constexpr double kLoudDb = -30;

    std::shared_ptr<host::SoundRecording> mSound;
};

TEST_P(MonitorTest, soundIsHeardAsLongAsItIsAskedFor) {
    const TempDir folder;
    LiveOptions live = options();
    live.output = folder.file("out.mp4");
    LiveJob job(live);
    mSound = host::useSoundRecording(kMaxFrames);
    ASSERT_NO_FATAL_FAILURE(job.start());
    for (const bool recording : {false, true}) {
        SCOPED_TRACE(recording ? "recording" : "preview alone");
        if (recording) {
            job.setRecording(true);
            job.waitForRecorded(0.5);
        }
        const size_t before = mSound->blocks().size();
        ASSERT_EQ(job.player().setPlayback(true, true), OK);
        EXPECT_TRUE(waitFor([&] { return hearsTone(before); }));

        ASSERT_EQ(job.player().setPlayback(true, false), OK);
        const size_t after = mSound->blocks().size();
        // A track that plays on would have brought the tone by the next pictures.
        const size_t shown = job.display().pictures().size();
        ASSERT_TRUE(waitFor([&] { return job.display().pictures().size() > shown + 30; }));
        EXPECT_TRUE(isQuiet(after));
    }
    job.waitForRecorded(1.5);
    job.stop();
    job.cleanUp();
    EXPECT_GT(MediaProbe(live.output).audio()->frameCount, kRate);
}

TEST_P(MonitorTest, thePictureStandsStillAsLongAsItIsNotWanted) {
    LiveJob job(options());
    mSound = host::useSoundRecording(kMaxFrames);
    ASSERT_NO_FATAL_FAILURE(job.start());
    const auto shown = [&] { return job.display().pictures().size(); };
    // The preview runs from the start on; what ends it is the opposite of what was asked for.
    ASSERT_TRUE(waitFor([&] { return shown() > 5; }));
    ASSERT_EQ(job.player().setPlayback(true, true), OK);
    ASSERT_EQ(job.player().setPlayback(false, true), OK);
    const size_t before = mSound->blocks().size();
    const size_t pictures = shown();
    ASSERT_TRUE(waitFor([&] { return hearsTone(before); }));
    EXPECT_LE(shown(), pictures + 1) << "one may have been under way";
    ASSERT_EQ(job.player().setPlayback(true, true), OK);
    EXPECT_TRUE(waitFor([&] { return shown() > pictures + 5; }));
    job.cleanUp();
}

INSTANTIATE_TEST_SUITE_P(Sources, MonitorTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "Hdmi" : "Usb"; });

// ---- What a client is told ----------------------------------------------------------------------

TEST(HotplugTest, theClientsHandlerHearsOfThePlug) {
    LiveJob job(sourceOf(true));
    ASSERT_NO_FATAL_FAILURE(job.start());
    job.receiver()->unplug();
    EXPECT_TRUE(waitFor([&] { return job.hotplugState() == 0; })) << job.hotplugState();
    job.receiver()->plug();
    EXPECT_TRUE(waitFor([&] { return job.hotplugState() == 1; })) << job.hotplugState();
}

TEST(HotplugTest, aClientWithoutAHandlerIsNotTold) {
    LiveJob job(sourceOf(true));
    job.player().mStatusHandler.clear();
    ASSERT_NO_FATAL_FAILURE(job.start());
    const LogCapture log;
    const auto heard = [&] {
        return log.count("OxaMediaCodecPlayer", "kWhatHDMIRxVideoHotplug state:0");
    };
    job.receiver()->unplug();
    EXPECT_TRUE(waitFor([&] { return heard() > 0; }));
    job.cleanUp();
    EXPECT_EQ(heard(), 1);
}

class ClientQueryTest : public testing::TestWithParam<bool> {};

TEST_P(ClientQueryTest, parametersAreThoseOfTheSourceThatIsSetUp) {
    LiveJob job(sourceOf(GetParam()));
    EXPECT_EQ(job.player().getCameraParameters(), String8());
    ASSERT_NO_FATAL_FAILURE(job.prepare());
    const auto expectSize = [&] {
        const CameraParameters params(job.player().getCameraParameters());
        int width = 0;
        int height = 0;
        params.getPreviewSize(&width, &height);
        EXPECT_EQ(width, 320);
        EXPECT_EQ(height, 240);
        EXPECT_NE(params.get(CameraParameters::KEY_SUPPORTED_PREVIEW_SIZES), nullptr);
    };
    expectSize();
    ASSERT_NO_FATAL_FAILURE(job.run());
    expectSize();
    job.cleanUp();
    EXPECT_EQ(job.player().getCameraParameters(), String8());
}

TEST_P(ClientQueryTest, aSnapshotNeedsARecorderThatTakesPictures) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    _CAMERA_SNAPSHOT_PARA snapshot = {};
    {
        LiveJob job(sourceOf(GetParam()));
        EXPECT_NE(job.player().getCameraSnapshot(&snapshot), OK);
    }
    EXPECT_DEATH(
            {
                LiveJob job(sourceOf(GetParam()));
                job.start();
                job.player().getCameraSnapshot(&snapshot);
            },
            "CHECK\\(response->findInt32\\(AMSG_PIXELFORMAT, &snapshot->format\\)\\) failed\\.");
}

INSTANTIATE_TEST_SUITE_P(Sources, ClientQueryTest, testing::Bool(),
                         [](const auto& info) { return info.param ? "Hdmi" : "Usb"; });

}  // namespace
}  // namespace oxa::test
