// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <sys/stat.h>

#include <csignal>
#include <filesystem>

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/Sound.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

const std::string kBoth =
        "lavfi:testsrc2=size=320x180:rate=30;sine=frequency=1000:sample_rate=48000";
const std::string kPicture = "lavfi:testsrc2=size=320x180:rate=30";
const std::string kSound = "lavfi:sine";
const std::string kLarge = "lavfi:testsrc2=size=1280x720:rate=60;sine=sample_rate=48000";

using Words = std::vector<std::string>;

// On a busy machine a recording is stopped late, or pictures are dropped and counted.
constexpr int kLateFrames = 15;
constexpr double kLateSec = 0.5;
// Sound comes in units of 1024 samples.
constexpr double kUnitSec = 0.022;

struct RecordKind;

class RecordCliTest : public testing::Test {
  protected:
    static std::string recordAndCheck(const RecordKind& kind);
    static Words record(const Words& source, const std::string& output, const Words& more = {},
                        const char* preset = "ultrafast") {
        const Words target = {"-o", output, "--preset", preset};
        return joined(joined(joined({"record"}, source), target), more);
    }

    TempDir mFolder;
    const std::string mMp4 = mFolder.file("out.mp4");
};

// ---- What comes out -----------------------------------------------------------------------------

struct RecordKind {
    std::vector<std::string> source;
    const char* file;
    int frameRate;  // 0: no picture
    bool audio;
    int width = 320;
    const char* preset = "ultrafast";
};

TEST_F(RecordCliTest, everyKindOfSourceIsRecordedForAsLongAsAsked) {
    const RecordKind kKinds[] = {
            {{"--usb", kBoth}, "usb.mp4", 30, true},
            {{"--usb", kBoth, "--audio", "none"}, "mute.ts", 30, false},
            {{"--usb", kBoth, "--only", "video"}, "video.ts", 30, false},
            {{"--usb", kPicture, "--audio", kSound}, "other.ts", 30, true},
            {{"--usb", kSound, "--only", "audio"}, "sound.mp4", 0, true},
            {{"--hdmi", kBoth, "--fps", "15", "--size", "640x360"}, "a.mp4", 15, true, 640},
            {{"--hdmi", kPicture, "--audio", kSound}, "b.mp4", 30, true},
            {{"--hdmi", kPicture}, "picture.ts", 30, false},
            // Slower than most machines, whose pictures are dropped and whose sound is not.
            {{"--usb", kLarge}, "large.mp4", 60, true, 1280, "placebo"},
            {{"--hdmi", kBoth, "--only", "audio"}, "sound.ts", 0, true}};
    for (const auto& kind : kKinds) {
        SCOPED_TRACE(kind.file);
        EXPECT_EQ(missedEachTime([&] { return recordAndCheck(kind); }), "");
    }
}

// What is wrong with its lengths; the rest is expected.
std::string RecordCliTest::recordAndCheck(const RecordKind& kind) {
    const TempDir folder;
    const std::string output = folder.file(kind.file);
    const ProcessResult result =
            runPlayer(record(kind.source, output, {"--duration", "1.2", "--json"}, kind.preset));
    EXPECT_EQ(result.exitCode, 0) << result.signal << result.err;
    EXPECT_THAT(namesIn(folder.path()), UnorderedElementsAre(kind.file));
    const auto events = eventsOf(result.out);
    EXPECT_EQ(events.front()["event"], "start");
    EXPECT_EQ(events.front()["input"], kind.source[1]);
    const json& last = events.back();
    EXPECT_EQ(last["event"], "result");
    EXPECT_EQ(last["exit"], 0);
    EXPECT_EQ(last["bytes"], fileSize(output));
    const auto tracks = eventsNamed(events, "track");
    EXPECT_EQ(tracks.size(), (kind.frameRate > 0 ? 1u : 0u) + (kind.audio ? 1u : 0u));
    const MediaProbe probe(output);
    EXPECT_EQ(probe.video() != nullptr, kind.frameRate > 0) << probe.error();
    EXPECT_EQ(probe.audio() != nullptr, kind.audio);
    if (HasFailure()) return "";
    bool isRight = std::abs(last["duration_s"].get<double>() - 1.2) <= kUnitSec;
    if (kind.frameRate > 0) {
        EXPECT_EQ(tracks[0]["width"], kind.width);
        EXPECT_EQ(tracks[0]["frame_rate"], kind.frameRate);
        EXPECT_EQ(probe.video()->frameCount, last["frames"].get<int64_t>());
        EXPECT_LE(probe.video()->durationUs(), 1'201'000);
        const int64_t missing = kind.frameRate * 12 / 10 - probe.video()->frameCount;
        isRight = isRight && missing >= 0 && missing <= last["dropped"].get<int>();
        const bool isSlow = last["dropped"] > 0 && kind.preset == std::string("placebo");
        EXPECT_EQ(last.value("faster_preset", ""), isSlow ? "veryfast" : "");
    }
    if (kind.audio) {
        EXPECT_EQ(tracks.back()["channels"], 2);
        EXPECT_EQ(tracks.back()["sample_rate"], 48000);
        EXPECT_EQ(probe.audio()->channels, 2);
        EXPECT_EQ(probe.audio()->sampleRate, 48000);
        EXPECT_GT(levelDb(decodeSound(output).mono()), -40) << "silence is another source's";
        isRight = isRight && std::abs(probe.audio()->durationUs() / 1e6 - 1.2) <= 2 * kUnitSec;
    }
    return isRight ? "" : last.dump();
}

