// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using testing::Each;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAre;

constexpr char kEncoderReport[] = "\"side\":\"encoder\"";  // something was written

class TranscodeCliTest : public testing::Test {
  protected:
    // The arguments of a job that is small and quick.
    static std::vector<std::string> quick(const std::string& input, const std::string& output,
                                          const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"transcode", input,      "-o",
                                              output,      "--preset", "ultrafast"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    // The arguments of a job that takes many seconds on any machine, and reports as events.
    static std::vector<std::string> longJob(const std::string& output,
                                            const std::vector<std::string>& more = {}) {
        std::vector<std::string> arguments = {"transcode", mediaPath("bunny_360p_aac51.ts"),
                                              "-o",        output,
                                              "--size",    "1920x1080",
                                              "--preset",  "slow",
                                              "--json"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return arguments;
    }

    const std::string mFlower = mediaPath("flower_540p_h264_aac.mp4");
    TempDir mFolder;
    const std::string mMp4 = mFolder.file("out.mp4");
    const std::string mTs = mFolder.file("out.ts");
};

// ---- What comes out -----------------------------------------------------------------------------

TEST_F(TranscodeCliTest, clipBecomesAvcAndAacInBothContainers) {
    for (const std::string& output : {mMp4, mTs}) {
        const ProcessResult result = runPlayer(quick(mFlower, output));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_EQ(result.out, "");
        EXPECT_THAT(result.err, HasSubstr(output + ": 5."));
        EXPECT_THAT(result.err, HasSubstr(" s, 150 pictures, "));
        const MediaProbe probe(output);
        ASSERT_TRUE(probe.ok()) << probe.error();
        EXPECT_THAT(probe.formatName(), HasSubstr(output == mMp4 ? "mp4" : "mpegts"));
        ASSERT_NE(probe.video(), nullptr);
        ASSERT_NE(probe.audio(), nullptr);
        EXPECT_EQ(probe.video()->codec, "h264");
        EXPECT_EQ(probe.video()->frameCount, 150);
        EXPECT_EQ(probe.video()->width, 960);
        EXPECT_EQ(probe.video()->height, 540);
        EXPECT_EQ(probe.audio()->codec, "aac");
        EXPECT_EQ(probe.audio()->channels, 2);
        EXPECT_EQ(probe.audio()->sampleRate, 48000);
        EXPECT_NEAR(probe.audio()->durationUs(), 5'050'000, 60'000);
    }
    EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre("out.mp4", "out.ts"));
}

TEST_F(TranscodeCliTest, optionsReachTheEncoders) {
    const ProcessResult result =
            runPlayer(quick(mFlower, mMp4,
                            {"--size", "320x240", "--fps", "10", "--video-bitrate", "300k",
                             "--keyframe-interval", "1", "--profile", "baseline", "--level", "3.0",
                             "--audio-rate", "22050", "--audio-channels", "1"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const MediaProbe probe(mMp4);
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    EXPECT_EQ(probe.video()->width, 320);
    EXPECT_EQ(probe.video()->height, 240);
    EXPECT_NEAR(probe.video()->frameCount, 50, 1);
    EXPECT_GE(probe.video()->syncPacketCount, 5);
    EXPECT_THAT(probe.video()->profile, HasSubstr("Baseline"));
    EXPECT_EQ(probe.video()->level, 30);
    EXPECT_EQ(probe.audio()->sampleRate, 22050);
    EXPECT_EQ(probe.audio()->channels, 1);
    EXPECT_LT(fileSize(mMp4), 450'000);
}

struct UprightCase {
    const char* clip;
    int width;
    int height;
};

class UprightCliTest : public TranscodeCliTest, public testing::WithParamInterface<UprightCase> {};

TEST_P(UprightCliTest, pictureComesOutUprightAndSquare) {
    const ProcessResult result = runPlayer(quick(mediaPath(GetParam().clip), mMp4));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const MediaProbe probe(mMp4);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    EXPECT_EQ(probe.video()->width, GetParam().width);
    EXPECT_EQ(probe.video()->height, GetParam().height);
    EXPECT_EQ(probe.video()->rotation, 0);
    EXPECT_LE(probe.video()->sarNum, probe.video()->sarDen);
}

INSTANTIATE_TEST_SUITE_P(Clips, UprightCliTest,
                         testing::Values(UprightCase{"bunny_rotated90_aac51.mp4", 1080, 1920},
                                         UprightCase{"bunny_480i_tff_mpeg2_mp2.ts", 854, 480},
                                         UprightCase{"bear_161x121_vp9.webm", 160, 120}),
                         [](const testing::TestParamInfo<UprightCase>& info) {
                             return std::to_string(info.param.width) + "x" +
                                    std::to_string(info.param.height);
                         });

TEST_F(TranscodeCliTest, oneKindOfTrackIsEnough) {
    struct Case {
        std::string input;
        std::vector<std::string> options;
        bool video;
        bool audio;
    };
    const std::string bunny = mediaPath("bunny_480p_hevc.mp4");
    for (const Case& only :
         {Case{mediaPath("roar.mp3"), {}, false, true}, Case{bunny, {}, true, false},
          Case{mFlower, {"--only", "audio"}, false, true},
          Case{mFlower, {"--only", "video"}, true, false}}) {
        auto arguments = quick(only.input, mMp4, only.options);
        arguments.push_back("--force");
        const ProcessResult result = runPlayer(arguments);
        ASSERT_EQ(result.exitCode, 0) << only.input << result.err;
        const MediaProbe probe(mMp4);
        EXPECT_EQ(probe.video() != nullptr, only.video) << only.input;
        EXPECT_EQ(probe.audio() != nullptr, only.audio) << only.input;
    }
    const ProcessResult none = runPlayer(quick(bunny, mTs, {"--only", "audio"}));
    EXPECT_EQ(none.exitCode, 3);
    EXPECT_THAT(none.err, HasSubstr("has no sound that can be decoded"));
}

// A track that yields nothing must cost a warning, not the other track.
TEST_F(TranscodeCliTest, trackThatCannotBeDecodedIsLeftOut) {
    const std::string broken = mFolder.file("broken.mp4");
    runOrDie({"ffmpeg", "-v", "error", "-i", mFlower, "-c", "copy", "-bsf:v",
              "filter_units=remove_types=1-5", broken});
    const ProcessResult result = runPlayer(quick(broken, mMp4));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("warning: the picture cannot be decoded"));
    const MediaProbe probe(mMp4);
    EXPECT_EQ(probe.video(), nullptr);
    ASSERT_NE(probe.audio(), nullptr);
    EXPECT_NEAR(probe.audio()->durationUs(), 5'050'000, 60'000);

    const ProcessResult nothing = runPlayer(quick(broken, mTs, {"--only", "video"}));
    EXPECT_EQ(nothing.exitCode, 3) << nothing.err;
    EXPECT_FALSE(std::filesystem::exists(mTs));
}

TEST_F(TranscodeCliTest, damagedFileIsTranscodedWithAWarning) {
    const std::string whole = mediaPath("bunny_360p_aac51.ts");
    for (const std::string& damaged : {dropTsPackets(whole, 50), zeroRegion(mFlower)}) {
        const ProcessResult result =
                runPlayer(quick(damaged, mMp4, {"--size", "320x180", "--force"}));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_THAT(result.err, HasSubstr("warning: ")) << damaged;
        const MediaProbe probe(mMp4);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_GT(probe.video()->frameCount, 60);
        EXPECT_EQ(probe.video()->decodeErrors, 0);
    }
}

// ---- Standard output ----------------------------------------------------------------------------

TEST_F(TranscodeCliTest, standardOutputCarriesTheStreamAndNothingElse) {
    const ProcessResult result = runPlayer(quick(mFlower, "-", {"--json"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ASSERT_EQ(result.out.size() % 188, 0u);
    for (size_t i = 0; i < result.out.size(); i += 188)
        ASSERT_EQ(result.out[i], 'G') << i;
    ASSERT_TRUE(writeFile(mTs, result.out));
    const MediaProbe probe(mTs);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    EXPECT_EQ(probe.video()->frameCount, 150);
    // The events move to standard error, and are alone there.
    const auto events = eventsOf(result.err);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back()["event"], "result");
    EXPECT_EQ(events.back()["output"], "-");
}

TEST_F(TranscodeCliTest, brokenPipeIsAnOutputError) {
    const ProcessResult result = player(quick(mFlower, "-")).closeOutputAfter(100'000).run();
    EXPECT_EQ(result.exitCode, 4) << result.signal << result.err;
    EXPECT_THAT(result.err, HasSubstr("cannot write '-': Broken pipe"));
}

// Whoever holds a pipe open and never reads would hold up the job for ever.
TEST_F(TranscodeCliTest, stalledReaderIsAFailureAfterHalfAMinute) {
    const std::string pipe = mFolder.file("pipe.ts");
    runOrDie({"mkfifo", pipe});
    const int reader = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    const ProcessResult result = runPlayer(quick(mFlower, pipe));
    close(reader);
    EXPECT_EQ(result.exitCode, 1) << result.signal << result.err;
    EXPECT_THAT(result.err, HasSubstr("nothing was read or written for 30 seconds"));
    EXPECT_GE(result.duration, std::chrono::seconds(30));
}

// The writer sits in a write that nobody will ever take; the interrupted job must get past it.
TEST_F(TranscodeCliTest, interruptEndsAJobWhoseReaderHasStopped) {
    const std::string pipe = mFolder.file("pipe.ts");
    runOrDie({"mkfifo", pipe});
    const int reader = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    // The second line of progress comes seconds later, when the pipe has long been full.
    const ProcessResult result = player(quick(mFlower, pipe))
                                         .signalOnText(0, " %")
                                         .signalOnText(SIGINT, " %")
                                         .setTimeLimit(std::chrono::seconds(25))
                                         .run();
    close(reader);
    EXPECT_FALSE(result.timedOut);
    EXPECT_EQ(result.signal, 0) << result.err;
}

TEST_F(TranscodeCliTest, mp4IntoAPipeIsRefused) {
    const ProcessResult result = runPlayer(quick(mFlower, "-", {"--format", "mp4"}));
    EXPECT_EQ(result.exitCode, 4);
    EXPECT_EQ(result.out, "");
    EXPECT_THAT(result.err, HasSubstr("--format ts"));
}

// ---- Reports ------------------------------------------------------------------------------------

TEST_F(TranscodeCliTest, eventsTellTheWholeJob) {
    const ProcessResult result = runPlayer(quick(mFlower, mMp4, {"--json", "--quiet"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const auto events = eventsOf(result.out);
    ASSERT_GE(events.size(), 5u);
    EXPECT_EQ(events.front()["event"], "start");
    EXPECT_EQ(events.front()["format"], "mp4");
    const auto tracks = eventsNamed(events, "track");
    ASSERT_EQ(tracks.size(), 2u);
    EXPECT_EQ(tracks[0]["kind"], "video");
    EXPECT_EQ(tracks[0]["width"], 960);
    EXPECT_EQ(tracks[1]["sample_rate"], 48000);
    EXPECT_EQ(eventsNamed(events, "eos").size(), 1u);
    const json& last = events.back();
    EXPECT_EQ(last["event"], "result");
    EXPECT_EQ(last["exit"], 0);
    EXPECT_EQ(last["output"], mMp4);
    EXPECT_EQ(last["frames"], 150);
    EXPECT_EQ(last["bytes"], fileSize(mMp4));
    EXPECT_NEAR(last["duration_s"].get<double>(), 5.05, 0.08);
    EXPECT_GT(last["speed"], 0);
}

// A program that reads only the first events must not cost the user the file.
TEST_F(TranscodeCliTest, readerOfEventsMayGoAway) {
    const ProcessResult result =
            player(quick(mFlower, mMp4, {"--json"})).closeOutputAfter(10).run();
    EXPECT_EQ(result.exitCode, 0) << result.signal << result.err;
    EXPECT_NE(MediaProbe(mMp4).video(), nullptr);
}

TEST_F(TranscodeCliTest, quietSaysNothingAndVerboseShowsThePlatformLog) {
    const ProcessResult quiet = runPlayer(quick(mediaPath("roar.mp3"), mMp4, {"--quiet"}));
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.out + quiet.err, "");
    const ProcessResult normal = runPlayer(quick(mediaPath("roar.mp3"), mMp4, {"--force"}));
    EXPECT_THAT(normal.err, Not(HasSubstr("OxaMediaCodecPlayer")));
    const ProcessResult verbose =
            runPlayer(quick(mediaPath("roar.mp3"), mMp4, {"--force", "--verbose"}));
    EXPECT_EQ(verbose.exitCode, 0);
    EXPECT_THAT(verbose.err, HasSubstr("D OxaMediaCodecPlayer: "));
}

// Without a terminal a redrawn bar would fill a log file with control characters.
TEST_F(TranscodeCliTest, barIsOnlyForATerminal) {
    const ProcessResult plain = runPlayer(quick(mFlower, mMp4));
    EXPECT_THAT(plain.err, Not(HasSubstr("\r")));
    EXPECT_THAT(plain.err, Not(HasSubstr("\033")));
    const int master = posix_openpt(O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (master < 0) GTEST_SKIP() << "no terminals here";
    close(master);
    const std::string command =
            std::string(OXA_PLAYER_PROGRAM) + " transcode " + mFlower + " --force -o " + mMp4;
    const ProcessResult terminal = ProcessRunner({"script", "-qec", command, "/dev/null"})
                                           .setEnvironment("TERM", "xterm")
                                           .run();
    ASSERT_EQ(terminal.exitCode, 0) << terminal.out;
    EXPECT_THAT(terminal.out, HasSubstr("\r\033[K["));
    EXPECT_THAT(terminal.out, HasSubstr(" % "));
    EXPECT_THAT(terminal.out, HasSubstr(" fps  "));
}

// ---- Inputs that cannot be used -----------------------------------------------------------------

TEST_F(TranscodeCliTest, unusableInputIsExitThreeAndLeavesNothing) {
    TempDir inputs;
    ASSERT_TRUE(writeFile(inputs.file("empty.mp4"), ""));
    ASSERT_TRUE(writeFile(inputs.file("text.mp4"), "This is a text.\n"));
    runOrDie({"mkfifo", inputs.file("pipe.mp4")});
    for (const std::string& input :
         {inputs.file("none.mp4"), inputs.path(), inputs.file("empty.mp4"), inputs.file("text.mp4"),
          inputs.file("pipe.mp4"), garbageFile(300'000),
          truncateClip(mediaPath("friday_480p_audio_first.mp4"), 0.0005)}) {
        const ProcessResult result = runPlayer(quick(input, mMp4, {"--json"}));
        EXPECT_EQ(result.exitCode, 3) << input << result.err;
        EXPECT_EQ(linesOf(result.err).size(), 1u) << result.err;
        EXPECT_THAT(result.err, StartsWith("oxaplayer: transcode: "));
        const auto events = eventsOf(result.out);
        ASSERT_EQ(events.size(), 2u) << result.out;
        EXPECT_EQ(events[0]["event"], "error");
        EXPECT_EQ(events[1]["event"], "result");
        EXPECT_EQ(events[1]["exit"], 3);
    }
    EXPECT_THAT(namesIn(mFolder.path()), IsEmpty());
}

// ---- Outputs that cannot be written -------------------------------------------------------------

TEST_F(TranscodeCliTest, unusableOutputIsRefusedBeforeTheWork) {
    struct Case {
        std::string output;
        int exitCode;
        std::string cause;
    };
    for (const Case& output : {Case{mFolder.file("none/out.mp4"), 4, "No such file or directory"},
                               Case{mFolder.path() + "/", 2, "cannot tell the container"},
                               Case{mFolder.file("out.mkv"), 2, "cannot tell the container"},
                               Case{"/proc/out.mp4", 4, "/proc/out.mp4"}}) {
        const ProcessResult result = runPlayer(quick(mFlower, output.output));
        EXPECT_EQ(result.exitCode, output.exitCode) << output.output;
        EXPECT_THAT(result.err, HasSubstr(output.cause));
        EXPECT_EQ(linesOf(result.err).size(), 1u) << result.err;
    }
    const ProcessResult folder = runPlayer(quick(mFlower, mFolder.path(), {"--format", "ts"}));
    EXPECT_EQ(folder.exitCode, 4);
    EXPECT_THAT(folder.err, HasSubstr("Is a directory"));
    EXPECT_THAT(namesIn(mFolder.path()), IsEmpty());
}

TEST_F(TranscodeCliTest, existingFileNeedsForce) {
    ASSERT_TRUE(writeFile(mMp4, "precious"));
    const ProcessResult refused = runPlayer(quick(mediaPath("roar.mp3"), mMp4));
    EXPECT_EQ(refused.exitCode, 4);
    EXPECT_THAT(refused.err, HasSubstr("--force"));
    EXPECT_EQ(readFile(mMp4), "precious");
    // Even with --force the old file stays until the new one is complete.
    const ProcessResult failed =
            player(quick(mFlower, mMp4, {"--force"})).setFileSizeLimit(50'000).run();
    EXPECT_EQ(failed.exitCode, 4);
    EXPECT_EQ(readFile(mMp4), "precious");
    const ProcessResult forced = runPlayer(quick(mediaPath("roar.mp3"), mMp4, {"--force"}));
    EXPECT_EQ(forced.exitCode, 0) << forced.err;
    EXPECT_TRUE(MediaProbe(mMp4).ok());
    EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre("out.mp4"));
}

TEST_F(TranscodeCliTest, inputIsNeverItsOwnOutput) {
    const std::string input = mFolder.file("film.mp4");
    std::filesystem::copy(mediaPath("friday_video_starts_1s.mp4"), input);
    std::filesystem::create_hard_link(input, mFolder.file("hard.mp4"));
    std::filesystem::create_symlink(input, mFolder.file("soft.mp4"));
    const std::string before = readFile(input);
    for (const char* name : {"film.mp4", "hard.mp4", "soft.mp4"}) {
        const ProcessResult result = runPlayer(quick(input, mFolder.file(name), {"--force"}));
        EXPECT_EQ(result.exitCode, 2) << name;
        EXPECT_THAT(result.err, HasSubstr("is the input itself"));
    }
    EXPECT_TRUE(readFile(input) == before);
}

TEST_F(TranscodeCliTest, fullDiskEndsTheJobWithItsCause) {
    for (const char* format : {"mp4", "ts"}) {
        const ProcessResult full = runPlayer(quick(mFlower, "/dev/full", {"--format", format}));
        EXPECT_EQ(full.exitCode, 4) << format << full.signal << full.err;
        EXPECT_THAT(full.err, HasSubstr("cannot write '/dev/full': No space left on device"));
        const std::string output = mFolder.file(std::string("out.") + format);
        const ProcessResult limited =
                player(quick(mFlower, output)).setFileSizeLimit(200'000).run();
        EXPECT_EQ(limited.exitCode, 4) << format << limited.signal << limited.err;
        EXPECT_THAT(limited.err, HasSubstr("File too large"));
    }
    EXPECT_THAT(namesIn(mFolder.path()), IsEmpty());
}

// ---- Interrupts ---------------------------------------------------------------------------------

struct InterruptCase {
    int signal;
    const char* name;
};

class InterruptCliTest : public TranscodeCliTest,
                         public testing::WithParamInterface<InterruptCase> {};

// A file without its index after Ctrl-C is what people lose their recordings to.
TEST_P(InterruptCliTest, firstSignalLeavesAPlayableFile) {
    const std::string output = mFolder.file(GetParam().name);
    const ProcessResult result =
            player(longJob(output)).signalOnText(GetParam().signal, kEncoderReport).run();
    ASSERT_EQ(result.exitCode, 130) << result.signal << result.err;
    const auto events = eventsOf(result.out);
    EXPECT_EQ(events.back()["event"], "result");
    EXPECT_EQ(events.back()["exit"], 130);
    EXPECT_EQ(events.back()["output"], output);
    const MediaProbe probe(output);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    EXPECT_GT(probe.video()->frameCount, 0);
    EXPECT_LT(probe.video()->frameCount, 721);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
    EXPECT_EQ(probe.video()->frameCount, events.back()["frames"].get<int64_t>());
    EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre(GetParam().name));
}

INSTANTIATE_TEST_SUITE_P(Signals, InterruptCliTest,
                         testing::Values(InterruptCase{SIGINT, "ctrl_c.mp4"},
                                         InterruptCase{SIGINT, "ctrl_c.ts"},
                                         InterruptCase{SIGTERM, "term.mp4"}),
                         [](const testing::TestParamInfo<InterruptCase>& info) {
                             std::string name = info.param.name;
                             name[name.find('.')] = '_';
                             return name;
                         });

TEST_F(TranscodeCliTest, interruptedStreamEndsWithWholePackets) {
    const ProcessResult result = player(longJob("-")).signalOnText(SIGINT, kEncoderReport).run();
    EXPECT_EQ(result.exitCode, 130) << result.signal << result.err;
    EXPECT_GT(result.out.size(), 0u);
    EXPECT_EQ(result.out.size() % 188, 0u);
    EXPECT_EQ(eventsOf(result.err).back()["exit"], 130);
}

TEST_F(TranscodeCliTest, shortenedFileDoesNotReplaceAnOldOne) {
    ASSERT_TRUE(writeFile(mMp4, "precious"));
    const ProcessResult result =
            player(longJob(mMp4, {"--force"})).signalOnText(SIGINT, kEncoderReport).run();
    ASSERT_EQ(result.exitCode, 130) << result.err;
    EXPECT_EQ(readFile(mMp4), "precious");
    const std::string kept = eventsOf(result.out).back()["output"];
    EXPECT_NE(kept, mMp4);
    EXPECT_THAT(result.err, HasSubstr(kept));
    ASSERT_NE(MediaProbe(kept).video(), nullptr);
}

// Two different signals, since two of a kind may count as one.
TEST_F(TranscodeCliTest, secondSignalEndsAtOnceAndLeavesNothingUnfinished) {
    const ProcessResult result = player(longJob(mMp4))
                                         .signalOnText(SIGINT, kEncoderReport)
                                         .signalAfter(SIGTERM, std::chrono::milliseconds(0))
                                         .run();
    EXPECT_EQ(result.exitCode, 130) << result.signal << result.err;
    EXPECT_THAT(namesIn(mFolder.path()), Each("out.mp4"));
}

// The process must not hang when the signal comes before there is anything to finish.
TEST_F(TranscodeCliTest, signalAtTheStartLeavesNothing) {
    const ProcessResult result =
            player(longJob(mMp4)).signalOnText(SIGINT, "\"event\":\"start\"").run();
    EXPECT_EQ(result.exitCode, 130) << result.signal << result.err;
    for (const std::string& name : namesIn(mFolder.path())) {
        EXPECT_EQ(name, "out.mp4");
        EXPECT_TRUE(MediaProbe(mMp4).ok());
    }
}

}  // namespace
}  // namespace oxa::test
