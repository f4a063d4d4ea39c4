// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "CaptureSource.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "support/ProcessRunner.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxaplayer {
namespace {

using testing::HasSubstr;

constexpr char kPicture[] = "lavfi:testsrc2=size=320x180";
constexpr char kSound[] = "lavfi:sine";

struct ChoiceCase {
    const char* name;
    CaptureChoice choice;  // hdmi, usb, audio
    Only only;
    const char* cause;  // null: accepted
};

class CaptureChoiceTest : public testing::TestWithParam<ChoiceCase> {};

// Devices do not exist here: what is refused must be refused without opening them.
TEST_P(CaptureChoiceTest, isCheckedBeforeAnythingIsOpened) {
    const auto failure = checkChoice(GetParam().choice, GetParam().only);
    if (GetParam().cause == nullptr) {
        EXPECT_FALSE(failure) << failure->text;
        return;
    }
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->code, ExitCode::kUsage);
    EXPECT_THAT(failure->text, HasSubstr(GetParam().cause));
}

INSTANTIATE_TEST_SUITE_P(
        Choices, CaptureChoiceTest,
        testing::Values(
                ChoiceCase{"nothing", {}, Only::kBoth, "either --hdmi SOURCE or --usb SOURCE"},
                ChoiceCase{"both", {"a.mp4", "b.mp4", {}}, Only::kBoth, "either --hdmi"},
                ChoiceCase{"emptyText", {{}, "", {}}, Only::kBoth, "no name"},
                ChoiceCase{"noGraph", {"lavfi:", {}, {}}, Only::kBoth, "after 'lavfi:'"},
                ChoiceCase{"noDevice", {{}, "v4l2:", {}}, Only::kBoth, "after 'v4l2:'"},
                ChoiceCase{"noMicrophone", {{}, kPicture, "alsa:"}, Only::kBoth, "after 'alsa:'"},
                ChoiceCase{"pictureOfSoundCard", {{}, "alsa:default", {}}, Only::kBoth, "picture"},
                ChoiceCase{"pictureOfServer", {"pulse:mic", {}, {}}, Only::kVideo, "picture"},
                ChoiceCase{"soundOfCamera", {{}, "v4l2:/dev/video0", {}}, Only::kAudio, "--audio"},
                ChoiceCase{"cameraAsSound", {{}, kPicture, "v4l2:/x"}, Only::kBoth, "no sound"},
                ChoiceCase{"nothingLeft", {{}, kPicture, "none"}, Only::kAudio, "leave nothing"},
                ChoiceCase{"leftOut", {{}, kPicture, kSound}, Only::kVideo, "leaves out"},
                ChoiceCase{"camera", {{}, "v4l2:/dev/video0", "alsa:hw:1"}, Only::kBoth, nullptr},
                ChoiceCase{"soundCard", {{}, "alsa:default", {}}, Only::kAudio, nullptr},
                ChoiceCase{"fileWithColon", {"talk:", {}, "none"}, Only::kVideo, nullptr}),
        [](const testing::TestParamInfo<ChoiceCase>& info) { return info.param.name; });

struct SoundCase {
    const char* name;
    CaptureChoice choice;
    Only only;
    bool hasVideo;
    const char* sound;
};

class CaptureSoundTest : public testing::TestWithParam<SoundCase> {};

TEST_P(CaptureSoundTest, isTheOneAskedForOrTheSourcesOwn) {
    CaptureSource source;
    const auto failure = source.open(GetParam().choice, GetParam().only);
    ASSERT_FALSE(failure) << failure->text;
    EXPECT_EQ(source.hasVideo(), GetParam().hasVideo);
    EXPECT_EQ(source.soundName(), GetParam().sound);
    EXPECT_EQ(source.hasAudio(), GetParam().sound[0] != '\0');
}

constexpr char kBoth[] = "lavfi:testsrc2=size=320x180;sine";

INSTANTIATE_TEST_SUITE_P(
        Choices, CaptureSoundTest,
        testing::Values(SoundCase{"usb", {{}, kBoth, {}}, Only::kBoth, true, kBoth},
                        SoundCase{"usbWithoutSound", {{}, kPicture, {}}, Only::kBoth, true, ""},
                        SoundCase{"usbOther", {{}, kBoth, kSound}, Only::kBoth, true, kSound},
                        SoundCase{"usbNone", {{}, kBoth, "none"}, Only::kBoth, true, ""},
                        SoundCase{"usbPicture", {{}, kBoth, {}}, Only::kVideo, true, ""},
                        SoundCase{"usbSound", {{}, kSound, {}}, Only::kAudio, false, kSound},
                        SoundCase{"hdmi", {kBoth, {}, {}}, Only::kBoth, true, kBoth},
                        SoundCase{"hdmiWithoutSound", {kPicture, {}, {}}, Only::kBoth, true, ""},
                        SoundCase{"hdmiOther", {kPicture, {}, kSound}, Only::kBoth, true, kSound},
                        SoundCase{"hdmiSound", {kSound, {}, {}}, Only::kAudio, false, kSound}),
        [](const testing::TestParamInfo<SoundCase>& info) { return info.param.name; });

TEST(CaptureSource, missingSoundIsAnErrorAndNotSilence) {
    for (const char* sound : {"alsa:no_such_device", "no_such_file.wav", kPicture}) {
        CaptureSource source;
        const auto failure = source.open({{}, kPicture, sound}, Only::kBoth);
        ASSERT_TRUE(failure) << sound;
        EXPECT_EQ(failure->code, ExitCode::kInput);
    }
}

TEST(CaptureSource, fileOfAnyNameStandsInForASignalWithoutSound) {
    const oxa::test::TempDir folder;
    const std::string file = folder.file("we[i],rd':n\\a=me;.mp4");
    std::filesystem::copy(oxa::test::mediaPath("friday_video_starts_1s.mp4"), file);
    const oxa::test::TempDir silent;
    const std::string picture = silent.file("it's [a],\\ mute: film;.mp4");
    oxa::test::runOrDie({"ffmpeg", "-v", "error", "-i", file, "-an", "-c", "copy", picture});
    CaptureSource source;
    const auto failure = source.open({picture, {}, {}}, Only::kBoth);
    ASSERT_FALSE(failure) << failure->text;
    EXPECT_FALSE(source.hasAudio());
    EXPECT_TRUE(source.isReadFrom(picture));
    EXPECT_FALSE(source.isReadFrom(file));
    EXPECT_GT(source.lengthUs().value_or(0), 1'000'000);
}

TEST(CaptureSource, signalOfADeviceHasNoStandIn) {
    EXPECT_FALSE(withSilence("v4l2:/dev/video0"));
}

TEST(CaptureSource, nothingOfTheReceiverIsLeft) {
    const oxa::test::TempDir folder;
    setenv("TMPDIR", folder.path().c_str(), 1);
    {
        CaptureSource source;
        ASSERT_FALSE(source.open({kBoth, {}, {}}, Only::kBoth));
        EXPECT_FALSE(std::filesystem::is_empty(folder.path()));
    }
    unsetenv("TMPDIR");
    EXPECT_TRUE(std::filesystem::is_empty(folder.path()));
}

}  // namespace
}  // namespace oxaplayer
