// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// What new users type, and what they are told.

#include <filesystem>
#include <regex>

#include "arguments/Nearest.h"
#include "cli/PlayerProgram.h"
#include "support/MediaProbe.h"

namespace oxa::test {
namespace {

using testing::HasSubstr;

// One command line of the shell, in a folder with "film one.mp4", in which $P is the program.
struct Line {
    const char* text;
    int exitCode;
    std::vector<const char*> out;  // each is in it; nothing else is there without any
    std::vector<const char*> err;  // the same
    const char* file = "";         // is there afterwards
};

void expectTexts(const std::string& text, const std::vector<const char*>& parts) {
    EXPECT_EQ(text.empty(), parts.empty()) << text;
    for (const char* part : parts)
        EXPECT_THAT(text, HasSubstr(part));
}

class WordsCliTest : public testing::Test {
  protected:
    WordsCliTest() {
        std::filesystem::copy(mediaPath("car_432p_12fps.mp4"), mFolder.file("film one.mp4"));
    }

    ProcessResult runLine(const std::string& line) {
        return ProcessRunner(
                       {"sh", "-c", "cd \"$0\"; P=$1; " + line, mFolder.path(), OXA_PLAYER_PROGRAM})
                .run();
    }

    void expectLines(const std::vector<Line>& lines) {
        for (const Line& line : lines) {
            SCOPED_TRACE(line.text);
            const ProcessResult result = runLine(line.text);
            EXPECT_EQ(result.exitCode, line.exitCode) << result.err;
            expectTexts(result.out, line.out);
            expectTexts(result.err, line.err);
            const std::string file = mFolder.file(line.file);
            EXPECT_TRUE(std::filesystem::exists(file)) << file;
        }
    }

