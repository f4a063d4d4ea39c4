// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <csignal>

#include "support/MediaProbe.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using testing::HasSubstr;

// An example with these arguments, on a machine without screen and sound card.
ProcessResult runExample(const std::string& name, const std::vector<std::string>& arguments) {
    return ProcessRunner(joined({OXA_EXAMPLES_PREFIX + name}, arguments))
            .setEnvironment("DISPLAY", "")
            .setEnvironment("WAYLAND_DISPLAY", "")
            .setEnvironment("SDL_AUDIODRIVER", "dummy")
            .run();
}

std::string shortClip(bool video = true, bool audio = true) {
    ClipOptions options;
    options.seconds = 1.6;
    options.video = video;
    options.audio = audio;
    return testClip(options);
}

TEST(PlayExample, playsInTimeWithoutWindow) {
    const ProcessResult result = runExample("play", {shortClip()});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("pictures are not shown: "));
    EXPECT_GE(result.duration.count(), 1500);
}

TEST(ListenExample, hearsRateAndEnd) {
    const ProcessResult result = runExample("listen", {shortClip()});
    EXPECT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.out, HasSubstr("the end after 40 pictures\n"));
}

TEST(TranscodeExample, keepsEveryTrackThatThereIs) {
    const TempDir folder;
    const std::string output = folder.file("out.mp4");
    for (const auto& [video, audio] : {std::pair(true, true), {true, false}, {false, true}}) {
        SCOPED_TRACE(video ? "picture" : "no picture");
        SCOPED_TRACE(audio ? "sound" : "no sound");
        const ProcessResult result = runExample("transcode", {shortClip(video, audio), output});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const MediaProbe probe(output);
        ASSERT_TRUE(probe.ok()) << probe.error();
        ASSERT_EQ(probe.video() != nullptr, video);
        ASSERT_EQ(probe.audio() != nullptr, audio);
        if (video) {
            EXPECT_EQ(probe.video()->frameCount, 40);
            EXPECT_EQ(probe.video()->width, 640);
            EXPECT_EQ(probe.video()->height, 360);
        }
        if (audio) {
            EXPECT_NEAR(probe.audio()->durationUs() / 1e6, 1.6, 0.1);
        }
    }
    const ProcessResult failed =
            runExample("transcode", {shortClip(), folder.file("missing") + "/out.mp4"});
    EXPECT_EQ(failed.exitCode, 1);
    EXPECT_THAT(failed.err, HasSubstr("cannot transcode "));
}

TEST(ConvertExample, keepsWhatIsDoneWhenItIsInterrupted) {
    const TempDir folder;
    const ProcessResult whole = runExample("convert", {shortClip(), folder.file("out.mp4")});
    EXPECT_EQ(whole.exitCode, 0) << whole.err;
    EXPECT_EQ(MediaProbe(folder.file("out.mp4")).video()->frameCount, 40);
    const std::string output = folder.file("short.mp4");
    const ProcessResult cut =
            ProcessRunner({OXA_EXAMPLES_PREFIX "convert", mediaPath("bunny_360p_aac51.ts"), output})
                    .signalOnText(SIGINT, " %")
                    .run();
    EXPECT_EQ(cut.exitCode, 1) << cut.err;
    EXPECT_THAT(cut.err, HasSubstr("cancelled"));
    if (cut.out.empty()) return;
    EXPECT_TRUE(MediaProbe(output).ok());
}

TEST(RecordExample, recordsPictureAndSound) {
    const TempDir folder;
    const std::string output = folder.file("out.mp4");
    const ProcessResult result = runExample("record", {output, "2"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const MediaProbe probe(output);
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    EXPECT_EQ(probe.video()->width, 640);
    EXPECT_GE(probe.video()->durationUs(), 1'950'000);
    // A busy machine begins late with it.
    EXPECT_GE(probe.audio()->durationUs(), 1'200'000);
    EXPECT_EQ(probe.audio()->channels, 2);
}

TEST(TelevisionExample, hearsWhatHappensAndKeepsWhatWasRecorded) {
    const TempDir folder;
    const std::string output = folder.file("out.mp4");
    const ProcessResult result =
            runExample("television", {OXA_SAMPLES "/cable-pulled.scenario", output, "5"});
    EXPECT_EQ(result.exitCode, 1) << result.err;
    EXPECT_THAT(result.out, HasSubstr("2.0 s: unplug\n"));
    EXPECT_THAT(result.out, HasSubstr("the device is gone\n"));
    const MediaProbe probe(output);
    ASSERT_TRUE(probe.ok()) << probe.error();
    EXPECT_GE(probe.video()->durationUs(), 1'000'000);
}

TEST(WrongUseTest, endsWithAMessageAndACode) {
    const TempDir folder;
    for (const std::string& name : words("play transcode record listen television convert")) {
        SCOPED_TRACE(name);
        const ProcessResult usage = runExample(name, {});
        EXPECT_EQ(usage.exitCode, 2);
        EXPECT_THAT(usage.err, HasSubstr("usage: "));
        if (name == "record" || name == "television") continue;
        for (const std::string& input : {folder.file("none.mp4"), garbageFile(50'000)}) {
            std::vector<std::string> arguments = {input};
            if (name == "transcode" || name == "convert")
                arguments.push_back(folder.file("out.mp4"));
            const ProcessResult result = runExample(name, arguments);
            EXPECT_EQ(result.exitCode, 1) << input << result.err;
            EXPECT_EQ(result.signal, 0) << input;
        }
    }
}

}  // namespace
}  // namespace oxa::test
