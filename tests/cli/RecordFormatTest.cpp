// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "RecordFormat.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace oxaplayer {
namespace {

using android::CameraParameters;
using testing::HasSubstr;

CameraParameters camera(int rate) {
    CameraParameters parameters;
    parameters.set(CameraParameters::KEY_SUPPORTED_PREVIEW_SIZES, "640x360,320x180");
    parameters.set(CameraParameters::KEY_SUPPORTED_VIDEO_SIZES, "640x360,1280x720,320x180");
    parameters.set(CameraParameters::KEY_SUPPORTED_PREVIEW_FRAME_RATES, "5,15,30,60");
    parameters.setPreviewSize(640, 360);
    parameters.setVideoSize(640, 360);
    parameters.setPreviewFrameRate(rate);
    return parameters;
}

// A size that the camera lacks would end the process.
TEST(RecordFormat, sizeIsOneThatTheCameraHas) {
    const struct {
        bool isHdmi;
        std::optional<Size> size;
        const char* cause;  // null: accepted
    } kCases[] = {{false, {}, nullptr},
                  {false, Size{320, 180}, nullptr},
                  {false, Size{1280, 720}, "640x360, 320x180"},
                  {false, Size{322, 180}, "--size '322x180'"},
                  {true, Size{1280, 720}, nullptr},
                  {true, Size{1280, 724}, "--size"},
                  {true, Size{1280, 180}, "--size"}};
    for (const auto& test : kCases) {
        const Size wanted = test.size.value_or(Size{640, 360});
        SCOPED_TRACE(std::to_string(wanted.width) + "x" + std::to_string(wanted.height));
        EncodeOptions options;
        options.size = test.size;
        android::_AV_FORMAT_FORMAT format = {};
        int32_t frameRate = 0;
        const auto failure =
                chooseVideoFormat(options, camera(30), test.isHdmi, &format, &frameRate);
        EXPECT_EQ(format.width, wanted.width);
        EXPECT_EQ(format.height, wanted.height);
        ASSERT_EQ(failure.has_value(), test.cause != nullptr);
        if (!failure) continue;
        EXPECT_EQ(failure->code, ExitCode::kUsage);
        EXPECT_THAT(failure->text, HasSubstr(test.cause));
    }
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
        android::_AV_FORMAT_FORMAT format = {};
        int32_t frameRate = 0;
        ASSERT_FALSE(chooseVideoFormat(options, camera(test.source), true, &format, &frameRate));
        EXPECT_EQ(kHighestHdmiFrameRate / format.frameRate, test.step);
        EXPECT_EQ(frameRate, test.expected);
    }
}

TEST(RecordFormat, cameraRateIsAListedOne) {
    EncodeOptions options;
    android::_AV_FORMAT_FORMAT format = {};
    int32_t frameRate = 0;
    ASSERT_FALSE(chooseVideoFormat(options, camera(60), false, &format, &frameRate));
    EXPECT_EQ(format.frameRate, 60);
    options.frameRate = 6;
    const auto failure = chooseVideoFormat(options, camera(60), false, &format, &frameRate);
    ASSERT_TRUE(failure);
    EXPECT_THAT(failure->text, HasSubstr("5,15,30,60"));
}

}  // namespace
}  // namespace oxaplayer
