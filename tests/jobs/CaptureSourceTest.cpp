// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "record/CaptureSource.h"

#include <filesystem>
#include <list>
#include <set>

#include "record/LivePlace.h"
#include "record/RecordFormat.h"
#include "support/Test.h"

namespace oxa::jobs {
namespace {

TEST(CaptureSource, fileOfAnyNameStandsInForASignalWithoutSound) {
    const test::TempDir folder;
    const std::string file = folder.file("we[i],rd':n\\a=me;.mp4");
    std::filesystem::copy(test::mediaPath("friday_video_starts_1s.mp4"), file);
    const test::TempDir silent;
    const std::string picture = silent.file("it's [a],\\ mute: film;.mp4");
    test::runOrDie({"ffmpeg", "-v", "error", "-i", file, "-an", "-c", "copy", picture});
    CaptureSource source;
    const auto failure = source.open({LiveSource::Kind::kHdmi, picture, {}}, Only::kBoth);
    ASSERT_FALSE(failure) << failure->text;
    EXPECT_FALSE(source.hasAudio());
    EXPECT_TRUE(source.isReadFrom(picture));
    EXPECT_FALSE(source.isReadFrom(file));
    EXPECT_GT(source.lengthUs().value_or(0), 1'000'000);
    EXPECT_FALSE(withSilence("v4l2:/dev/video0")) << "a device has no stand-in";
}

TEST(CaptureSource, nothingOfTheReceiverIsLeft) {
    const test::TempDir folder;
    setenv("TMPDIR", folder.path().c_str(), 1);
    {
        CaptureSource source;
        ASSERT_FALSE(source.open({LiveSource::Kind::kHdmi, "lavfi:testsrc2=size=320x180;sine", {}},
                                 Only::kBoth));
        EXPECT_FALSE(std::filesystem::is_empty(folder.path()));
    }
    unsetenv("TMPDIR");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

TEST(LivePlace, isOnesOwnUntilItIsLeft) {
    constexpr int kMost = 6;
    std::list<LivePlace> places;
    std::set<int> cameras;
    for (int i = 0; i < kMost; ++i) {
        ASSERT_TRUE(places.emplace_back().take()) << i;
        cameras.insert(places.back().camera());
    }
    EXPECT_EQ(cameras.size(), kMost);
    ASSERT_FALSE(places.emplace_back().take());
    places.pop_front();
    EXPECT_TRUE(places.back().take());
}

// The recorder would halve a signal of 12 pictures a second for a target of 12.
TEST(RecordFormat, hdmiRateGivesTheStepThatTheSignalNeeds) {
    const struct {
        int source;
        std::optional<int32_t> wanted;
        int32_t step;      // of the recorder, which counts from 30
        int32_t expected;  // pictures a second
    } kCases[] = {{60, {}, 1, 30}, {30, 30, 1, 30}, {30, 15, 2, 15}, {30, 20, 1, 30},
                  {30, 1, 30, 1},  {25, {}, 1, 25}, {25, 5, 5, 5},   {12, {}, 1, 12},
                  {12, 30, 1, 12}, {12, 4, 3, 4},   {12, 7, 1, 12},  {1, {}, 1, 1}};
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.source);
        EncodeOptions options;
        options.frameRate = test.wanted;
        android::CameraParameters camera;
        camera.set(android::CameraParameters::KEY_SUPPORTED_PREVIEW_SIZES, "640x360");
        camera.set(android::CameraParameters::KEY_SUPPORTED_VIDEO_SIZES, "640x360");
        camera.setPreviewSize(640, 360);
        camera.setPreviewFrameRate(test.source);
        android::_AV_FORMAT_FORMAT format = {};
        int32_t frameRate = 0;
        ASSERT_FALSE(chooseVideoFormat(options, camera, true, &format, &frameRate));
        EXPECT_EQ(kHighestHdmiFrameRate / format.frameRate, test.step);
        EXPECT_EQ(frameRate, test.expected);
    }
}

// Where none divides the length of a file, it is the shortest.
TEST(RecordFormat, keyFrameIntervalDividesTheLengthOfAFile) {
    EXPECT_EQ(keyFrameIntervalFor(8'000'000, 2), 2);
    EXPECT_EQ(keyFrameIntervalFor(9'000'000, 5), 3);
    EXPECT_EQ(keyFrameIntervalFor(1'500'000, 2), 1);
}

}  // namespace
}  // namespace oxa::jobs
