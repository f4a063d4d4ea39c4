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
constexpr char kBoth[] = "lavfi:testsrc2=size=320x180;sine";

// Devices do not exist here: what is refused must be refused without opening them.
TEST(CaptureSource, choiceIsCheckedBeforeAnythingIsOpened) {
    const struct {
        CaptureChoice choice;  // hdmi, usb, audio
        Only only;
        const char* cause;  // null: accepted
    } kCases[] = {{{}, Only::kBoth, "either --hdmi SOURCE or --usb SOURCE"},
                  {{"a.mp4", "b.mp4", {}}, Only::kBoth, "either --hdmi"},
                  {{{}, "", {}}, Only::kBoth, "no name"},
                  {{"lavfi:", {}, {}}, Only::kBoth, "after 'lavfi:'"},
                  {{{}, "v4l2:", {}}, Only::kBoth, "after 'v4l2:'"},
                  {{{}, kPicture, "alsa:"}, Only::kBoth, "after 'alsa:'"},
                  {{{}, "alsa:default", {}}, Only::kBoth, "picture"},
                  {{"pulse:mic", {}, {}}, Only::kVideo, "picture"},
                  {{{}, "v4l2:/dev/video0", {}}, Only::kAudio, "--audio"},
                  {{{}, kPicture, "v4l2:/x"}, Only::kBoth, "no sound"},
                  {{{}, kPicture, "none"}, Only::kAudio, "leave nothing"},
                  {{{}, kPicture, kSound}, Only::kVideo, "leaves out"},
                  {{{}, "v4l2:/dev/video0", "alsa:hw:1"}, Only::kBoth, nullptr},
                  {{{}, "alsa:default", {}}, Only::kAudio, nullptr},
                  {{"talk:", {}, "none"}, Only::kVideo, nullptr}};
    for (const auto& test : kCases) {
        const auto failure = checkChoice(test.choice, test.only);
        ASSERT_EQ(failure.has_value(), test.cause != nullptr) << (failure ? failure->text : "");
        if (!failure) continue;
        EXPECT_EQ(failure->code, ExitCode::kUsage);
        EXPECT_THAT(failure->text, HasSubstr(test.cause));
    }
}

TEST(CaptureSource, soundIsTheOneAskedForOrTheSourcesOwn) {
    const struct {
        CaptureChoice choice;
        Only only;
        bool hasVideo;
        const char* sound;
    } kCases[] = {{{{}, kBoth, {}}, Only::kBoth, true, kBoth},
                  {{{}, kPicture, {}}, Only::kBoth, true, ""},
                  {{{}, kBoth, kSound}, Only::kBoth, true, kSound},
                  {{{}, kBoth, "none"}, Only::kBoth, true, ""},
                  {{{}, kBoth, {}}, Only::kVideo, true, ""},
                  {{{}, kSound, {}}, Only::kAudio, false, kSound},
                  {{kBoth, {}, {}}, Only::kBoth, true, kBoth},
                  {{kPicture, {}, {}}, Only::kBoth, true, ""},
                  {{kPicture, {}, kSound}, Only::kBoth, true, kSound},
                  {{kSound, {}, {}}, Only::kAudio, false, kSound}};
    for (const auto& test : kCases) {
        SCOPED_TRACE(test.choice.source() + test.sound);
        CaptureSource source;
        const auto failure = source.open(test.choice, test.only);
        ASSERT_FALSE(failure) << failure->text;
        EXPECT_EQ(source.hasVideo(), test.hasVideo);
        EXPECT_EQ(source.soundName(), test.sound);
        EXPECT_EQ(source.hasAudio(), test.sound[0] != '\0');
    }
}

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
