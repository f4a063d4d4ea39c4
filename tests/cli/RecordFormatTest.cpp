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

struct FormatCase {
    const char* name;
    bool isHdmi;
    std::optional<Size> size;
    const char* cause;  // null: accepted
};

class RecordSizeTest : public testing::TestWithParam<FormatCase> {};

// A size that the camera lacks would end the process.
TEST_P(RecordSizeTest, isOneThatTheCameraHas) {
    EncodeOptions options;
    options.size = GetParam().size;
    android::_AV_FORMAT_FORMAT format = {};
    int32_t frameRate = 0;
    const auto failure =
            chooseVideoFormat(options, camera(30), GetParam().isHdmi, &format, &frameRate);
    if (GetParam().cause != nullptr) {
        ASSERT_TRUE(failure);
        EXPECT_EQ(failure->code, ExitCode::kUsage);
        EXPECT_THAT(failure->text, HasSubstr(GetParam().cause));
        return;
    }
    ASSERT_FALSE(failure) << failure->text;
    const Size wanted = GetParam().size.value_or(Size{640, 360});
    EXPECT_EQ(format.width, wanted.width);
    EXPECT_EQ(format.height, wanted.height);
}

INSTANTIATE_TEST_SUITE_P(
        Cameras, RecordSizeTest,
        testing::Values(FormatCase{"usbOwn", false, {}, nullptr},
                        FormatCase{"usbSmaller", false, Size{320, 180}, nullptr},
                        FormatCase{"usbLarger", false, Size{1280, 720}, "640x360, 320x180"},
                        FormatCase{"usbUnknown", false, Size{322, 180}, "--size '322x180'"},
                        FormatCase{"hdmiLarger", true, Size{1280, 720}, nullptr},
                        FormatCase{"hdmiUnknown", true, Size{1280, 724}, "--size"},
                        FormatCase{"hdmiMixed", true, Size{1280, 180}, "--size"}),
        [](const testing::TestParamInfo<FormatCase>& info) { return info.param.name; });

struct RateCase {
    int source;
    std::optional<int32_t> wanted;
    int32_t step;      // of the recorder, which counts from 30
    int32_t expected;  // pictures a second
};

class HdmiRateTest : public testing::TestWithParam<RateCase> {};

// The recorder would halve a signal of 12 pictures a second for a target of 12.
TEST_P(HdmiRateTest, givesTheStepThatTheSignalNeeds) {
    EncodeOptions options;
    options.frameRate = GetParam().wanted;
    android::_AV_FORMAT_FORMAT format = {};
    int32_t frameRate = 0;
    ASSERT_FALSE(chooseVideoFormat(options, camera(GetParam().source), true, &format, &frameRate));
    EXPECT_EQ(kHighestHdmiFrameRate / format.frameRate, GetParam().step);
    EXPECT_EQ(frameRate, GetParam().expected);
}

INSTANTIATE_TEST_SUITE_P(Signals, HdmiRateTest,
                         testing::Values(RateCase{60, {}, 1, 30}, RateCase{30, 30, 1, 30},
                                         RateCase{30, 15, 2, 15}, RateCase{30, 20, 1, 30},
                                         RateCase{30, 1, 30, 1}, RateCase{25, {}, 1, 25},
                                         RateCase{25, 5, 5, 5}, RateCase{12, {}, 1, 12},
                                         RateCase{12, 30, 1, 12}, RateCase{12, 4, 3, 4},
                                         RateCase{12, 7, 1, 12}, RateCase{1, {}, 1, 1}));

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
