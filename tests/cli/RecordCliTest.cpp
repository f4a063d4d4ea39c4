// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using testing::AllOf;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;
using testing::UnorderedElementsAre;

const std::string kBoth =
        "lavfi:testsrc2=size=320x180:rate=30;sine=frequency=1000:sample_rate=48000";
const std::string kPicture = "lavfi:testsrc2=size=320x180:rate=30";
const std::string kSound = "lavfi:sine";

using Words = std::vector<std::string>;

// On a busy machine a recording is stopped late, or pictures are dropped and counted.
constexpr int kLateFrames = 45;
constexpr double kLateSec = 1.5;

class RecordCliTest : public testing::Test {
  protected:
    static Words record(Words source, const std::string& output, const Words& more = {}) {
        source.insert(source.begin(), "record");
        source.insert(source.end(), {"-o", output, "--preset", "ultrafast"});
        source.insert(source.end(), more.begin(), more.end());
        return source;
    }

    TempDir mFolder;
    const std::string mMp4 = mFolder.file("out.mp4");
};

// ---- What comes out -----------------------------------------------------------------------------

struct KindCase {
    const char* name;
    Words source;
    const char* file;
    int seconds;
    int frames;  // 0: no picture
    bool audio;
};

class RecordKindTest : public RecordCliTest, public testing::WithParamInterface<KindCase> {};

