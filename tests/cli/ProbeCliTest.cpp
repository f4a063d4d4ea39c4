// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "cli/PlayerProgram.h"

namespace oxa::test {
namespace {

using nlohmann::json;
using testing::HasSubstr;
using testing::Not;

// What other clips hold is measured where they are transcoded: by the same tracks.
TEST(Probe, eventIsOneObjectWithEveryFieldOfATrack) {
    const ProcessResult result =
            runPlayer({"probe", mediaPath("flower_540p_h264_aac.mp4"), "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    EXPECT_EQ(result.err, "");
    EXPECT_EQ(linesOf(result.out).size(), 1u);
    EXPECT_EQ(json::parse(result.out)["tracks"], json::parse(R"([
            {"index": 0, "kind": "video", "mime": "video/avc", "codec": "h264", "profile": "High",
             "width": 960, "height": 540, "rotation": 0, "pixel_aspect": "1:1",
             "interlaced": false, "frame_rate": 29.97002997002997,
             "color": {"range": "tv", "primaries": "smpte170m", "transfer": "smpte170m",
                       "matrix": "smpte170m", "bits": 8},
             "bit_rate": 1538137, "language": null, "duration_s": 5.005},
            {"index": 1, "kind": "audio", "mime": "audio/mp4a-latm", "codec": "aac",
             "profile": "LC", "channels": 2, "layout": "stereo", "sample_rate": 48000,
             "bit_rate": 256000, "language": null, "duration_s": 5.055}])"));
}

TEST(Probe, tellsWhatTheFileSaysAndWhatIsLeftOut) {
    const std::string clip = talkativeClip();
    const json told = eventsOf(runPlayer({"probe", clip, "--json"}).out).at(0);
    json picture = told["tracks"][0];
    EXPECT_EQ(picture["profile"], "Main 10");
    EXPECT_EQ(picture["pixel_aspect"], "4:3");
    EXPECT_EQ(picture["color"], json::parse(R"({"range": "tv", "primaries": "bt2020",
            "transfer": "smpte2084", "matrix": "bt2020nc", "bits": 10})"));
    EXPECT_TRUE(picture["bit_rate"].is_null()) << "the file does not tell it";
    EXPECT_EQ(told["tracks"][1]["layout"], "4.0");
    EXPECT_EQ(told["tracks"][1]["language"], "deu");
    EXPECT_EQ(told["metadata"]["title"], "A \033title");
    EXPECT_FALSE(told["metadata"].contains("major_brand"));
    EXPECT_EQ(told["chapters"][1], json::parse(R"({"start_s": 0.533, "end_s": 1.0,
            "title": "Second half"})"));
    EXPECT_EQ(told["left_out"], json::parse(R"([{"kind": "subtitle", "codec": "subrip",
            "language": "fra", "why": "subtitles"}])"));
    const std::string table = runPlayer({"probe", clip}).out;
    for (const char* part :
         {"hevc Main 10", "64x48, 29.970 fps, pixels 4:3, bt2020 smpte2084 bt2020nc 10 bits",
          "4 ch 4.0, 48000 Hz, deu", "title: A ?title", "ARTIST: Ärtist", "0.533 s Second half",
          "left out: subtitle subrip fra (subtitles)"}) {
        EXPECT_THAT(table, HasSubstr(part));
    }
}

TEST(Probe, tableIsForPeople) {
    const std::string path = mediaPath("bunny_rotated90_aac51.mp4");
    const ProcessResult result = runPlayer({"probe", path});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const auto lines = linesOf(result.out);
    ASSERT_GE(lines.size(), 4u) << result.out;
    EXPECT_EQ(lines[0], path);
    EXPECT_EQ(lines[2].substr(0, lines[2].find(" fps")),
              "  0      video  h264 High  1.875 s  1920x1080, rotated by 90, 24");
    EXPECT_THAT(lines[2], testing::ContainsRegex(", [0-9][.][0-9][0-9] Mbit/s$"));
    EXPECT_THAT(lines[3], HasSubstr("1      audio  aac LC     2.005 s  6 ch 5.1, 48000 Hz, eng"));
    // One column below the other.
    const size_t column = lines[1].find("details");
    for (const std::string& line : {lines[2], lines[3]}) {
        EXPECT_EQ(line[column - 1], ' ') << line;
        EXPECT_NE(line[column], ' ') << line;
    }
}

// A picture that belongs to the file and not to a film must not become a film.
TEST(Probe, coverPictureIsNoTrack) {
    const ProcessResult result = runPlayer({"probe", coverPictureClip(), "--json"});
    ASSERT_EQ(result.exitCode, 0) << result.err;
    const json tracks = json::parse(result.out)["tracks"];
    ASSERT_EQ(tracks.size(), 1u);
    EXPECT_EQ(tracks[0]["kind"], "audio");
}

// ---- In a terminal ------------------------------------------------------------------------------

// The program as in a terminal; what it writes there is in `out`.
ProcessResult runInTerminal(const std::string& arguments, const std::string& noColour,
                            const std::string& terminal = "xterm") {
    return ProcessRunner({"script", "-qec", OXA_PLAYER_PROGRAM " " + arguments, "/dev/null"})
            .setEnvironment("TERM", terminal)
            .setEnvironment("NO_COLOR", noColour)
            .run();
}

// A bar needs a job of more than a moment.
std::string shortJob(const TempDir& folder) {
    return "transcode " + mediaPath("friday_audio_starts_1200ms.mp4") + " -o " +
           folder.file("out.mp4") + " --size 160x120 --preset ultrafast";
}

TEST(Terminal, coloursErrorsTablesAndTheBar) {
    const TempDir folder;
    const ProcessResult error = runInTerminal("probe x.mp4", "");
    EXPECT_EQ(error.exitCode, 3);
    EXPECT_THAT(error.out, HasSubstr("\033[1;31moxaplayer: probe: \033[0mcannot open"));
    EXPECT_THAT(runInTerminal("probe", "").out, HasSubstr("\033[1;31moxaplayer:\033[0m probe: "));
    EXPECT_THAT(runInTerminal("probe " + mediaPath("roar.mp3"), "").out,
                HasSubstr("\033[1m" + mediaPath("roar.mp3") + "\033[0m"));
    EXPECT_THAT(runInTerminal(shortJob(folder), "").out, HasSubstr("\033[32m#"));
}

// Keys come without Return, also to a program that was stopped meanwhile, and the terminal is as
// before.
TEST(Terminal, keysOfThePlayer) {
    const TempDir folder;
    const std::string play = "sh -c \"echo \\$\\$ > pid; exec " OXA_PLAYER_PROGRAM " play " +
                             mediaPath("bunny_360p_aac51.ts") +
                             " --display null --sound null --json > out\"";
    const std::string line = "cd " + folder.path() +
                             "; (until grep -q track out; do sleep 0.02; done; "
                             "kill -TSTP $(cat pid); "
                             "until grep -q State:.T /proc/$(cat pid)/status; do sleep 0.02; done; "
                             "kill -CONT $(cat pid); printf ' .\\033[Cmq'; "
                             "while kill -0 $(cat pid); do sleep 0.02; done) "
                             "2>/dev/null | script -qec 'stty -g; " +
                             play + "; echo exit $?; stty -g' /dev/null";
    const ProcessResult result = ProcessRunner({"sh", "-c", line}).run();
    const auto lines = linesOf(result.out);
    ASSERT_GE(lines.size(), 3u) << result.out;
    EXPECT_EQ(lines.front(), lines.back());
    EXPECT_THAT(result.out, HasSubstr("exit 0"));
    EXPECT_LT(eventsOf(readFile(folder.file("out"))).back()["elapsed_s"], 20);
}

// Who is not in the foreground is stopped when he sets the terminal, unless he is careful.
TEST(Terminal, isAsBeforeWhenThePlayerEndsInTheBackground) {
    const TempDir folder;
    ASSERT_TRUE(
            writeFile(folder.file("job"),
                      "set -m; ulimit -c 0; stty -g\n"
                      "(until grep -q track out; do sleep 0.02; done; kill -TSTP $(cat pid)) &\n"
                      "sh -c 'echo $$ > pid; exec " OXA_PLAYER_PROGRAM " play " +
                              mediaPath("bunny_360p_aac51.ts") +
                              " --display null --sound null --json > out'\n"
                              "bg > /dev/null; kill -QUIT $(cat pid); wait $(cat pid)\n"
                              "echo exit $?; stty -g\n"));
    const ProcessResult result =
            ProcessRunner({"script", "-qec", "cd " + folder.path() + "; bash job", "/dev/null"})
                    .setTimeLimit(std::chrono::seconds(30))
                    .run();
    const auto lines = linesOf(result.out);
    ASSERT_GE(lines.size(), 3u) << result.out;
    EXPECT_EQ(lines.front(), lines.back());
    EXPECT_THAT(result.out, HasSubstr("exit 131"));  // of the signal
}

TEST(Terminal, isPlainWhereColourIsRefused) {
    const TempDir folder;
    const ProcessResult bar = runInTerminal(shortJob(folder), "1");
    EXPECT_EQ(bar.exitCode, 0) << bar.out;
    EXPECT_THAT(bar.out, HasSubstr("\r\033[K["));  // a bar nevertheless, which does not stay
    EXPECT_THAT(bar.out, HasSubstr("\r\033[K" + folder.file("out.mp4") + ": "));
    EXPECT_THAT(bar.out,
                testing::AllOf(HasSubstr(" % "), HasSubstr(" fps  "), Not(HasSubstr("m#"))));
    EXPECT_THAT(runInTerminal("probe x.mp4", "1").out, Not(HasSubstr("\033")));
    EXPECT_THAT(runInTerminal("probe x.mp4", "", "dumb").out, Not(HasSubstr("\033")));
    EXPECT_THAT(runPlayer({"probe", mediaPath("roar.mp3")}).out, Not(HasSubstr("\033")));
}

}  // namespace
}  // namespace oxa::test