// Slow enough that no machine is late. A picture of an interlaced source is two where asked.
TEST_F(RecordCliTest, aDurationIsSoManyPictures) {
    for (const int perPicture : {1, 2}) {
        const auto record2s = [&]() -> std::string {
            const ProcessResult result = runPlayer(
                    record({"--usb", "lavfi:testsrc2=size=320x180:rate=5,setfield=tff"}, mMp4,
                           {"--deinterlace", std::to_string(perPicture), "--duration", "2",
                            "--json", "--force"}));
            EXPECT_EQ(result.exitCode, 0) << result.err;
            const json last = eventsOf(result.out).back();
            EXPECT_EQ(last["frames"], MediaProbe(mMp4).video()->frameCount);
            return last["frames"] == 10 * perPicture ? "" : last.dump();
        };
        EXPECT_EQ(missedEachTime(record2s), "");
    }
}

TEST_F(RecordCliTest, progressTellsPicturesAndTheLevelOfTheSound) {
    const ProcessResult result = runPlayer(
            record({"--hdmi", kBoth, "--fps", "15"}, mMp4, {"--duration", "2.2", "--json"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto progress = eventsNamed(eventsOf(result.out), "progress");
    ASSERT_FALSE(progress.empty());
    const json& last = progress.back();
    EXPECT_LE(progress.size(), last["elapsed_s"].get<double>() + 0.5) << "one each second";
    // A machine that is busy now and then takes pictures and sound away, and adds none.
    const auto most = [&](const char* field) {
        double value = -1000;
        for (const json& event : progress) {
            if (event[field].is_number()) value = std::max(value, event[field].get<double>());
        }
        return value;
    };
    constexpr double kSineDb = -21.07;  // an amplitude of 1/8 on one channel, made two
    EXPECT_NEAR(most("level_db"), kSineDb, 0.2);
    EXPECT_GT(last["frames"], 0);
    EXPECT_GT(last["bytes"], 0);
    EXPECT_GT(most("fps"), 2);
    EXPECT_LT(most("fps"), 30);
    // Every second picture of the signal is left out.
    EXPECT_GT(last["thinned"], 0);
    EXPECT_NEAR(last["thinned"].get<int>(), last["time_s"].get<double>() * 15,
                kLateFrames + last["dropped"].get<int>());
}

TEST_F(RecordCliTest, sourceThatEndsEndsTheRecording) {
    const std::string clip = mFolder.file("clip.mp4");
    runOrDie({"ffmpeg", "-v", "error", "-nostdin", "-f", "lavfi", "-i",
              "testsrc2=size=320x180:rate=30", "-f", "lavfi", "-i", "sine", "-t", "1.5", "-c:v",
              "mpeg4", clip});
    const struct {
        const char* options;
        bool hasVideo;
    } kSources[] = {{"--hdmi", true}, {"--usb", true}, {"--only audio --usb", false}};
    for (const auto& source : kSources) {
        SCOPED_TRACE(source.options);
        const ProcessResult result =
                runPlayer(record(joined(words(source.options), {clip}), mMp4, {"--force"}));
        ASSERT_EQ(result.exitCode, 0) << result.err;
        const MediaProbe probe(mMp4);
        ASSERT_TRUE((probe.video() != nullptr) == source.hasVideo && probe.audio() != nullptr)
                << probe.error();
        const int64_t endUs = (source.hasVideo ? probe.video() : probe.audio())->endUs;
        EXPECT_GE(endUs, 1'000'000);
        EXPECT_LE(endUs, 3'000'000);
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
        EXPECT_THAT(result.err, HasSubstr(kBoth + ": 320x180, 30 fps"));
        EXPECT_NE(MediaProbe(mMp4).video(), nullptr);
    }
}

// It is measured once; then the file says it.
TEST_F(RecordCliTest, presetIsChosenForTheComputerAndRemembered) {
    const auto presetOf = [&](const Words& more) {
        const Words command = words("record --force --duration 0.3 --json --usb " + kPicture);
        const ProcessResult result = player(joined(joined(command, {"-o", mMp4}), more))
                                             .setEnvironment("XDG_CACHE_HOME", mFolder.path())
                                             .run();
        EXPECT_EQ(result.exitCode, 0) << result.err;
        return eventsOf(result.out).front()["preset"].get<std::string>();
    };
    const std::string cache = mFolder.file("oxaplayer/presets");
    EXPECT_EQ(presetOf({"--preset", "faster"}), "faster");
    EXPECT_EQ(fileSize(cache), -1);
    std::string known;
    // What loses pictures is not remembered.
    for (int i = 0; i < 5 && known.empty(); ++i) {
        presetOf({"--preset", "auto"});
        known = readFile(cache);
    }
    EXPECT_THAT(known, testing::StartsWith("320x180 30 fps, "));
    known.replace(known.rfind(' '), std::string::npos, " superfast\n");
    ASSERT_TRUE(writeFile(cache, known));
    EXPECT_EQ(presetOf({}), "superfast");
}

// ---- Several files ------------------------------------------------------------------------------

// Each plays by itself, and no picture is missing; a file of somebody else's is left alone.
TEST_F(RecordCliTest, splitsIntoFilesThatPlayByThemselves) {
    for (const char* extension : {".mp4", ".ts"}) {
        const TempDir folder;
        const auto numbered = [&](const char* number) {
            return folder.file(std::string("cam-00") + number + extension);
        };
        ASSERT_TRUE(writeFile(numbered("2"), "precious"));
        const ProcessResult result =
                runPlayer(record({"--usb", kBoth}, folder.file(std::string("cam") + extension),
                                 {"--split", "1", "--duration", "3.3", "--json"}));
        ASSERT_EQ(result.exitCode, 0) << result.signal << result.err;
        EXPECT_EQ(readFile(numbered("2")), "precious");
        const auto events = eventsOf(result.out);
        const json& last = events.back();
        const std::vector<std::string> files = last["files"];
        ASSERT_GE(files.size(), 3u) << last;
        EXPECT_EQ(files[0], numbered("1"));
        EXPECT_EQ(files[1], numbered("3"));
        EXPECT_EQ(eventsNamed(events, "file").size(), files.size());
        int64_t pictures = 0;
        for (const std::string& file : files) {
            const MediaProbe probe(file);
            ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
            EXPECT_EQ(probe.video()->decodeErrors, 0) << file;
            pictures += probe.video()->frameCount;
            if (&file == &files.back()) continue;
            EXPECT_NEAR(probe.video()->durationUs(), 1e6, kLateSec * 1e6) << file;
        }
        EXPECT_EQ(pictures, last["frames"].get<int64_t>());
    }
}

TEST_F(RecordCliTest, namesFilesByTheTimeAtWhichTheyBegin) {
    const ProcessResult result =
            runPlayer(record({"--usb", kPicture}, mFolder.file("cam %Y 100%%.mp4"),
                             {"--split", "1", "--duration", "2.5", "--json"}));
    ASSERT_EQ(result.exitCode, 0) << result.signal << result.err;
    const time_t now = time(nullptr);
    const std::string name = "cam " + std::to_string(1900 + localtime(&now)->tm_year) + " 100%";
    const std::vector<std::string> files = namesIn(mFolder.path());
    EXPECT_THAT(files, testing::IsSupersetOf({name + ".mp4", name + "-1.mp4"}));
    EXPECT_THAT(files, testing::IsSubsetOf({name + ".mp4", name + "-1.mp4", name + "-2.mp4"}));
}

// By no name, and not by --force: neither the source nor a pipe that nobody reads.
TEST_F(RecordCliTest, aNextFileLeavesAloneWhatIsNoOutput) {
    const std::string source = mFolder.file("cam-002.mp4");
    const std::string pipe = mFolder.file("cam-003.mp4");
    const std::string clip = readFile(testClip());
    ASSERT_TRUE(writeFile(source, clip));
    ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
    const ProcessResult result = runPlayer(
            record({"--usb", source}, mFolder.file("cam.mp4"), {"--split", "1", "--force"}));
    EXPECT_EQ(result.exitCode, 0) << result.signal << result.err;
    EXPECT_EQ(readFile(source), clip);
    EXPECT_TRUE(std::filesystem::is_fifo(pipe));
    EXPECT_NE(MediaProbe(mFolder.file("cam-004.mp4")).video(), nullptr);
}

// ---- Ends ---------------------------------------------------------------------------------------

TEST_F(RecordCliTest, interruptIsTheProperEnd) {
    for (const int exitCode : {0, 130}) {
        const Words options =
                words(exitCode == 0 ? "--json --force" : "--json --force --duration 60");
        const ProcessResult result = player(record({"--usb", kBoth}, mMp4, options))
                                             .signalOnText(SIGINT, "\"event\":\"progress\"")
                                             .run();
        ASSERT_EQ(result.exitCode, exitCode) << result.signal << result.err;
        const json last = eventsOf(result.out).back();
        EXPECT_EQ(last["exit"], exitCode);
        EXPECT_EQ(last["output"], mMp4);
        const MediaProbe probe(mMp4);
        ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
        EXPECT_EQ(probe.video()->frameCount, last["frames"].get<int64_t>());
        EXPECT_GT(probe.video()->frameCount, 10);
        EXPECT_EQ(probe.video()->decodeErrors, 0);
        EXPECT_THAT(namesIn(mFolder.path()), UnorderedElementsAre("out.mp4"));
    }
}

TEST_F(RecordCliTest, aSignalSwitchesItOnAndItsEndIsThatOfTheFile) {
    const ProcessResult result =
            player(record({"--usb", kBoth}, mMp4, {"--standby", "--json", "--duration", "1"}))
                    .signalOnText(SIGUSR1, "\"event\":\"progress\"")
                    .run();
    ASSERT_EQ(result.exitCode, 0) << result.signal << result.err;
    const std::string name = mFolder.file("out-001.mp4");
    const std::vector<json> events = eventsOf(result.out);
    EXPECT_FALSE(eventsNamed(events, "progress").front()["recording"]);
    EXPECT_TRUE(eventsNamed(events, "progress").back()["recording"]);
    EXPECT_THAT(eventsNamed(events, "switch"), testing::SizeIs(1));
    EXPECT_EQ(events.back()["files"], json::array({name}));
    EXPECT_NEAR(MediaProbe(name).video()->frameCount, 30, kLateFrames);
    const ProcessResult never = player(record({"--usb", kPicture}, mMp4, {"--standby", "--json"}))
                                        .signalOnText(SIGINT, "\"event\":\"progress\"")
                                        .run();
    EXPECT_FALSE(eventsOf(never.out).back().contains("output")) << "nothing was recorded";
}

TEST_F(RecordCliTest, tellsWhatAReplayTakes) {
    const ProcessResult result = player(record({"--usb", kBoth}, mMp4, {"--replay", "1:30"}))
                                         .signalOnText(SIGINT, "stay in memory, ")
                                         .run();
    EXPECT_EQ(result.signal, 0);
    // 320x180 at 30 pictures and 0.1 bit a pixel, and 128 kbit/s of sound.
    EXPECT_THAT(result.err, HasSubstr("the last 1:30 stay in memory, about 3.4 MB\n"));
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

// Whatever there is on this computer.
TEST(CameraCli, listsTheDevicesThatAreThere) {
    const ProcessResult text = runPlayer({"camera", "--list"});
    const ProcessResult json = runPlayer({"camera", "--list", "--json"});
    EXPECT_EQ(text.exitCode + json.exitCode, 0) << text.err << json.err;
    const auto devices = eventsNamed(eventsOf(json.out), "device");
    const auto lines = linesOf(text.out);
    ASSERT_EQ(devices.size(), lines.size());
    EXPECT_EQ(text.err, lines.empty() ? "there is no camera, receiver or microphone\n" : "");
    for (size_t i = 0; i < lines.size(); ++i)
        EXPECT_THAT(lines[i], testing::StartsWith(devices[i]["source"].get<std::string>() + "  "));
}

}  // namespace
}  // namespace oxa::test
