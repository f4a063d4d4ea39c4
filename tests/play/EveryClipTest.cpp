// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <cctype>

#include "support/LibraryPlay.h"
#include "support/LogCapture.h"
#include "support/MediaProbe.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using android::LogCapture;
using oxa::host::RecordedPicture;

constexpr int64_t kMaxTimeErrorUs = 1000;

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

}  // namespace
}  // namespace oxa::test
