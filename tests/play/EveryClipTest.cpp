// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <cctype>
#include <cstdlib>
#include <sstream>

#include "support/LibraryPlay.h"
#include "support/LogCapture.h"
#include "support/MediaProbe.h"
#include "support/Sound.h"
#include "support/Test.h"
#include "support/Watchdog.h"

namespace oxa::test {
namespace {

using android::LogCapture;
using oxa::host::RecordedPicture;

constexpr int64_t kMaxTimeErrorUs = 1000;
constexpr int64_t kMaxEndErrorUs = 150'000;
constexpr int64_t kMaxMedianLateUs = 30'000;

int64_t endUs(const MediaProbe& probe) {
    int64_t end = 0;
    for (const StreamProbe* stream : {probe.video(), probe.audio()}) {
        if (stream != nullptr) end = std::max(end, stream->endUs);
    }
    return end;
}

int endReports(const LogCapture& log, const std::string& item) {
    return log.count("OxaMediaCodecPlayer", "Received kWhatDecodeGotEOS:" + item);
}

// Each picture that was shown is one of the file's, upright, and later in it than the one before.
void expectPicturesInOrder(const std::vector<RecordedPicture>& shown,
                           const std::vector<ExpectedPicture>& expected, int rotation) {
    const bool turned = rotation % 180 != 0;
    size_t next = 0;
    for (const RecordedPicture& picture : shown) {
        while (next < expected.size() &&
               expected[next].timeUs < picture.mediaTimeUs - kMaxTimeErrorUs)
            ++next;
        ASSERT_LT(next, expected.size()) << picture.mediaTimeUs;
        const ExpectedPicture& source = expected[next++];
        ASSERT_NEAR(picture.mediaTimeUs, source.timeUs, kMaxTimeErrorUs);
        ASSERT_EQ(picture.width, turned ? source.height : source.width);
        ASSERT_EQ(picture.height, turned ? source.width : source.height);
        if (rotation == 0) {
            ASSERT_EQ(picture.hash, source.hash) << picture.mediaTimeUs;
        }
    }
}

// All pictures of the file, but for those that were dropped, and one end.
void expectAllPictures(const Played& played, const MediaProbe& probe, const std::string& path) {
    const std::vector<ExpectedPicture> expected = expectedPictures(path);
    EXPECT_EQ(played.ends, 1);
    EXPECT_EQ(played.progress.shownFrames + played.progress.droppedFrames,
              static_cast<int64_t>(expected.size()));
    EXPECT_EQ(static_cast<int64_t>(played.pictures.size()), played.progress.shownFrames);
    expectPicturesInOrder(played.pictures, expected,
                          probe.video() != nullptr ? probe.video()->rotation : 0);
}

// ---- As fast as they come -----------------------------------------------------------------------

class FreeRunTest : public testing::TestWithParam<std::string> {};

TEST_P(FreeRunTest, showsEveryPictureAndEndsOnce) {
    const std::string path = mediaPath(GetParam());
    const MediaProbe probe(path);
    const LogCapture log;
    PlayOptions options;
    options.input = path;
    options.freeRun = true;
    const Played played = LibraryPlay(options).playToEnd();

    expectAllPictures(played, probe, path);
    EXPECT_EQ(played.progress.droppedFrames, 0);
    if (!played.pictures.empty()) {
        EXPECT_EQ(played.progress.videoTimeUs, played.pictures.back().mediaTimeUs);
    }
    EXPECT_EQ(endReports(log, "EOSVideoReached"), probe.video() != nullptr);
    EXPECT_EQ(endReports(log, "NO_VIDEO_TRACK"), probe.video() == nullptr);
    EXPECT_EQ(endReports(log, "EOSAudioReached"), probe.audio() != nullptr);
    EXPECT_EQ(endReports(log, "NO_AUDIO_TRACK"), probe.audio() == nullptr);
}

INSTANTIATE_TEST_SUITE_P(Clips, FreeRunTest, testing::ValuesIn(mediaClips()), [](const auto& info) {
    std::string name = info.param;
    std::replace_if(
            name.begin(), name.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');
    return name;
});

// ---- In time ------------------------------------------------------------------------------------

// With the name of its clip.
using PacedResult = std::pair<std::string, Played>;

Played playPaced(const std::string& name) {
    PlayOptions options;
    options.input = mediaPath(name);
    options.recordSound = MediaProbe(options.input).audio() != nullptr;
    return LibraryPlay(options).playToEnd();
}

// All clips that are not long, several at once in this process, each with the next one behind it.
std::vector<PacedResult> playAllPaced(size_t atOnce) {
    constexpr int64_t kLongestUs = 7'000'000;
    std::vector<std::pair<int64_t, std::string>> clips;
    for (const std::string& name : mediaClips()) {
        const int64_t clipEndUs = endUs(MediaProbe(mediaPath(name)));
        if (clipEndUs < kLongestUs) clips.emplace_back(clipEndUs, name);
    }
    // The longest first, so that all lanes end at about the same time.
    std::sort(clips.rbegin(), clips.rend());
    std::vector<PacedResult> results(clips.size());
    std::atomic<size_t> next{0};
    std::vector<std::thread> lanes;
    for (size_t lane = 0; lane < atOnce; ++lane) {
        lanes.emplace_back([&] {
            for (size_t i = next++; i < clips.size(); i = next++)
                results[i] = {clips[i].second, playPaced(clips[i].second)};
        });
    }
    for (std::thread& lane : lanes)
        lane.join();
    return results;
}

// Half of the pictures are at most this late.
int64_t medianLateUs(const Played& result) {
    std::vector<int64_t> lateUs;
    for (const RecordedPicture& picture : result.pictures) {
        const int64_t dueUs = result.progress.startTimeUs + picture.mediaTimeUs;
        EXPECT_GE(picture.arrivalUs, dueUs) << "a picture came before its time";
        lateUs.push_back(picture.arrivalUs - dueUs);
    }
    if (lateUs.empty()) return 0;
    std::sort(lateUs.begin(), lateUs.end());
    return lateUs[lateUs.size() / 2];
}

// What is not as it is on a machine that has time for the clip; empty: nothing.
std::string delay(const Played& result, const MediaProbe& probe) {
    const int64_t playedUs = result.endUs - result.progress.startTimeUs;
    const int64_t lateUs = medianLateUs(result);
    std::ostringstream text;
    if (std::llabs(playedUs - endUs(probe)) > kMaxEndErrorUs) {
        text << " took " << playedUs << " us instead of " << endUs(probe);
    }
    if (lateUs >= kMaxMedianLateUs) text << " showed half of its pictures " << lateUs << " us late";
    if (result.progress.droppedFrames > result.progress.shownFrames) {
        text << " dropped " << result.progress.droppedFrames << " pictures";
    }
    return text.str();
}

void expectWholeSound(const Sound& heard, const StreamProbe& audio, const Sound& source) {
    constexpr double kOutputBufferS = 0.15;
    constexpr double kQuietDb = -60;
    EXPECT_EQ(heard.sampleRate, audio.sampleRate);
    EXPECT_EQ(heard.channels, audio.channels);
    EXPECT_GT(heard.seconds(), audio.durationUs() / 1e6 - kOutputBufferS);
    const std::vector<float> mono = source.mono();
    if (levelDb(mono) > kQuietDb) {
        EXPECT_NEAR(energyDb(heard.mono(), heard.sampleRate), energyDb(mono, source.sampleRate), 2);
    }
}

TEST(PacedTest, playsClipsInTheirTimeSeveralAtOnce) {
    const Watchdog watchdog("playing all clips", std::chrono::minutes(4));
    std::vector<PacedResult> results;
    {
        const LogCapture log;
        results = playAllPaced(4);
        int videos = 0;
        int audios = 0;
        for (const auto& [name, played] : results) {
            const MediaProbe probe(mediaPath(name));
            videos += probe.video() != nullptr;
            audios += probe.audio() != nullptr;
        }
        EXPECT_EQ(endReports(log, "EOSVideoReached"), videos);
        EXPECT_EQ(endReports(log, "EOSAudioReached"), audios);
    }
    for (const auto& [name, played] : results) {
        SCOPED_TRACE(name);
        const std::string path = mediaPath(name);
        const MediaProbe probe(path);
        expectAllPictures(played, probe, path);
        if (probe.audio() != nullptr) {
            EXPECT_EQ(played.soundTracks, 1);
            expectWholeSound(played.heard, *probe.audio(), decodeSound(path));
        }
        // What is late is played again, alone.
        const auto miss = [&, &name = name, &first = played, isFirst = true]() mutable {
            return delay(std::exchange(isFirst, false) ? first : playPaced(name), probe);
        };
        EXPECT_EQ(missedEachTime(miss), "");
    }
}

}  // namespace
}  // namespace oxa::test
