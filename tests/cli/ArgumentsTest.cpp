// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/Arguments.h"

#include "commands/TranscodeCommand.h"
#include "support/Test.h"

namespace oxaplayer {
namespace {

using testing::HasSubstr;

// One command line, read the way main() does it.
class ArgumentsTest : public testing::Test {
  protected:
    ParsedArguments parse(const std::string& line) {
        mCommands = makeCommands();
        return parseArguments(oxa::test::words(line), mCommands);
    }

    std::vector<std::unique_ptr<Command>> mCommands;
};

// A default that slips in where nothing was asked would override the source's own value.
TEST_F(ArgumentsTest, whatIsNotGivenIsLeftToTheSource) {
    const auto parsed = parse("--json transcode in.mkv -o -");
    ASSERT_NE(parsed.command, nullptr) << parsed.standardError;
    EXPECT_TRUE(parsed.common.json);
    const auto& options = dynamic_cast<const TranscodeCommand&>(*parsed.command).options();
    EXPECT_EQ(options.only, Only::kBoth);
    EXPECT_FALSE(options.replaceOutput || options.preset);
    EXPECT_FALSE(options.container || options.size || options.frameRate || options.videoBitRate);
    EXPECT_FALSE(options.deinterlace || options.profile || options.level);
    EXPECT_FALSE(options.audioRate || options.audioChannels);
    EXPECT_EQ(options.keyFrameIntervalSec, 2);
}

TEST_F(ArgumentsTest, helpAndVersionGoToStandardOutput) {
    for (const std::string command : {"transcode", "probe"}) {
        const auto parsed = parse(command + " --help");
        EXPECT_EQ(parsed.command, nullptr);
        EXPECT_EQ(parsed.code, ExitCode::kDone);
        EXPECT_THAT(parsed.standardOutput, HasSubstr("INPUT"));
        EXPECT_THAT(parsed.standardOutput, HasSubstr(command));
    }
    EXPECT_THAT(parse("--help").standardOutput, HasSubstr("transcode"));
    EXPECT_EQ(parse("--version").standardOutput, "oxaplayer " OXAPLAYER_VERSION "\n");
    EXPECT_EQ(parse("--version").code, ExitCode::kDone);
}

TEST_F(ArgumentsTest, wrongUsageIsOneLineAndExitTwo) {
    const std::string transcode = "transcode in.mp4 -o out.mp4 ";
    const struct {
        std::string begin;
        std::vector<const char*> ends;
    } kWrong[] = {
            {"", {"dance", "transcode", "transcode in.mp4", "transcode -o out.mp4"}},
            {"probe", {"", " a b", " a --size 2x2"}},
            {"record --usb a", {"", " -o b.ts --profile high"}},
            {"camera --usb", {"", " a --fps 3"}},
            {"contact-sheet a -o b --columns ", {"0", "21"}},
            {transcode, {"second", "--nonsense", "--size"}},
            {transcode + "--size ",
             {"641x360", "640x361", "640", "0x0", "-640x360", "640x360x2", "16384x16"}},
            {transcode + "--fps ", {"29.97", "0", "1e3", "99999999999999999999", "25 --fps 30"}},
            {transcode + "--video-bitrate ",
             {"-1", "0", "-0", "fast", "4G", "5000M", "0.5", "M", "nan"}},
            {transcode + "--keyframe-interval ", {"-1", "2.5"}},
            {transcode + "--quality", {"=", "=23.5"}},
            {transcode + "--audio-channels ", {"0", "7"}},
            {transcode, {"--deinterlace 3", "--profile best", "--level 9", "--audio-rate 47999"}},
            {transcode, {"--only subtitles", "--format mkv"}}};
    for (const auto& wrong : kWrong) {
        for (const char* end : wrong.ends) {
            const std::string line = wrong.begin + end;
            SCOPED_TRACE(line);
            const auto parsed = parse(line);
            EXPECT_EQ(parsed.command, nullptr);
            EXPECT_EQ(parsed.code, ExitCode::kUsage);
            EXPECT_EQ(parsed.standardOutput, "");
            EXPECT_THAT(parsed.standardError, testing::StartsWith("oxaplayer: "));
            EXPECT_EQ(parsed.standardError.find('\n'), parsed.standardError.size() - 1)
                    << parsed.standardError;
        }
    }
}

TEST(Size, isWrittenInFiguresOrByName) {
    EXPECT_EQ(parseSize("720p")->width, 1280);
    EXPECT_EQ(parseSize("4K")->height, 2160);
    EXPECT_FALSE(parseSize("853x480") || parseSize("721p") || parseMaxSize("15x16"));
    EXPECT_TRUE(parseMaxSize("720p")->turnsWithPicture);
    EXPECT_FALSE(parseMaxSize("853x481")->turnsWithPicture);
}

TEST(BitRate, suffixesAreDecimal) {
    EXPECT_EQ(parseBitRate("4M"), 4'000'000);
    EXPECT_EQ(parseBitRate("2.5m"), 2'500'000);
    EXPECT_EQ(parseBitRate("4.35M"), 4'350'000);  // not exact in binary
    EXPECT_EQ(parseBitRate("800k"), 800'000);
    EXPECT_EQ(parseBitRate("1000M"), 1'000'000'000);
    EXPECT_EQ(parseBitRate("1001M"), std::nullopt);
}

TEST(Time, isWrittenAsPeopleDo) {
    const std::pair<const char*, int64_t> kTimes[] = {{"0", 0},
                                                      {"90", 90'000'000},
                                                      {"0.25", 250'000},
                                                      {"1:30", 90'000'000},
                                                      {"01:02:03.5", 3'723'500'000},
                                                      {"90:00", 5'400'000'000},
                                                      {"10000000", 10'000'000'000'000},
                                                      {"90s", 90'000'000},
                                                      {"1.5m", 90'000'000},
                                                      {"1h", 3'600'000'000}};
    for (const auto& [text, us] : kTimes)
        EXPECT_EQ(parseTime(text), us) << text;
    for (const char* text : {"", "-1", "-0", "1e3", "s", "1d", "inf", "nan", "1e99", "99999999",
                             ":", "1:", ":1", "1:60", "1:60:00", "1:-1", "1:2:3:4", "1:30s"})
        EXPECT_FALSE(parseTime(text)) << text;
    EXPECT_EQ(parseDuration("0.25"), 250'000);
    for (const char* text : {"0", "0.0000001", "0:00"})
        EXPECT_FALSE(parseDuration(text)) << text;
}

}  // namespace
}  // namespace oxaplayer
