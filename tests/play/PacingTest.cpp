// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/CodecShim.h"
#include "support/LibraryPlay.h"
#include "support/MediaProbe.h"
#include "support/Sound.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using oxa::host::RecordedPicture;

std::atomic<int> gStallPicture{-1};
constexpr std::chrono::milliseconds kStall{700};

// The platform's AVC decoder, which stands still for a while before one of its pictures, counted
// from 0.
class StallingDecoder : public CodecShim {
  public:
    using CodecShim::CodecShim;

  private:
    void onOutput(const android::CodecOutput& output) override {
        if (output.picture != nullptr && mPictures++ == gStallPicture) {
            std::this_thread::sleep_for(kStall);
        }
        CodecShim::onOutput(output);
    }

    int mPictures = 0;
};

// A clip through the `ffmpeg` command with options (words) before and behind its name.
std::string remuxed(const std::string& source, const std::string& before, const std::string& after,
                    const std::string& name) {
    const std::string output = TempDir::ofProcess().file(name);
    runOrDie(ffmpeg(joined(joined(words(before), {"-i", source}), joined(words(after), {output}))));
    return output;
}

// The part from the first to the last sample that is not silent.
std::vector<float> audible(const Sound& heard) {
    const std::vector<float> samples = heard.mono();
    const auto isHeard = [](float sample) { return std::fabs(sample) > 0.002F; };
    const auto first = std::find_if(samples.begin(), samples.end(), isHeard);
    const auto last = std::find_if(samples.rbegin(), samples.rend(), isHeard).base();
    return first < last ? std::vector<float>(first, last) : std::vector<float>();
}

double audibleSec(const Played& played) {
    return static_cast<double>(audible(played.heard).size()) / played.heard.sampleRate;
}

// ---- The first picture --------------------------------------------------------------------------

