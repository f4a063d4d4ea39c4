// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// What people see and hear of a live source while nothing, or something, is recorded.

#include <gtest/gtest.h>
#include <oxa/host/SoundOutput.h>

#include <memory>
#include <string>
#include <vector>

#include "live/LiveJob.h"
#include "support/Deadline.h"
#include "support/MediaProbe.h"
#include "support/Sound.h"
#include "support/TempDir.h"

namespace oxa::test {
namespace {

using namespace android;

constexpr size_t kMaxFrames = 48000 * 120;
constexpr double kTone = 440;

class MonitorTest : public testing::TestWithParam<bool> {
  protected:
    static LiveOptions options() {
        const std::string tone = "sine=frequency=440:sample_rate=48000";
        LiveOptions options;
        options.hdmi = GetParam();
        options.source = "testsrc2=size=320x240:rate=30";
        if (options.hdmi) options.source += "[out0];" + tone + "[out1]";
        options.microphone = tone;
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

    // A job begins with silence.
    void recordSound() { mSound = host::useSoundRecording(kMaxFrames); }

    std::shared_ptr<host::SoundRecording> mSound;
};

TEST_P(MonitorTest, soundIsHeardAsLongAsItIsAskedFor) {
    const TempDir folder;
    LiveOptions live = options();
    live.output = folder.file("out.mp4");
    LiveJob job(live);
    recordSound();
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
    recordSound();
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

TEST(SharedCameraTest, isRecorded) {
    const TempDir folder;
    LiveOptions options;
    options.hdmi = false;
    options.source = "testsrc2=size=320x240:rate=30";
    options.microphone = "sine";
    options.sharedCamera = true;
    options.output = folder.file("out.mp4");
    LiveJob job(options);
    ASSERT_NO_FATAL_FAILURE(job.start());
    job.setRecording(true);
    job.waitForRecorded(1);
    job.stop();
    job.cleanUp();
    const MediaProbe output(options.output);
    EXPECT_EQ(output.video()->width, 320);
    EXPECT_GE(output.video()->frameCount, 30);
}

}  // namespace
}  // namespace oxa::test
