// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "play/LibraryPlay.h"
#include "play/StallingDecoder.h"
#include "support/MediaProbe.h"
#include "support/ProcessRunner.h"
#include "support/Sound.h"
#include "support/TempDir.h"
#include "support/TestClips.h"
#include "support/Tries.h"

namespace oxa::test {
namespace {

using android::_PLAYBACK_PROGRESS;
using oxa::host::RecordedPicture;

constexpr auto kRecorded = PlayOptions::Sound::kRecorded;

// One playback from begin to end, and what came of it.
struct Played {
    _PLAYBACK_PROGRESS progress = {};
    std::vector<RecordedPicture> pictures;
    HeardSound heard;
    int64_t beginUs = 0;
    int64_t endUs = 0;
    int ends = 0;
    std::vector<double> instantRates;
    std::vector<double> averageRates;
};

Played playToEnd(const PlayOptions& options) {
    Played played;
    LibraryPlay play(options);
    played.beginUs = android::ALooper::GetNowUs();
    play.start();
    play.waitForEnd();
    play.waitForPictures();
    played.progress = play.progress();
    play.stopAndCleanUp();
    played.pictures = play.display().pictures();
    if (play.sound() != nullptr) played.heard = heardSound(*play.sound());
    played.endUs = play.reports().timeUs(android::kWhatPlayerEOS);
    played.ends = play.reports().count(android::kWhatPlayerEOS);
    played.instantRates = play.reports().rates(android::kWhatInstantFPS);
    played.averageRates = play.reports().rates(android::kWhatAverageFPS);
    return played;
}

// A clip through the `ffmpeg` command, streams copied.
std::string remuxed(const std::string& source, const std::vector<std::string>& before,
                    const std::vector<std::string>& after, const std::string& name) {
    std::vector<std::string> command = {"ffmpeg", "-v", "error", "-nostdin", "-y"};
    command.insert(command.end(), before.begin(), before.end());
    command.insert(command.end(), {"-i", source});
    command.insert(command.end(), after.begin(), after.end());
    const std::string output = TempDir::ofProcess().file(name);
    command.push_back(output);
    runOrDie(command);
    return output;
}

// ---- The first picture --------------------------------------------------------------------------

TEST(PacingTest, holdsFirstPictureThatIsLateInTheFile) {
    PlayOptions options;
    options.input = mediaPath("friday_video_starts_1s.mp4");
    options.sound = kRecorded;
    const Played played = playToEnd(options);
    ASSERT_FALSE(played.pictures.empty());
    const RecordedPicture& first = played.pictures.front();
    EXPECT_NEAR(first.mediaTimeUs, 1'000'000, 1000);
    EXPECT_GE(first.arrivalUs, played.progress.startTimeUs + 1'000'000);
    // The sound does not wait for it.
    EXPECT_LT(played.heard.firstUs, played.progress.startTimeUs + 900'000);
    EXPECT_GT(levelDb(window(played.heard.samples, played.heard.sampleRate, 0, 0.9)), -60);
}

// Without sound such a file's own start is late, and that is taken off.
TEST(PacingTest, showsFirstPictureOfFileThatStartsLateAtOnce) {
    ClipOptions clip;
    clip.audio = false;
    clip.seconds = 1;
    PlayOptions options;
    options.input = remuxed(testClip(clip), {"-itsoffset", "2"},
                            {"-c", "copy", "-muxdelay", "0", "-copyts"}, "late.ts");
    ASSERT_NE(MediaProbe(options.input).video(), nullptr);
    const Played played = playToEnd(options);
    ASSERT_EQ(played.progress.shownFrames + played.progress.droppedFrames, 25);
    EXPECT_EQ(played.pictures.front().mediaTimeUs, 0);
    EXPECT_LT(played.endUs - played.progress.startTimeUs, 2'000'000);
}

// ---- Pictures that come late --------------------------------------------------------------------

class StallTest : public testing::Test {
  protected:
    static constexpr int kPictures = 75;
    static constexpr int kStallPicture = 30;
    static constexpr std::chrono::milliseconds kStall{700};
    static constexpr int64_t kPictureUs = 40'000;

    void SetUp() override {
        StallingDecoder::install();
        StallingDecoder::setStall(kStallPicture, kStall);
        mOptions.input = testClip({});
    }
    void TearDown() override { StallingDecoder::setStall(-1, std::chrono::milliseconds(0)); }

    PlayOptions mOptions;
};

TEST_F(StallTest, dropsWhatIsTooLateAndCatchesUp) {
    mOptions.sound = kRecorded;
    const Played played = playToEnd(mOptions);
    EXPECT_EQ(played.progress.shownFrames + played.progress.droppedFrames, kPictures);
    EXPECT_EQ(static_cast<int64_t>(played.pictures.size()), played.progress.shownFrames);
    // Some pictures are decoded ahead and bridge a part of the stall.
    constexpr int64_t kMostAhead = 10;
    EXPECT_GE(played.progress.droppedFrames, kStall.count() * 1000 / kPictureUs - kMostAhead);
    const auto afterStall = std::count_if(
            played.pictures.begin(), played.pictures.end(), [](const RecordedPicture& picture) {
                return picture.mediaTimeUs > kStallPicture * kPictureUs + kStall.count() * 1000;
            });
    EXPECT_GT(afterStall, 0);
    // The sound goes on.
    EXPECT_EQ(played.ends, 1);
    EXPECT_NEAR(played.endUs - played.progress.startTimeUs, 3'000'000, 150'000);
    EXPECT_NEAR(played.heard.audible().size() / 48000.0, 3, 0.3);
}

TEST_F(StallTest, freeRunDropsNothing) {
    mOptions.freeRun = true;
    const Played played = playToEnd(mOptions);
    EXPECT_EQ(played.progress.shownFrames, kPictures);
    EXPECT_EQ(played.progress.droppedFrames, 0);
}

// ---- One kind of stream -------------------------------------------------------------------------

struct StreamCase {
    const char* name;
    const char* clip;
    int onlyTrack;
    bool tunneled;
    int64_t pictures;
    bool sound;
};

class StreamTest : public testing::TestWithParam<StreamCase> {};

// A tunneled picture is counted on its way into the codec, which drops by itself what is late.
void expectAllPictures(const Played& played, const StreamCase& test) {
    if (test.tunneled) {
        EXPECT_LE(static_cast<int64_t>(played.pictures.size()), test.pictures);
        EXPECT_EQ(played.pictures.empty(), test.pictures == 0);
    } else {
        EXPECT_EQ(played.progress.shownFrames + played.progress.droppedFrames, test.pictures);
    }
    for (size_t i = 1; i < played.pictures.size(); ++i) {
        EXPECT_GT(played.pictures[i].mediaTimeUs, played.pictures[i - 1].mediaTimeUs);
    }
}

// Sound is left out after the pauses of a machine that stands still.
std::string missingSound(const HeardSound& heard, const Sound& source) {
    const double seconds = static_cast<double>(heard.audible().size()) / heard.sampleRate;
    const double louderDb =
            energyDb(heard.samples, heard.sampleRate) - energyDb(source.mono(), source.sampleRate);
    if (std::fabs(seconds - source.seconds()) < 0.15 && std::fabs(louderDb) < 1.5) return "";
    return "heard " + std::to_string(seconds) + " of " + std::to_string(source.seconds()) +
           " s, louder by " + std::to_string(louderDb) + " dB";
}

TEST_P(StreamTest, playsWhatThereIsToItsEnd) {
    const StreamCase& test = GetParam();
    PlayOptions options;
    options.input = mediaPath(test.clip);
    options.onlyTrack = test.onlyTrack;
    options.tunneled = test.tunneled;
    if (test.sound) options.sound = kRecorded;
    EXPECT_EQ(missedEachTime([&]() -> std::string {
                  const Played played = playToEnd(options);
                  EXPECT_EQ(played.ends, 1);
                  expectAllPictures(played, test);
                  if (!test.sound) return "";
                  return missingSound(played.heard, decodeSound(options.input));
              }),
              "");
}

INSTANTIATE_TEST_SUITE_P(
        Playbacks, StreamTest,
        testing::Values(StreamCase{"SoundOfBoth", "bunny_480i_tff_mpeg2_mp2.ts",
                                   android::CODEC_AUDIO_ONLY, false, 0, true},
                        StreamCase{"PictureOfBoth", "bunny_480i_tff_mpeg2_mp2.ts",
                                   android::CODEC_VIDEO_ONLY, false, 30, false},
                        StreamCase{"PictureOddSize", "bear_161x121_vp9.webm",
                                   android::CODEC_VIDEO_ONLY, false, 30, false},
                        StreamCase{"TunneledBoth", "bunny_480i_tff_mpeg2_mp2.ts", 0, true, 30,
                                   true},
                        StreamCase{"TunneledPictureOfBoth", "bunny_480i_tff_mpeg2_mp2.ts",
                                   android::CODEC_VIDEO_ONLY, true, 30, false},
                        StreamCase{"TunneledSoundOfBoth", "bunny_480i_tff_mpeg2_mp2.ts",
                                   android::CODEC_AUDIO_ONLY, true, 0, true},
                        StreamCase{"TunneledNoSound", "bunny_480p_hevc.mp4", 0, true, 30, false},
                        StreamCase{"TunneledNoPicture", "roar.mp3", 0, true, 0, true}),
        [](const auto& info) { return info.param.name; });

// Sound is heard although the pictures before it are nothing but noise.
TEST(PacingTest, playsSoundOfFileWithoutAnyUsablePicture) {
    ClipOptions clip;
    clip.seconds = 2;
    PlayOptions options;
    options.input =
            remuxed(testClip(clip), {}, {"-c", "copy", "-bsf:v", "noise=amount=1"}, "noise.mp4");
    options.sound = kRecorded;
    ASSERT_EQ(MediaProbe(options.input).video()->frameCount, 0);
    const Played played = playToEnd(options);
    EXPECT_EQ(played.ends, 1);
    EXPECT_TRUE(played.pictures.empty());
    EXPECT_NEAR(static_cast<double>(played.heard.audible().size()) / played.heard.sampleRate, 2,
                0.1);
    EXPECT_NEAR(dominantFrequency(played.heard.audible(), played.heard.sampleRate), 440, 10);
}

// ---- Frame rates --------------------------------------------------------------------------------

TEST(PacingTest, reportsFrameRatesOnlyWhenAsked) {
    ClipOptions clip;
    clip.seconds = 2;
    clip.audio = false;
    PlayOptions options;
    options.input = testClip(clip);
    for (const double intervalSec : {0.25, 0.0, -1.0}) {
        SCOPED_TRACE(intervalSec);
        options.frameRateIntervalSec = intervalSec;
        options.freeRun = intervalSec <= 0;
        const Played played = playToEnd(options);
        if (intervalSec <= 0) {
            EXPECT_TRUE(played.instantRates.empty());
            EXPECT_TRUE(played.averageRates.empty());
            continue;
        }
        EXPECT_GE(played.instantRates.size(), 4U);
        EXPECT_LE(played.instantRates.size(), 8U);
        ASSERT_EQ(played.averageRates.size(), 1U);
        const double playedSec = (played.endUs - played.progress.startTimeUs) / 1e6;
        EXPECT_NEAR(played.averageRates[0] * playedSec / played.progress.shownFrames, 1, 0.1);
    }
}

}  // namespace
}  // namespace oxa::test
