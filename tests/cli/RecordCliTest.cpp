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
    int frameRate;  // 0: no picture
    bool audio;
    bool status;  // lasts long enough for one
};

class RecordKindTest : public RecordCliTest, public testing::WithParamInterface<KindCase> {
  protected:
    static void expectStatus(const json& last) {
        constexpr double kSineDb = -21.07;  // an amplitude of 1/8 on one channel, made two
        EXPECT_NEAR(last["level_db"].get<double>(), kSineDb, 0.2);
        EXPECT_GT(last["frames"], 0);
        EXPECT_GT(last["bytes"], 0);
        EXPECT_GT(last["fps"], 2);
        if (GetParam().frameRate == 30) return;
        // Every second picture of the signal is left out.
        EXPECT_GT(last["thinned"], 0);
        EXPECT_NEAR(last["thinned"].get<int>(), last["time_s"].get<double>() * 15, kLateFrames);
    }
};

TEST_P(RecordKindTest, isRecordedWholeForAsLongAsAsked) {
    const KindCase& kind = GetParam();
    const double seconds = kind.status ? 2.2 : 1;
    const std::string output = mFolder.file(kind.file);
    const ProcessResult result = runPlayer(
            record(kind.source, output, {"--duration", kind.status ? "2.2" : "1", "--json"}));
    ASSERT_EQ(result.exitCode, 0) << result.signal << result.err;
    const auto events = eventsOf(result.out);
    EXPECT_EQ(events.front()["event"], "start");
    EXPECT_EQ(events.front()["input"], kind.source[1]);
    if (kind.status) {
        const auto progress = eventsNamed(events, "progress");
        ASSERT_FALSE(progress.empty());
        expectStatus(progress.back());
    }
    const auto tracks = eventsNamed(events, "track");
    ASSERT_EQ(tracks.size(), (kind.frameRate > 0 ? 1u : 0u) + (kind.audio ? 1u : 0u));
    const json& last = events.back();
    EXPECT_EQ(last["event"], "result");
    EXPECT_EQ(last["exit"], 0);
    EXPECT_EQ(last["bytes"], fileSize(output));
    EXPECT_GE(last["duration_s"].get<double>(), seconds - 0.2);
    EXPECT_LE(last["duration_s"].get<double>(), seconds + kLateSec);
    const MediaProbe probe(output);
    ASSERT_TRUE(probe.ok()) << probe.error();
    ASSERT_EQ(probe.video() != nullptr, kind.frameRate > 0);
    ASSERT_EQ(probe.audio() != nullptr, kind.audio);
    if (kind.frameRate > 0) {
        EXPECT_EQ(tracks[0]["width"], 320);
        EXPECT_EQ(tracks[0]["frame_rate"], kind.frameRate);
        const auto expected = static_cast<int>(seconds * kind.frameRate);
        EXPECT_GE(probe.video()->frameCount + last["dropped"].get<int>(), expected - 1);
        EXPECT_LE(probe.video()->frameCount, expected + kLateFrames);
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
        EXPECT_GE(probe.audio()->durationUs(), seconds * 500'000);
    }
    EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre(kind.file));
}

INSTANTIATE_TEST_SUITE_P(
        Kinds, RecordKindTest,
        testing::Values(
                KindCase{"usb", {"--usb", kBoth}, "a.mp4", 30, true, true},
                KindCase{"usbOtherSound",
                         {"--usb", kPicture, "--audio", kSound},
                         "a.ts",
                         30,
                         true,
                         false},
                KindCase{"usbSound", {"--usb", kSound, "--only", "audio"}, "a.mp4", 0, true, false},
                KindCase{"hdmi", {"--hdmi", kBoth, "--fps", "15"}, "a.mp4", 15, true, true},
                KindCase{"hdmiWithoutSound", {"--hdmi", kPicture}, "a.ts", 30, false, false},
                KindCase{
                        "hdmiSound", {"--hdmi", kBoth, "--only", "audio"}, "a.ts", 0, true, false}),
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

TEST_F(RecordCliTest, fullDeviceEndsTheRecordingWithItsCause) {
    const ProcessResult result =
            runPlayer(record({"--usb", kBoth}, "/dev/full", {"--format", "ts"}));
    EXPECT_EQ(result.exitCode, 4) << result.signal << result.err;
    EXPECT_THAT(result.err, EndsWith("cannot write '/dev/full': No space left on device\n"));
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
    EXPECT_THAT(failed.err, HasSubstr("File too large"));
    EXPECT_EQ(readFile(mMp4), "precious");
    const ProcessResult forced =
            runPlayer(record({"--usb", kPicture}, mMp4, {"--force", "--duration", "1"}));
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    EXPECT_NE(MediaProbe(mMp4).video(), nullptr);
    EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre("out.mp4"));
}

// ---- What is refused ----------------------------------------------------------------------------

TEST_F(RecordCliTest, refusalIsOneLineAndLeavesNothing) {
    const struct {
        Words source;
        int exitCode;
        const char* cause;
    } kRefusals[] = {{{}, 2, "--hdmi SOURCE or --usb SOURCE"},
                     {{"--hdmi", "nothing", "--fps", "31"}, 2, "1 to 30"},
                     {{"--usb", kBoth, "--fps", "7"}, 2, "the camera has 5,"},
                     {{"--hdmi", kBoth, "--size", "322x182"}, 2, "320x180"},
                     {{"--usb", kSound, "--only", "audio", "--preview"}, 2, "--preview"},
                     {{"--usb", kBoth, "--audio", "none", "--monitor"}, 2, "--monitor"},
                     {{"--usb", kPicture, "--monitor"}, 3, "no sound"},
                     {{"--usb", "no_such.mp4"}, 3, "No such file"},
                     {{"--usb", "v4l2:/dev/no_such"}, 3, "No such file"},
                     {{"--hdmi", "lavfi:no_such_filter"}, 3, "no_such_filter"},
                     {{"--usb", kSound}, 3, "no picture"},
                     {{"--hdmi", kBoth, "--audio", "no.wav"}, 3, "no.wav"}};
    for (const auto& refusal : kRefusals) {
        const ProcessResult result = runPlayer(record(refusal.source, mMp4));
        EXPECT_EQ(result.exitCode, refusal.exitCode) << result.signal << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, AllOf(StartsWith("oxaplayer: record: "), HasSubstr(refusal.cause)));
        EXPECT_EQ(linesOf(result.err).size(), 1u) << result.err;
    }
    EXPECT_THAT(namesIn(mFolder.path()), IsEmpty());
}

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