    TempDir mFolder;
};

TEST_F(WordsCliTest, helpIsWhereItIsLookedFor) {
    expectLines({{"$P", 2, {}, {"transcode ", "contact-sheet ", "--json"}},
                 {"$P help", 0, {"transcode ", "contact-sheet ", "--log FILE"}, {}},
                 {"$P help play", 0, {"oxaplayer play", "--tunneled", "--log FILE"}, {}},
                 {"$P help help", 0, {"COMMAND"}, {}},
                 {"$P play --help", 0, {"oxaplayer play", "--tunneled"}, {}},
                 {"$P -V", 0, {"oxaplayer 0."}, {}},
                 {"$P probe -V", 0, {"oxaplayer 0."}, {}}});
    EXPECT_EQ(runLine("$P help camera").out, runLine("$P camera --help").out);
}

TEST_F(WordsCliTest, slipIsAnsweredWithWhatWasMeant) {
    expectLines(
            {{"$P transcod a -o b.mp4",
              2,
              {},
              {"no command 'transcod', did you mean 'transcode'?"}},
             {"$P help plya", 2, {}, {"help: there is no command 'plya', did you mean 'play'?"}},
             {"$P --jsno probe a", 2, {}, {"'--jsno', did you mean '--json'?"}},
             {"$P transcode --sise 2x2 a -o b", 2, {}, {"'--sise', did you mean '--size'?"}},
             {"$P transcode a -o b --bitrate=9", 2, {}, {"'--bitrate', did you mean '--video-b"}},
             {"$P transcode -size 2x2 a -o b", 2, {}, {"'-size', did you mean '--size'?"}},
             {"$P probe a --nonsense", 2, {}, {"there is no option '--nonsense' ("}},
             {"$P transcode a b.mp4", 2, {}, {"'b.mp4' is spare, did you mean '-o b.mp4'?"}},
             {"$P transcode a c -o b.mp4", 2, {}, {"'c' is spare ("}},
             {"$P probe a b", 2, {}, {"probe: 'b' is spare ("}},
             {"$P probe a -", 2, {}, {"probe: '-' is spare ("}},
             {"$P --json", 2, {}, {"a command is missing"}},
             {"$P probe a --quiet --verbose", 2, {}, {"--quiet excludes --verbose"}},
             {"$P probe a --json=3", 2, {}, {"--json: takes no value ("}},
             {"$P transcode a -o b.mp4 --no-metadata=false", 2, {}, {"--no-metadata: takes no"}}});
}

TEST(NearestWord, isNearOrNone) {
    const std::vector<std::string> words = {"size", "fps", "video-bitrate", "format"};
    const std::pair<const char*, const char*> kTyped[] = {
            {"sise", "size"},    {"isze", "size"}, {"siz", "size"}, {"bitrate", "video-bitrate"},
            {"formt", "format"}, {"fmt", ""},      {"", ""},        {"quality", ""},
            {"quantise", ""}};
    for (const auto& [typed, meant] : kTyped)
        EXPECT_EQ(oxaplayer::nearestWord(typed, words), meant) << typed;
}

TEST_F(WordsCliTest, inputsAreFilesUrlsOfFilesAndStandardInput) {
    const std::vector<const char*> film = {"768x432"};
    expectLines(
            {{"$P probe \"file://$PWD/film%20one.mp4\"", 0, film, {}},
             {"$P probe \"file://localhost$PWD/film%20one.mp4\"", 0, film, {}},
             {"$P probe \"FILE://LocalHost$PWD/film%20one.mp4\"", 0, film, {}},
             {"$P probe 'file:///no%2fsuch.mp4'", 3, {}, {"'file:///no%2fsuch.mp4': No such file"}},
             {"$P probe file://elsewhere/film.mp4", 3, {}, {"no file of this computer"}},
             {"$P probe file:///film%2", 3, {}, {"badly written"}},
             {"$P probe http://x.org/film.mp4", 3, {}, {"no 'http' addresses"}},
             {"$P probe - < 'film one.mp4'", 0, film, {}},
             {"cat 'film one.mp4' | $P probe -", 0, film, {}},
             {"cat 'film one.mp4' | TMPDIR=/none $P probe -", 0, film, {}},
             {"printf '' | $P probe -", 3, {}, {"cannot open '-': The file is empty"}},
             {"cat 'film one.mp4' | $P contact-sheet - -o s.png",
              0,
              {},
              {"16 pictures"},
              "s.png"}});
}

TEST_F(WordsCliTest, outputsAreNamedAsPeopleDo) {
    const std::string start = "$P transcode 'film one.mp4' --duration 0.05 ";
    const struct {
        const char* options;
        int exitCode;
        const char *err, *file, *format;
    } kOutputs[] = {{"-o a.MTS", 0, "a.MTS: 0.1 s, 1 picture,", "a.MTS", "mpegts"},
                    {"-o a.m2ts", 0, "1 picture,", "a.m2ts", "mpegts"},
                    {"-o a.M4V", 0, "1 picture,", "a.M4V", "mp4"},
                    {"-o a.m4a --only audio", 0, "a.m4a: 0.1 s, ", "a.m4a", "mp4"},
                    {"-o ./", 2, "'./film one.mp4' is the input", "film one.mp4", "mp4"},
                    {"-o ./ --format ts", 0, "./film one.ts: ", "film one.ts", "mpegts"},
                    {"-o b.mp4 --format ts", 2, "--format 'ts': expected mp4", "", ""},
                    {"-o b.TS --format mp4", 2, "--format 'mp4': expected ts", "", ""}};
    for (const auto& output : kOutputs) {
        expectLines({{(start + output.options).c_str(),
                      output.exitCode,
                      {},
                      {output.err},
                      output.file}});
        if (*output.format == '\0') continue;
        EXPECT_THAT(MediaProbe(mFolder.file(output.file)).formatName(), HasSubstr(output.format));
    }
    expectLines({{"$P contact-sheet 'film one.mp4' -o a.jpg", 2, {}, {"name it .png"}},
                 {"$P contact-sheet 'film one.mp4' -o ./", 0, {}, {"16 pictures"}, "film one.png"},
                 {"cat film* | $P transcode - -o ./", 2, {}, {"'./' is a folder"}},
                 {"$P plan 'film one.mp4' -o a.mp4 --parts 10 --quiet",
                  0,
                  {" -o a.01.work.mp4 ", " && mv a.10.work.mp4 a.10.mp4\n"},
                  {}}});
}

TEST_F(WordsCliTest, answerThatCannotBeWrittenIsAnError) {
    const std::vector<const char*> full = {": No space left on device"};
    // "start" fits into the block that a file may have; what is asked for does not.
    const char* const kCut =
            "(trap '' XFSZ; ulimit -f 1; $P plan 'film one.mp4' -o a.mp4 --parts 50 --json "
            "--keyframe-interval 0 --video-bitrate 1234567 --audio-bitrate 123456 > lines)";
    expectLines({{"$P --help > /dev/full", 4, {}, full},
                 {"$P -V > /dev/full", 4, {}, full},
                 {"$P help play > /dev/full", 4, {}, full},
                 {"$P probe film* > /dev/full", 4, {}, full},
                 {"$P plan 'film one.mp4' -o a.mp4 --parts 2 > /dev/full", 4, {}, full},
                 {"$P camera --usb lavfi:testsrc2 --json > /dev/full", 4, {}, full},
                 {kCut, 4, {}, {"plan: cannot write events: File too large"}},
                 {"$P remux film* -o a.mp4 --json > /dev/full", 0, {}, full, "a.mp4"}});
}

// The film has 30.16 s; the last of its parts is not shorter than half of the others.
TEST_F(WordsCliTest, planHasThePartsThatThereCanBeAndTheOptionsThatWereGiven) {
    expectLines({{"$P plan film* -o ./.film --format mp4 --parts 2 --force --no-metadata --quiet",
                  0,
                  {" --no-metadata && mv ./.film.2.work.mp4 ./.film.2.mp4\n", " --force\n"},
                  {}},
                 {"$P plan film* -o a.mp4 --part-length 12.064 --keyframe-interval 0 --quiet",
                  0,
                  {" && mv a.3.work.mp4 a.3.mp4\n"},
                  {}},
                 {"$P plan film* -o a.mp4 --part-length 1 --keyframe-interval 20",
                  0,
                  {"join a.1.mp4 a.2.mp4 --sound a.sound.mp4 -o a.mp4\n"},
                  {"made in 2 instead of 30 parts: there are not more places to cut"}}});
}

// SDL and ALSA say much on a machine without a screen and a sound card.
TEST_F(WordsCliTest, logTakesWhatLibrariesSayByThemselves) {
    const std::string line = "$P record --usb lavfi:testsrc2 --audio alsa:none_such -o x.mp4 ";
    EXPECT_EQ(linesOf(runLine(line).err).size(), 1u);
    EXPECT_EQ(runLine(line + "--log /none/log").exitCode, 4);
    runLine(line + "--log log");
    runLine("$P transcode film* --duration 0.1 -o y.mp4 --log log");
    const auto lines = linesOf(readFile(mFolder.file("log")));
    const std::regex threadtime(
            R"(\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} {1,5}\d+ {1,5}\d+ [VDIWEF] .{8,}?: .*)");
    for (const std::string& logged : lines) {
        EXPECT_TRUE(std::regex_match(logged, threadtime)) << logged;
        EXPECT_THAT(logged, testing::Not(HasSubstr("\033")));
    }
    EXPECT_THAT(lines, testing::Contains(
                               testing::AllOf(HasSubstr(" D Alsa    : "), HasSubstr("none_such"))));
    EXPECT_THAT(lines, testing::Contains(HasSubstr(" D OxaMediaCodecPlayer: ")));
}

}  // namespace
}  // namespace oxa::test