TEST(PacingTest, holdsFirstPictureThatIsLateInTheFile) {
    PlayOptions options;
    options.input = mediaPath("friday_video_starts_1s.mp4");
    options.recordSound = true;
    const Played played = LibraryPlay(options).playToEnd();
    ASSERT_FALSE(played.pictures.empty());
    const RecordedPicture& first = played.pictures.front();
    EXPECT_NEAR(first.mediaTimeUs, 1'000'000, 1000);
    EXPECT_GE(first.arrivalUs, played.progress.startTimeUs + 1'000'000);
    // The sound does not wait for it.
    EXPECT_LT(played.heard.timeUs(0), played.progress.startTimeUs + 900'000);
    EXPECT_GT(levelDb(window(played.heard.mono(), played.heard.sampleRate, 0, 0.9)), -60);
}

// Without sound such a file's own start is late, and that is taken off.
TEST(PacingTest, showsFirstPictureOfFileThatStartsLateAtOnce) {
    ClipOptions clip;
    clip.audio = false;
    clip.seconds = 1;
    const std::string late =
            remuxed(testClip(clip), "-itsoffset 2", "-c copy -muxdelay 0 -copyts", "late.ts");
    ASSERT_NE(MediaProbe(late).video(), nullptr);
    const Played played = LibraryPlay({late}).playToEnd();
    ASSERT_EQ(played.progress.shownFrames + played.progress.droppedFrames, 25);
    EXPECT_EQ(played.pictures.front().mediaTimeUs, 0);
    EXPECT_LT(played.endUs - played.progress.startTimeUs, 3'000'000);
}

TEST(PacingTest, stopLeavesOutThePictureThatIsNotDue) {
    const auto stopBeforeTheFirst = []() -> std::string {
        LibraryPlay play({mediaPath("friday_video_starts_1s.mp4")});
        play.prepare();
        play.run();
        android::_PLAYBACK_PROGRESS progress = {};
        EXPECT_TRUE(waitFor([&] {
            play.player().getPlaybackProgress(&progress);
            return progress.startTimeUs != 0;
        }));
        play.stop();
        play.player().getPlaybackProgress(&progress);
        return progress.shownFrames == 0 ? "" : "a picture was shown";
    };
    EXPECT_EQ(missedEachTime(stopBeforeTheFirst), "");
}

// ---- Pictures that come late --------------------------------------------------------------------

class StallTest : public testing::Test {
  protected:
    static constexpr int kPictures = 75;
    static constexpr int kStallPicture = 30;
    static constexpr int64_t kPictureUs = 40'000;

    void SetUp() override {
        installShim<StallingDecoder>("video/avc", android::CodecDirection::kDecoder);
        gStallPicture = kStallPicture;
        mOptions.input = testClip({});
    }
    void TearDown() override { gStallPicture = -1; }

    PlayOptions mOptions;
};

TEST_F(StallTest, dropsWhatIsTooLateAndCatchesUp) {
    mOptions.recordSound = true;
    Played played;
    // Some are on their way when the machine itself stands still.
    constexpr int64_t kMostLateUs = 50'000;
    const auto isLate = [&played](const RecordedPicture& picture) {
        return picture.arrivalUs - picture.mediaTimeUs - played.progress.startTimeUs > kMostLateUs;
    };
    // The sound goes on through the stall.
    EXPECT_EQ(missedEachTime([&]() -> std::string {
                  played = LibraryPlay(mOptions).playToEnd();
                  const auto late =
                          std::count_if(played.pictures.begin(), played.pictures.end(), isLate);
                  const int64_t lastedUs = played.endUs - played.progress.startTimeUs;
                  const double heardSec = audibleSec(played);
                  const bool isInTime = late <= 2 && std::abs(lastedUs - 3'000'000) <= 150'000 &&
                                        std::abs(heardSec - 3) <= 0.3;
                  return isInTime ? ""
                                  : std::to_string(late) + " pictures were late, the end came at " +
                                            std::to_string(lastedUs) + " us, of the sound " +
                                            std::to_string(heardSec) + " s";
              }),
              "");
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
    EXPECT_EQ(played.ends, 1);
}

TEST_F(StallTest, freeRunDropsNothing) {
    mOptions.freeRun = true;
    const Played played = LibraryPlay(mOptions).playToEnd();
    EXPECT_EQ(played.progress.shownFrames, kPictures);
    EXPECT_EQ(played.progress.droppedFrames, 0);
}

// ---- One kind of stream -------------------------------------------------------------------------

struct StreamCase : Named {
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

// Half of the pictures are at most this late, and none comes before its time.
std::string lateness(const Played& played) {
    constexpr int64_t kMaxMedianLateUs = 30'000;
    std::vector<int64_t> lateUs;
    for (const RecordedPicture& picture : played.pictures)
        lateUs.push_back(picture.arrivalUs - played.progress.startTimeUs - picture.mediaTimeUs);
    if (lateUs.empty()) return "";
    std::sort(lateUs.begin(), lateUs.end());
    EXPECT_GE(lateUs.front(), 0);
    const int64_t medianUs = lateUs[lateUs.size() / 2];
    return medianUs < kMaxMedianLateUs ? "" : "late by " + std::to_string(medianUs) + " us";
}

// Sound is left out after the pauses of a machine that stands still.
std::string missingSound(const Sound& heard, const Sound& source) {
    const double seconds = static_cast<double>(audible(heard).size()) / heard.sampleRate;
    const double louderDb =
            energyDb(heard.mono(), heard.sampleRate) - energyDb(source.mono(), source.sampleRate);
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
    options.recordSound = test.sound;
    EXPECT_EQ(missedEachTime([&]() -> std::string {
                  const Played played = LibraryPlay(options).playToEnd();
                  EXPECT_EQ(played.ends, 1);
                  expectAllPictures(played, test);
                  const std::string late = test.tunneled ? "" : lateness(played);
                  if (!test.sound) return late;
                  EXPECT_EQ(played.soundTracks, 1);
                  return late + missingSound(played.heard, decodeSound(options.input));
              }),
              "");
}

constexpr char kBoth[] = "bunny_480i_tff_mpeg2_mp2.ts";
constexpr int kSoundOnly = android::CODEC_AUDIO_ONLY;
constexpr int kPictureOnly = android::CODEC_VIDEO_ONLY;
const StreamCase kStreams[] = {
        {"Both", kBoth, 0, false, 30, true},
        {"LateSound", "friday_audio_starts_1200ms.mp4", 0, false, 92, true},
        {"LatePicture", "friday_video_starts_1s.mp4", 0, false, 92, true},
        {"SoundOfBoth", kBoth, kSoundOnly, false, 0, true},
        {"PictureOfBoth", kBoth, kPictureOnly, false, 30, false},
        {"TunneledBoth", kBoth, 0, true, 30, true},
        {"TunneledPictureOfBoth", kBoth, kPictureOnly, true, 30, false},
        {"TunneledSoundOfBoth", kBoth, kSoundOnly, true, 0, true},
        {"TunneledNoSound", "bunny_480p_hevc.mp4", 0, true, 30, false},
        {"TunneledNoPicture", "roar.mp3", 0, true, 0, true},
};

INSTANTIATE_TEST_SUITE_P(Playbacks, StreamTest, testing::ValuesIn(kStreams), rowName<StreamCase>);

// Sound is heard although the pictures before it are nothing but noise.
TEST(PacingTest, playsSoundOfFileWithoutAnyUsablePicture) {
    ClipOptions clip;
    clip.seconds = 2;
    PlayOptions options;
    options.input = remuxed(testClip(clip), "", "-c copy -bsf:v noise=amount=1", "noise.mp4");
    options.recordSound = true;
    ASSERT_EQ(MediaProbe(options.input).video()->frameCount, 0);
    Played played;
    EXPECT_EQ(missedEachTime([&]() -> std::string {
                  played = LibraryPlay(options).playToEnd();
                  const double sec = audibleSec(played);
                  return std::abs(sec - 2) <= 0.1 ? "" : std::to_string(sec) + " s of sound";
              }),
              "");
    EXPECT_EQ(played.ends, 1);
    EXPECT_TRUE(played.pictures.empty());
    EXPECT_NEAR(dominantFrequency(audible(played.heard), played.heard.sampleRate), 440, 10);
}

// ---- Frame rates --------------------------------------------------------------------------------

// Two seconds.
std::string silentClip() {
    ClipOptions clip;
    clip.seconds = 2;
    clip.audio = false;
    return testClip(clip);
}

TEST(PacingTest, reportsFrameRatesOnlyWhenAsked) {
    PlayOptions options;
    options.input = silentClip();
    for (const double intervalSec : {0.25, 0.0, -1.0}) {
        SCOPED_TRACE(intervalSec);
        options.frameRateIntervalSec = intervalSec;
        options.freeRun = intervalSec <= 0;
        const Played played = LibraryPlay(options).playToEnd();
        if (intervalSec <= 0) {
            EXPECT_TRUE(played.instantRates.empty());
            EXPECT_TRUE(played.averageRates.empty());
            continue;
        }
        EXPECT_GE(played.instantRates.size(), 4U);
        EXPECT_LE(played.instantRates.size(), 8U);
        // Of 25 a second; two may have been a little late.
        for (const double rate : played.instantRates)
            EXPECT_LE(rate, (0.25 * 25 + 2) / 0.25);
        ASSERT_EQ(played.averageRates.size(), 1U);
        const double playedSec = (played.endUs - played.progress.startTimeUs) / 1e6;
        EXPECT_NEAR(played.averageRates[0] * playedSec / played.progress.shownFrames, 1, 0.1);
    }
}

// Whoever asks anew hears of what came since, over the whole time, by design.
TEST(PacingTest, countsAnewForTheAverageWhenItIsAskedForAgain) {
    using namespace android;
    constexpr double kNoInstantRates = 60;
    PlayOptions options;
    options.input = silentClip();
    options.frameRateIntervalSec = kNoInstantRates;
    LibraryPlay play(options);
    ASSERT_NO_FATAL_FAILURE(play.prepare());
    ASSERT_NO_FATAL_FAILURE(play.run());
    _PLAYBACK_PROGRESS progress = {};
    ASSERT_TRUE(waitFor([&] {
        play.player().getPlaybackProgress(&progress);
        return progress.shownFrames >= 25;
    }));
    const int64_t before = progress.shownFrames;
    EXPECT_EQ(play.player().setCalculateFPS(kNoInstantRates), OK);
    const auto* reports = static_cast<Reports*>(play.player().mStatusHandler.get());
    ASSERT_TRUE(waitFor([&] { return reports->count(kWhatPlayerEOS) > 0; }));
    play.player().getPlaybackProgress(&progress);
    const auto rates = reports->items(&AMessage::findDouble, "average-fps");
    ASSERT_EQ(rates.size(), 1U);
    const double playedSec = (reports->firstUs(kWhatPlayerEOS) - progress.startTimeUs) / 1e6;
    EXPECT_LE(rates[0] * playedSec, progress.shownFrames - before + 2);
}

}  // namespace
}  // namespace oxa::test