TEST_P(RecordKindTest, isRecordedWholeForAsLongAsAsked) {
    const KindCase& kind = GetParam();
    const std::string output = mFolder.file(kind.file);
    const ProcessResult result = runPlayer(
            record(kind.source, output, {"--duration", std::to_string(kind.seconds), "--json"}));
    ASSERT_EQ(result.exitCode, 0) << result.signal << result.err;
    const json last = eventsOf(result.out).back();
    const MediaProbe probe(output);
    ASSERT_TRUE(probe.ok()) << probe.error();
    ASSERT_EQ(probe.video() != nullptr, kind.frames > 0);
    ASSERT_EQ(probe.audio() != nullptr, kind.audio);
    if (kind.frames > 0) {
        EXPECT_GE(probe.video()->frameCount + last["dropped"].get<int>(), kind.frames - 1);
        EXPECT_LE(probe.video()->frameCount, kind.frames + kLateFrames);
        EXPECT_EQ(probe.video()->frameCount, last["frames"].get<int64_t>());
        EXPECT_EQ(probe.video()->decodeErrors, 0);
        EXPECT_EQ(probe.video()->firstUs(), 0);
    }
    if (kind.audio) {
        EXPECT_EQ(probe.audio()->codec, "aac");
        EXPECT_EQ(probe.audio()->channels, 2);
        EXPECT_EQ(probe.audio()->sampleRate, 48000);
        EXPECT_LE(probe.audio()->firstUs(), 50'000);
        // What is on its way when the recording is stopped is not waited for.
        EXPECT_GE(probe.audio()->durationUs(), kind.seconds * 500'000);
    }
    EXPECT_GE(last["duration_s"].get<double>(), kind.seconds - 0.2);
    EXPECT_LE(last["duration_s"].get<double>(), kind.seconds + kLateSec);
    EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre(kind.file));
}

INSTANTIATE_TEST_SUITE_P(
        Kinds, RecordKindTest,
        testing::Values(
                KindCase{"usb", {"--usb", kBoth}, "a.mp4", 2, 60, true},
                KindCase{"usbOtherSound",
                         {"--usb", kPicture, "--audio", kSound, "--fps", "15"},
                         "a.ts",
                         1,
                         15,
                         true},
                KindCase{"usbSound", {"--usb", kSound, "--only", "audio"}, "a.mp4", 1, 0, true},
                KindCase{"hdmi", {"--hdmi", kBoth}, "a.mp4", 1, 30, true},
                KindCase{"hdmiWithoutSound", {"--hdmi", kPicture}, "a.ts", 1, 30, false},
                KindCase{"hdmiOtherSound",
                         {"--hdmi", kPicture, "--audio", kSound, "--fps", "10"},
                         "a.mp4",
                         1,
                         10,
                         true},
                KindCase{"hdmiSound", {"--hdmi", kBoth, "--only", "audio"}, "a.ts", 1, 0, true}),
        [](const testing::TestParamInfo<KindCase>& info) { return info.param.name; });

TEST_F(RecordCliTest, sourceThatEndsEndsTheRecording) {
    const std::string clip = mFolder.file("clip.mp4");
    runOrDie({"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i",
              "testsrc2=size=320x180:rate=30", "-f", "lavfi", "-i", "sine", "-t", "1.5", "-c:v",
              "mpeg4", clip});
    for (const char* kind : {"--hdmi", "--usb"}) {
        const ProcessResult result = runPlayer(record({kind, clip}, mMp4, {"--force"}));
        ASSERT_EQ(result.exitCode, 0) << kind << result.err;
        const MediaProbe probe(mMp4);
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        EXPECT_GE(probe.video()->endUs, 1'000'000) << kind;
        EXPECT_LE(probe.video()->endUs, 1'500'000 + kLateSec * 1e6) << kind;
    }
}

TEST_F(RecordCliTest, sourceThatEndsTooEarlyIsAFailureWithAFile) {
    const ProcessResult result =
            runPlayer(record({"--usb", kPicture + ",trim=duration=1"}, mMp4, {"--duration", "60"}));
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_THAT(result.err, HasSubstr("ended before the duration"));
    EXPECT_THAT(result.err, HasSubstr(mMp4));
    EXPECT_NE(MediaProbe(mMp4).video(), nullptr);
}

TEST_F(RecordCliTest, streamGoesThroughAPipe) {
    const ProcessResult result =
            runPlayer(record({"--usb", kBoth}, "-", {"--duration", "1", "--json"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ASSERT_TRUE(writeFile(mFolder.file("pipe.ts"), result.out));
    const MediaProbe probe(mFolder.file("pipe.ts"));
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    const json last = eventsOf(result.err).back();
    EXPECT_EQ(probe.video()->frameCount, last["frames"].get<int64_t>());
    EXPECT_EQ(last["output"], "-");
}

// ---- Status -------------------------------------------------------------------------------------

TEST_F(RecordCliTest, levelOfTheSoundIsTold) {
    constexpr double kSineDb = -21.07;  // an amplitude of 1/8 on one channel, made two
    for (const char* kind : {"--hdmi", "--usb"}) {
        const ProcessResult result =
                runPlayer(record({kind, kBoth}, mMp4, {"--duration", "2.2", "--json", "--force"}));
        const auto progress = eventsNamed(eventsOf(result.out), "progress");
        ASSERT_FALSE(progress.empty()) << result.err;
        EXPECT_NEAR(progress.back()["level_db"].get<double>(), kSineDb, 0.2) << kind;
    }
}

TEST_F(RecordCliTest, eventsTellTheWholeRecording) {
    const ProcessResult result = runPlayer(
            record({"--hdmi", kBoth}, mMp4, {"--duration", "2.2", "--fps", "15", "--json"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto events = eventsOf(result.out);
    EXPECT_EQ(events.front()["event"], "start");
    EXPECT_EQ(events.front()["input"], kBoth);
    ASSERT_EQ(eventsNamed(events, "track").size(), 2u);
    EXPECT_EQ(eventsNamed(events, "track")[0]["width"], 320);
    EXPECT_EQ(eventsNamed(events, "track")[0]["frame_rate"], 15);
    const auto progress = eventsNamed(events, "progress");
    ASSERT_FALSE(progress.empty());
    EXPECT_GT(progress.back()["frames"], 0);
    EXPECT_GT(progress.back()["bytes"], 0);
    EXPECT_GT(progress.back()["fps"], 2);
    // Every second picture of the signal is left out.
    EXPECT_NEAR(progress.back()["thinned"].get<int>(), progress.back()["time_s"].get<double>() * 15,
                kLateFrames);
    EXPECT_GT(progress.back()["thinned"], 0);
    EXPECT_EQ(events.back()["event"], "result");
    EXPECT_EQ(events.back()["exit"], 0);
    EXPECT_GE(events.back()["frames"].get<int>() + events.back()["dropped"].get<int>(), 32);
    EXPECT_EQ(events.back()["bytes"], fileSize(mMp4));
}

// Neither a screen nor a sound card is needed to record.
TEST_F(RecordCliTest, previewAndMonitorDoWithoutScreenAndLoudspeaker) {
    for (const char* kind : {"--hdmi", "--usb"}) {
        const ProcessResult result =
                player(record({kind, kBoth}, mMp4,
                              {"--force", "--duration", "0.5", "--preview", "--monitor"}))
                        .setEnvironment("SDL_VIDEODRIVER", "nonsense")
                        .setEnvironment("SDL_AUDIODRIVER", "nonsense")
                        .run();
        ASSERT_EQ(result.exitCode, 0) << kind << result.err;
        EXPECT_THAT(result.err, HasSubstr("no window can be opened"));
        EXPECT_THAT(result.err, HasSubstr("no sound device can be opened"));
        EXPECT_NE(MediaProbe(mMp4).video(), nullptr);
    }
}

// ---- Ends ---------------------------------------------------------------------------------------

constexpr char kProgress[] = "\"event\":\"progress\"";

TEST_F(RecordCliTest, interruptIsTheProperEnd) {
    struct Case {
        Words options;
        int exitCode;
    };
    for (const Case& test : {Case{{"--json"}, 0}, Case{{"--json", "--duration", "60"}, 130}}) {
        Words options = test.options;
        options.push_back("--force");
        const ProcessResult result = player(record({"--usb", kBoth}, mMp4, options))
                                             .signalOnText(SIGINT, kProgress)
                                             .run();
        ASSERT_EQ(result.exitCode, test.exitCode) << result.signal << result.err;
        const json last = eventsOf(result.out).back();
        EXPECT_EQ(last["exit"], test.exitCode);
        EXPECT_EQ(last["output"], mMp4);
        const MediaProbe probe(mMp4);
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        EXPECT_EQ(probe.video()->frameCount, last["frames"].get<int64_t>());
        EXPECT_GT(probe.video()->frameCount, 10);
        EXPECT_EQ(probe.video()->decodeErrors, 0);
        EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre("out.mp4"));
    }
}

TEST_F(RecordCliTest, fullDiskEndsTheRecordingWithItsCause) {
    const std::string output = mFolder.file("out.ts");
    const ProcessResult full =
            player(record({"--usb", kBoth}, output)).setFileSizeLimit(400'000).run();
    EXPECT_EQ(full.exitCode, 4) << full.signal << full.err;
    EXPECT_THAT(full.err, AllOf(HasSubstr("File too large"), HasSubstr(output)));
    const MediaProbe probe(output);
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    EXPECT_GT(probe.video()->frameCount, 10);

    const ProcessResult device =
            runPlayer(record({"--usb", kBoth}, "/dev/full", {"--format", "ts"}));
    EXPECT_EQ(device.exitCode, 4) << device.signal << device.err;
    EXPECT_THAT(device.err, EndsWith("cannot write '/dev/full': No space left on device\n"));
}

TEST_F(RecordCliTest, oldFileIsReplacedOnlyByForceAndByARecording) {
    ASSERT_TRUE(writeFile(mMp4, "precious"));
    const ProcessResult refused = runPlayer(record({"--usb", kPicture}, mMp4));
    EXPECT_EQ(refused.exitCode, 4);
    EXPECT_THAT(refused.err, HasSubstr("--force"));
    EXPECT_EQ(readFile(mMp4), "precious");
    // A disk that takes nothing at all.
    const ProcessResult failed =
            player(record({"--usb", kPicture}, mMp4, {"--force"})).setFileSizeLimit(2'000).run();
    EXPECT_EQ(failed.exitCode, 4) << failed.signal << failed.err;
    EXPECT_EQ(readFile(mMp4), "precious");
    const ProcessResult forced =
            runPlayer(record({"--usb", kPicture}, mMp4, {"--force", "--duration", "1"}));
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    EXPECT_NE(MediaProbe(mMp4).video(), nullptr);
    EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre("out.mp4"));
}

// ---- What is refused ----------------------------------------------------------------------------

struct RefusalCase {
    const char* name;
    Words source;
    int exitCode;
    const char* cause;
};

class RecordRefusalTest : public RecordCliTest, public testing::WithParamInterface<RefusalCase> {};

TEST_P(RecordRefusalTest, isOneLineAndLeavesNothing) {
    const ProcessResult result = runPlayer(record(GetParam().source, mMp4));
    EXPECT_EQ(result.exitCode, GetParam().exitCode) << result.signal << result.err;
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, AllOf(StartsWith("oxaplayer: record: "), HasSubstr(GetParam().cause)));
    EXPECT_EQ(linesOf(result.err).size(), 1u) << result.err;
    EXPECT_THAT(namesIn(mFolder.path()), IsEmpty());
}

INSTANTIATE_TEST_SUITE_P(
        Arguments, RecordRefusalTest,
        testing::Values(
                RefusalCase{"noSource", {}, 2, "--hdmi SOURCE or --usb SOURCE"},
                RefusalCase{"twoSources", {"--hdmi", kBoth, "--usb", kBoth}, 2, "either"},
                RefusalCase{"duration", {"--usb", kBoth, "--duration", "0"}, 2, "above 0"},
                RefusalCase{"hdmiRate", {"--hdmi", "nothing", "--fps", "31"}, 2, "1 to 30"},
                RefusalCase{"usbRate", {"--usb", kBoth, "--fps", "7"}, 2, "the camera has 5,"},
                RefusalCase{"usbSize", {"--usb", kBoth, "--size", "640x480"}, 2, "320x180"},
                RefusalCase{"hdmiSize", {"--hdmi", kBoth, "--size", "322x182"}, 2, "320x180"},
                RefusalCase{"previewOfSound",
                            {"--usb", kSound, "--only", "audio", "--preview"},
                            2,
                            "--preview"},
                RefusalCase{"monitorOfNothing",
                            {"--usb", kBoth, "--audio", "none", "--monitor"},
                            2,
                            "--monitor"},
                RefusalCase{"monitorOfPicture", {"--usb", kPicture, "--monitor"}, 3, "no sound"},
                RefusalCase{"noFile", {"--usb", "no_such.mp4"}, 3, "No such file"},
                RefusalCase{"noCamera", {"--usb", "v4l2:/dev/no_such"}, 3, "No such file"},
                RefusalCase{"noGraph", {"--hdmi", "lavfi:no_such_filter"}, 3, "no_such_filter"},
                RefusalCase{"noPicture", {"--usb", kSound}, 3, "no picture"},
                RefusalCase{"noSound", {"--usb", kPicture, "--only", "audio"}, 3, "no sound"},
                RefusalCase{"noSoundFile", {"--hdmi", kBoth, "--audio", "no.wav"}, 3, "no.wav"}),
        [](const testing::TestParamInfo<RefusalCase>& info) { return info.param.name; });

TEST_F(RecordCliTest, sourceIsNeverItsOwnOutput) {
    const std::string clip = mFolder.file("film.mp4");
    std::filesystem::copy(mediaPath("friday_video_starts_1s.mp4"), clip);
    const std::string before = readFile(clip);
    for (const Words& source : {Words{"--usb", clip}, Words{"--hdmi", kPicture, "--audio", clip}}) {
        const ProcessResult result = runPlayer(record(source, clip, {"--force"}));
        EXPECT_EQ(result.exitCode, 2) << result.err;
        EXPECT_THAT(result.err, HasSubstr("is the source itself"));
    }
    EXPECT_TRUE(readFile(clip) == before);
}

// ---- camera -------------------------------------------------------------------------------------

TEST(CameraCli, showsWhatTheCameraCanDo) {
    for (const char* kind : {"--usb", "--hdmi"}) {
        const ProcessResult table = runPlayer({"camera", kind, kPicture});
        ASSERT_EQ(table.exitCode, 0) << table.err;
        EXPECT_THAT(linesOf(table.out), testing::Contains("  preview-size: 320x180"));
        const ProcessResult result = runPlayer({"camera", kind, kPicture, "--json"});
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const auto objects = eventsOf(result.out);
        ASSERT_EQ(objects.size(), 1u);
        EXPECT_EQ(objects[0]["parameters"]["preview-frame-rate"], "30");
        EXPECT_THAT(objects[0]["parameters"]["video-size-values"], HasSubstr("1920x1080"));
    }
}

TEST(CameraCli, missingCameraIsExitThreeWithOneLine) {
    const ProcessResult missing = runPlayer({"camera", "--usb", "v4l2:/dev/no_such"});
    EXPECT_EQ(missing.exitCode, 3);
    EXPECT_EQ(linesOf(missing.err).size(), 1u) << missing.err;
    EXPECT_EQ(runPlayer({"camera"}).exitCode, 2);
    EXPECT_EQ(runPlayer({"camera", "--usb", kPicture, "--fps", "3"}).exitCode, 2);
}

}  // namespace
}  // namespace oxa::test
