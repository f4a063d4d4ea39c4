// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <unistd.h>

#include <csignal>
#include <filesystem>

#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"
#include "support/SampleList.h"
#include "support/Sound.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

constexpr char kEncoderReport[] = "\"side\":\"encoder\"";  // something was written

class TranscodeCliTest : public testing::Test {
  protected:
    using Words = std::vector<std::string>;

    // The arguments of a job that is small and quick.
    static Words quick(const std::string& input, const std::string& output,
                       const Words& more = {}) {
        return joined({"transcode", input, "-o", output, "--preset", "ultrafast"}, more);
    }

    // The arguments of a job that takes many seconds on any machine, and reports as events.
    static Words longJob(const std::string& output) {
        return joined({"transcode", mediaPath("bunny_360p_aac51.ts"), "-o", output},
                      words("--size 1280x720 --preset slow --force --json"));
    }

    // A second of both kinds, 30 pictures.
    const std::string mClip = mediaPath("bunny_480i_tff_mpeg2_mp2.ts");
    TempDir mFolder;
    const std::string mMp4 = mFolder.file("out.mp4");
    const std::string mTs = mFolder.file("out.ts");
};

// ---- What comes out -----------------------------------------------------------------------------

TEST_F(TranscodeCliTest, clipBecomesAvcAndAacAndEventsTellIt) {
    const ProcessResult result = runPlayer(quick(mClip, mMp4, {"--json", "--quiet"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    const MediaProbe probe(mMp4);
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    EXPECT_EQ(probe.video()->codec, "h264");
    EXPECT_EQ(probe.audio()->codec, "aac");

    const auto events = eventsOf(result.out);
    ASSERT_GE(events.size(), 5u);
    EXPECT_EQ(events.front()["event"], "start");
    EXPECT_EQ(events.front()["format"], "mp4");
    const auto tracks = eventsNamed(events, "track");
    ASSERT_EQ(tracks.size(), 2u);
    EXPECT_EQ(tracks[0]["kind"], "video");
    EXPECT_EQ(tracks[0]["width"], 720);
    EXPECT_EQ(tracks[1]["sample_rate"], 48000);
    EXPECT_EQ(eventsNamed(events, "eos").size(), 1u);
    const json& last = events.back();
    EXPECT_EQ(last["event"], "result");
    EXPECT_EQ(last["exit"], 0);
    EXPECT_EQ(last["output"], mMp4);
    EXPECT_EQ(last["frames"], 30);
    EXPECT_EQ(last["bytes"], fileSize(mMp4));
    const double seconds = last["duration_s"];
    EXPECT_NEAR(seconds, 1, 0.08);
    size_t soundBytes = 0;
    for (const StoredSample& sample : soundSamples(mMp4))
        soundBytes += sample.data.size();
    EXPECT_NEAR(8 * soundBytes / seconds, 128000, 20000);
    EXPECT_GT(last["speed"], 0);
    EXPECT_THAT(namesIn(mFolder.path()), testing::UnorderedElementsAre("out.mp4"));
}

// The files that are opened would have their numbers, and messages would go into these.
TEST_F(TranscodeCliTest, standardStreamsMayBeClosed) {
    const Words command = {"sh", "-c", "exec \"$0\" \"$@\" <&- >&- 2>&-", OXA_PLAYER_PROGRAM};
    EXPECT_EQ(ProcessRunner(joined(command, quick(mClip, mMp4))).run().exitCode, 0);
    const MediaProbe probe(mMp4);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    EXPECT_EQ(probe.video()->frameCount, 30);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
}

TEST_F(TranscodeCliTest, optionsReachTheEncoders) {
    const ProcessResult result =
            runPlayer(quick(mediaPath("friday_audio_starts_1200ms.mp4"), mMp4,
                            {"--size", "320x240", "--fps", "10", "--video-bitrate", "300k",
                             "--keyframe-interval", "1", "--profile", "baseline", "--level", "3.0",
                             "--audio-rate", "22050", "--audio-channels", "1"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const MediaProbe probe(mMp4);
    ASSERT_TRUE(probe.video() != nullptr && probe.audio() != nullptr) << probe.error();
    EXPECT_EQ(probe.video()->width, 320);
    EXPECT_EQ(probe.video()->height, 240);
    EXPECT_NEAR(probe.video()->frameCount, 31, 1);
    EXPECT_EQ(probe.video()->syncPacketCount, 4);
    EXPECT_THAT(probe.video()->profile, HasSubstr("Baseline"));
    EXPECT_EQ(probe.video()->level, 30);
    EXPECT_EQ(probe.audio()->sampleRate, 22050);
    EXPECT_EQ(probe.audio()->channels, 1);
    EXPECT_LT(fileSize(mMp4), 250'000);
}

// Two pictures, of which the second is larger, and two sounds; the parts are of a second each.
TEST_F(TranscodeCliTest, partsOfFilesAreChosenByTimeNumberAndLanguage) {
    const std::string source = mFolder.file("tracks.mkv");
    runOrDie(ffmpeg(
            joined(words("-f lavfi -i testsrc2=size=160x120:rate=10:duration=3 -f lavfi -i "
                         "testsrc2=size=320x240:rate=20:duration=3 -f lavfi -i sine=440:duration=3 "
                         "-f lavfi -i sine=880:duration=3 -map 0 -map 1 -map 2 -map 3 "
                         "-metadata:s:a:0 language=eng -metadata:s:a:1 language=deu -c:v libx264 "
                         "-preset ultrafast -c:a aac"),
                   {source})));
    const struct {
        Words options;
        int width;
        int64_t pictures;
        double frequency;
    } kParts[] = {{{"--start", "1", "--duration", "1s"}, 160, 10, 440},
                  {{"--start", "0:02", "--end", "3", "--video-track", "1", "--audio-track", "3"},
                   320,
                   20,
                   880},
                  {{"--end", "1", "--audio-track", "deu"}, 160, 10, 880}};
    for (const auto& part : kParts) {
        SCOPED_TRACE(testing::PrintToString(part.options));
        ASSERT_EQ(runPlayer(quick(source, mMp4, joined(part.options, {"--force"}))).exitCode, 0);
        const MediaProbe probe(mMp4);
        ASSERT_NE(probe.video(), nullptr);
        EXPECT_EQ(probe.video()->width, part.width);
        EXPECT_EQ(probe.video()->frameCount, part.pictures);
        const Sound sound = decodeSound(mMp4);
        EXPECT_NEAR(sound.seconds(), 1, 1024.0 / sound.sampleRate);
        EXPECT_NEAR(dominantFrequency(sound.mono(), sound.sampleRate), part.frequency, 5);
    }
}

// A track that yields nothing must cost a warning, not the other track.
TEST_F(TranscodeCliTest, trackThatCannotBeDecodedIsLeftOut) {
    const std::string broken = mFolder.file("broken.mp4");
    runOrDie({"ffmpeg", "-v", "error", "-i", mediaPath("flower_540p_h264_aac.mp4"), "-c", "copy",
              "-bsf:v", "filter_units=remove_types=1-5", broken});
    const ProcessResult result = runPlayer(quick(broken, mMp4));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_THAT(result.err, HasSubstr("warning: the picture cannot be decoded"));
    EXPECT_THAT(result.err, Not(HasSubstr(" pictures")));
    const MediaProbe probe(mMp4);
    EXPECT_EQ(probe.video(), nullptr);
    ASSERT_NE(probe.audio(), nullptr);
    EXPECT_NEAR(probe.audio()->durationUs(), 5'050'000, 60'000);

    const ProcessResult nothing = runPlayer(quick(broken, mTs, {"--only", "video"}));
    EXPECT_EQ(nothing.exitCode, 3) << nothing.err;
    EXPECT_FALSE(std::filesystem::exists(mTs));
}

// ---- Standard output ----------------------------------------------------------------------------

TEST_F(TranscodeCliTest, standardOutputCarriesTheStreamAndNothingElse) {
    const ProcessResult result = runPlayer(quick(mClip, "-", {"--json"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    ASSERT_EQ(result.out.size() % 188, 0u);
    for (size_t i = 0; i < result.out.size(); i += 188)
        ASSERT_EQ(result.out[i], 'G') << i;
    ASSERT_TRUE(writeFile(mTs, result.out));
    const MediaProbe probe(mTs);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    EXPECT_EQ(probe.video()->frameCount, 30);
    EXPECT_LE(largestLeadUs(mTs), 500'000);
    // The events move to standard error, and are alone there.
    const auto events = eventsOf(result.err);
    ASSERT_FALSE(events.empty());
    EXPECT_EQ(events.back()["event"], "result");
    EXPECT_EQ(events.back()["output"], "-");
    EXPECT_NEAR(events.back()["duration_s"].get<double>(), 1, 0.2);
}

TEST_F(TranscodeCliTest, brokenPipeIsAnOutputError) {
    const ProcessResult result = player(quick(mClip, "-")).closeOutputAfter(100'000).run();
    EXPECT_EQ(result.exitCode, 4) << result.signal << result.err;
    EXPECT_THAT(result.err, HasSubstr("cannot write '-': Broken pipe"));
}

// Whoever holds a pipe open and never reads must not hold up the job for ever, nor its interrupt.
TEST_F(TranscodeCliTest, stalledReaderIsAFailureAndCanBeInterrupted) {
    const std::string pipe = mFolder.file("pipe.ts");
    runOrDie({"mkfifo", pipe});
    const int reader = open(pipe.c_str(), O_RDWR | O_CLOEXEC);
    ASSERT_GE(reader, 0);
    for (const Words& command :
         {quick(mClip, pipe, {"--json"}),
          {"remux", mediaPath("car_432p_12fps.mp4"), "-o", pipe, "--json"}}) {
        SCOPED_TRACE(command.front());
        const ProcessResult stalled =
                player(command).setEnvironment("OXA_STALL_SECONDS", "3").leavesThreads().run();
        EXPECT_EQ(stalled.exitCode, 1) << stalled.signal << stalled.err;
        EXPECT_THAT(stalled.err, HasSubstr("nothing was read or written for 3 seconds"));
        EXPECT_GE(stalled.duration, std::chrono::seconds(3));
        // By the second report the pipe has long been full.
        const auto interrupt = [&] {
            return player(command)
                    .signalOnText(0, "\"progress\"")
                    .signalOnText(SIGINT, "\"progress\"")
                    .setTimeLimit(std::chrono::seconds(25));
        };
        const ProcessResult once = interrupt().run();
        EXPECT_EQ(once.exitCode, 4) << once.signal << once.err;
        EXPECT_THAT(once.err, HasSubstr("the reader does not read on"));
        EXPECT_THAT(once.out, HasSubstr("\"result\""));
        // Two different signals, since two of a kind may count as one.
        const ProcessResult twice = interrupt().signalOnText(SIGTERM, "once more to end").run();
        EXPECT_EQ(twice.exitCode, 130) << twice.signal << twice.err;
        EXPECT_THAT(twice.out, Not(HasSubstr("\"result\""))) << "it was ended, not finished";
    }
    close(reader);
}

// ---- Reports ------------------------------------------------------------------------------------

// The track of which more is to come tells how much is done.
TEST_F(TranscodeCliTest, progressIsThatOfThePictureLongAfterTheSoundHasEnded) {
    ClipOptions clip;
    clip.seconds = 12;
    clip.audioSeconds = 1;
    const ProcessResult result = player({"transcode", testClip(clip), "-o", mMp4, "--size",
                                         "1280x720", "--preset", "slow", "--json"})
                                         .signalOnText(SIGINT, "\"percent\"")
                                         .run();
    ASSERT_EQ(result.exitCode, 130) << result.err;
    const json progress = eventsNamed(eventsOf(result.out), "progress").at(0);
    const double share = progress["frames"].get<double>() / (12 * 25);
    EXPECT_NEAR(progress["percent"].get<double>(), 100 * share, 1);
}

// A program that reads only the first events must not cost the user the file.
TEST_F(TranscodeCliTest, readerOfEventsMayGoAway) {
    const ProcessResult result = player(quick(mClip, mMp4, {"--json"})).closeOutputAfter(10).run();
    EXPECT_EQ(result.exitCode, 0) << result.signal << result.err;
    EXPECT_NE(MediaProbe(mMp4).video(), nullptr);
}

// Without a terminal a redrawn bar would fill a log file with control characters.
TEST_F(TranscodeCliTest, quietSaysNothingAndVerboseShowsThePlatformLog) {
    const ProcessResult quiet = runPlayer(quick(mediaPath("roar.mp3"), mMp4, {"--quiet"}));
    EXPECT_EQ(quiet.exitCode, 0);
    EXPECT_EQ(quiet.out + quiet.err, "");
    const ProcessResult normal = runPlayer(quick(mClip, mMp4, {"--force"}));
    EXPECT_EQ(normal.out, "");
    EXPECT_THAT(normal.err, testing::AllOf(HasSubstr(mMp4 + ": 1.0 s, 30 pictures, "),
                                           Not(HasSubstr("OxaMediaCodecPlayer")),
                                           Not(HasSubstr("\r")), Not(HasSubstr("\033"))));
    const ProcessResult verbose =
            runPlayer(quick(mediaPath("roar.mp3"), mMp4, {"--force", "--verbose"}));
    EXPECT_EQ(verbose.exitCode, 0);
    EXPECT_THAT(verbose.err, HasSubstr("D OxaMediaCodecPlayer: "));
}

TEST_F(TranscodeCliTest, pictureFitsIntoTheLargestSizeInItsShape) {
    const struct {
        const char *clip, *options;
        int width, height;
    } kSizes[] = {{"bunny_rotated90_aac51.mp4", "--max-size 240p", 240, 426},
                  {"bunny_rotated90_aac51.mp4", "--max-size 426x240", 134, 240},
                  {"bunny_480i_tff_mpeg2_mp2.ts", "--max-size 101x8000", 100, 56},
                  {"bear_161x121_vp9.webm", "--max-size 1080p", 160, 120},
                  {"bear_161x121_vp9.webm", "--size 240p", 426, 240}};
    for (const auto& size : kSizes) {
        SCOPED_TRACE(size.clip + std::string(" ") + size.options);
        const auto arguments =
                joined(words(size.options), {"--only", "video", "--duration", "0.1"});
        ASSERT_EQ(runPlayer(quick(mediaPath(size.clip), mMp4, joined(arguments, {"--force"})))
                          .exitCode,
                  0);
        const MediaProbe written(mMp4);
        EXPECT_EQ(written.video()->width, size.width);
        EXPECT_EQ(written.video()->height, size.height);
    }
}

// The mean brightness of a file's pictures behind a filter of the ffmpeg command.
double meanLevel(const std::string& path, const std::string& filter) {
    const std::string raw = runOrDie(ffmpeg({"-i", path, "-vf", filter + "format=yuv420p", "-f",
                                             "rawvideo", "-an", "-"}))
                                    .out;
    constexpr size_t kPoints = 64 * 48;
    double sum = 0;
    for (size_t i = 0; i < raw.size(); ++i) {
        if (i % (kPoints * 3 / 2) < kPoints) sum += static_cast<unsigned char>(raw[i]);
    }
    return sum / (static_cast<double>(raw.size()) * 2 / 3);
}

// Unchanged, it would look grey where it is shown as what a file without HDR is.
TEST_F(TranscodeCliTest, highDynamicRangeBecomesBt709) {
    const std::string reference =
            "zscale=t=linear:npl=100,format=gbrpf32le,zscale=p=bt709,tonemap=tonemap=hable:desat=0,"
            "zscale=t=bt709:m=bt709:r=tv,";
    const std::pair<const char*, const char*> kKinds[] = {{"smpte2084", "(PQ)"},
                                                          {"arib-std-b67", "(HLG)"}};
    for (const auto& [transfer, shown] : kKinds) {
        SCOPED_TRACE(transfer);
        const std::string clip = mFolder.file(transfer) + ".mkv";
        runOrDie(ffmpeg({"-i", talkativeClip(), "-map", "0:v", "-c:v", "ffv1", "-vf",
                         std::string("setparams=color_trc=") + transfer, clip}));
        for (const char* options : {"", "--fps 10"}) {
            const ProcessResult result = runPlayer(
                    quick(clip, mMp4, joined(words(options), {"--force", "--size", "64x48"})));
            ASSERT_EQ(result.exitCode, 0) << result.err;
            EXPECT_THAT(result.err, HasSubstr(std::string("HDR ") + shown));
            const double level = meanLevel(clip, reference);
            EXPECT_NEAR(meanLevel(mMp4, ""), level, 0.05 * level);
            EXPECT_GT(std::abs(meanLevel(clip, "") - level), 0.1 * level);
            const json color =
                    json::parse(runPlayer({"probe", mMp4, "--json"}).out)["tracks"][0]["color"];
            EXPECT_EQ(color, json::parse(R"({"range": "tv", "primaries": "bt709",
                    "transfer": "bt709", "matrix": "bt709", "bits": 8})"));
        }
    }
}

// What people have written about a film goes with it; what does not is told.
TEST_F(TranscodeCliTest, wordsAboutTheFilmAreKeptOrTold) {
    const struct {
        const char *options, *output;
        json metadata, chapters, leftOut;
        const char* line;
    } kOutputs[] = {{"",
                     "a.mp4",
                     {{"title", "A \033title"},
                      {"artist", "Ärtist"},
                      {"date", "2001"},
                      {"comment", "Words"}},
                     {{0.0, 0.533, "First half"}, {0.533, 1.0, "Second half"}},
                     {0, 1, 1, 0, 0, {"album"}},
                     "left out: 1 sound, 1 subtitle, album\n"},
                    {"--start 0.25 --end 0.5 --audio-track eng --only audio",
                     "b.m4a",
                     {{"title", "A \033title"}},
                     {{0.0, 0.25, "First half"}},
                     {0, 1, 1, 0, 0, {"album"}},
                     "left out: 1 sound, 1 subtitle, album\n"},
                    {"--only video",
                     "c.ts",
                     json::object(),
                     json::array(),
                     {0, 0, 1, 0, 2, {"artist", "date", "comment", "album"}},
                     "left out: 1 subtitle, 2 chapters, artist, date, comment, album\n"},
                    {"--no-metadata",
                     "d.mp4",
                     json::object(),
                     json::array(),
                     {0, 1, 1, 0, 0, json::array()},
                     "left out: 1 sound, 1 subtitle\n"}};
    for (const auto& output : kOutputs) {
        SCOPED_TRACE(output.output);
        const std::string path = mFolder.file(output.output);
        const auto arguments =
                joined({"transcode", talkativeClip(), "--json", "-o", path}, words(output.options));
        const ProcessResult result = runPlayer(arguments);
        ASSERT_EQ(result.exitCode, 0) << result.err;
        EXPECT_THAT(result.err, HasSubstr(output.line));
        const json event = eventsNamed(eventsOf(result.out), "left_out").at(0);
        json left = json::array();
        for (const char* kind : {"pictures", "sounds", "subtitles", "data", "chapters", "tags"})
            left.push_back(event[kind]);
        EXPECT_EQ(left, output.leftOut);

        const json told = json::parse(runPlayer({"probe", path, "--json"}).out);
        for (const char* key : {"title", "artist", "date", "comment"}) {
            if (output.metadata.contains(key)) {
                EXPECT_EQ(told["metadata"][key], output.metadata[key]);
            } else if (output.metadata.empty()) {
                EXPECT_FALSE(told["metadata"].contains(key)) << key;
            }
        }
        json chapters = json::array();
        for (const json& chapter : told["chapters"])
            chapters.push_back({chapter["start_s"], chapter["end_s"], chapter["title"]});
        EXPECT_EQ(chapters, output.chapters);
        EXPECT_EQ(told["left_out"], json::array());
    }
    const json kept = json::parse(runPlayer({"probe", mFolder.file("a.mp4"), "--json"}).out);
    EXPECT_EQ(kept["tracks"][1]["language"], "deu");
    const json chosen = json::parse(runPlayer({"probe", mFolder.file("b.m4a"), "--json"}).out);
    EXPECT_EQ(chosen["tracks"][0]["language"], "eng");
    const std::string before = readFile(mFolder.file("a.mp4"));
    runPlayer({"transcode", talkativeClip(), "--force", "-o", mFolder.file("a.mp4")});
    EXPECT_TRUE(readFile(mFolder.file("a.mp4")) == before);
}

// Half a film must not look like a whole one, to people as to programs.
TEST_F(TranscodeCliTest, damageIsCountedAndToldEvenWithQuiet) {
    const std::string damaged = zeroRegion(mediaPath("flower_540p_h264_aac.mp4"), 0.3, 0.4);
    const ProcessResult result = runPlayer(quick(damaged, mMp4, {"--json", "--quiet"}));
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto count = eventsOf(result.out).back()["damaged"].get<int64_t>();
    EXPECT_GT(count, 1);
    EXPECT_EQ(result.err, "oxaplayer: transcode: warning: the input is damaged (" +
                                  std::to_string(count) + " times)\n");
    const ProcessResult whole = runPlayer(quick(mClip, mTs, {"--json", "--quiet", "--strict"}));
    EXPECT_EQ(whole.exitCode, 0) << whole.err;
    EXPECT_EQ(eventsOf(whole.out).back()["damaged"], 0);
}

TEST_F(TranscodeCliTest, strictLeavesNothingOfADamagedInput) {
    const std::string flower = mediaPath("flower_540p_h264_aac.mp4");
    for (const std::string& damaged :
         {zeroRegion(flower, 0.3, 0.4), zeroRegion(mediaPath("bunny_360p_aac51.ts"), 0.98, 0.99),
          dropTsPackets(mClip, 50), truncateClip(mClip, 0.7)}) {
        const ProcessResult result = runPlayer(quick(damaged, mMp4, {"--strict", "--quiet"}));
        EXPECT_EQ(result.exitCode, 3) << damaged << result.err;
        EXPECT_THAT(result.err, HasSubstr("'" + damaged + "' is damaged: "));
        EXPECT_EQ(linesOf(result.err).size(), 1u) << result.err;
    }
    EXPECT_THAT(namesIn(mFolder.path()), testing::IsEmpty());
}

TEST_F(TranscodeCliTest, verifiedOutputsSaySo) {
    const std::string nasa = mediaPath("nasa_multistream.mp4");
    const std::string late = mFolder.file("late.wmv");
    runOrDie(ffmpeg({"-itsoffset", "0.05", "-f", "lavfi", "-i", "testsrc2=d=1", "-f", "lavfi", "-i",
                     "anoisesrc=d=1", late}));
    const struct {
        std::string source;
        std::string output;
        std::vector<std::string> options;
    } kCases[] = {
            {nasa, mMp4, {"--size", "160x120", "--fps", "20"}},
            // Its decoder of sound gives nothing for what is in front of the first picture.
            {late, mMp4, {}},
            {nasa, mTs, {"--size", "160x120", "--fps", "20"}},
            // What is left out was there first.
            {mediaPath("friday_audio_starts_1200ms.mp4"), mMp4, {"--only", "audio"}},
            {mediaPath("friday_video_starts_1s.mp4"), mMp4, {"--only", "video"}},
            {mediaPath("bear_161x121_vp9.webm"), mMp4, {"--start", "0.31"}},
            {mediaPath("bunny_480p_hevc.mp4"), mTs, {"--quality", "51"}},
            // Half a tick of the new rate is longer than all there is.
            {oneFrameVideo(), mMp4, {"--fps", "1"}},
    };
    for (const auto& test : kCases) {
        const ProcessResult result = runPlayer(quick(
                test.source, test.output, joined({"--verify", "--json", "--force"}, test.options)));
        EXPECT_EQ(result.exitCode, 0) << test.source << result.out;
        EXPECT_EQ(eventsOf(result.out).back()["verified"], true);
    }
    const ProcessResult piped = runPlayer(quick(mClip, "-", {"--verify"}));
    EXPECT_EQ(piped.exitCode, 2) << piped.err;
    EXPECT_THAT(piped.err, HasSubstr("only an output that is a file"));
}

// ---- Interrupts ---------------------------------------------------------------------------------

// A file without its index after Ctrl-C is what people lose their recordings to.
TEST_F(TranscodeCliTest, firstSignalLeavesAPlayableFile) {
    ASSERT_TRUE(writeFile(mMp4, "precious"));
    const ProcessResult result = player(longJob(mMp4)).signalOnText(SIGINT, kEncoderReport).run();
    ASSERT_EQ(result.exitCode, 130) << result.signal << result.err;
    const json last = eventsOf(result.out).back();
    EXPECT_EQ(last["event"], "result");
    EXPECT_EQ(last["exit"], 130);
    // A film that was shortened does not replace one.
    EXPECT_EQ(readFile(mMp4), "precious");
    const std::string kept = last["output"];
    EXPECT_THAT(kept, testing::MatchesRegex(mFolder.file("out\\.part-......\\.mp4")));
    EXPECT_THAT(result.err, HasSubstr(kept));
    const MediaProbe probe(kept);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    EXPECT_GT(probe.video()->frameCount, 0);
    EXPECT_LT(probe.video()->frameCount, 721);
    EXPECT_EQ(probe.video()->decodeErrors, 0);
    EXPECT_EQ(probe.video()->frameCount, last["frames"].get<int64_t>());
    EXPECT_EQ(namesIn(mFolder.path()).size(), 2u);
}

// While it comes, before anything can be read of it.
TEST_F(TranscodeCliTest, interruptedStandardInputIsNoFailure) {
    const std::string program = OXA_PLAYER_PROGRAM " transcode - -o " + mFolder.file("out.mp4");
    const ProcessResult result =
            ProcessRunner({"sh", "-c",
                           "mkfifo $0; sleep 3 > $0 & echo begun; exec " + program + " < $0",
                           mFolder.file("pipe")})
                    .signalOnText(0, "begun")
                    .signalAfter(SIGINT, std::chrono::milliseconds(400))
                    .run();
    // A signal before the program has taken over signals ends it as the system does.
    EXPECT_EQ(result.signal == SIGINT ? 130 : result.exitCode, 130) << result.err;
    EXPECT_THAT(namesIn(mFolder.path()), testing::ElementsAre("pipe"));
}

TEST_F(TranscodeCliTest, interruptedStreamEndsWithWholePackets) {
    for (const int signal : {SIGTERM, SIGHUP}) {
        // A terminal that is closed may send two.
        const ProcessResult result = player(longJob("-"))
                                             .signalOnText(signal, kEncoderReport)
                                             .signalAfter(SIGHUP, std::chrono::milliseconds(0))
                                             .run();
        EXPECT_EQ(result.exitCode, 130) << result.signal << result.err;
        EXPECT_EQ(result.out.size() % 188, 0u);
        const json last = eventsOf(result.err).back();
        EXPECT_EQ(last["exit"], 130);
        ASSERT_TRUE(writeFile(mTs, result.out));
        const MediaProbe probe(mTs);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_EQ(probe.video()->frameCount, last["frames"].get<int64_t>());
        EXPECT_EQ(probe.video()->decodeErrors, 0);
    }
}

// Two different signals, since two of a kind may count as one.
TEST_F(TranscodeCliTest, secondSignalEndsAtOnceAndLeavesNothingUnfinished) {
    const ProcessResult result = player(longJob(mMp4))
                                         .signalOnText(SIGINT, kEncoderReport)
                                         .signalAfter(SIGTERM, std::chrono::milliseconds(0))
                                         .run();
    EXPECT_EQ(result.exitCode, 130) << result.signal << result.err;
    EXPECT_THAT(namesIn(mFolder.path()), testing::Each("out.mp4"));
}

}  // namespace
}  // namespace oxa::test
