// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "Arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "RecordCommand.h"
#include "TranscodeCommand.h"

namespace oxaplayer {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

std::vector<std::string> wordsOf(const std::string& line) {
    std::istringstream stream(line);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

// One command line, read the way main() does it.
class ArgumentsTest : public testing::Test {
  protected:
    ParsedArguments parse(const std::string& line) {
        mCommands = makeCommands();
        return parseArguments(wordsOf(line), mCommands);
    }

    const TranscodeOptions& transcodeOptions(const ParsedArguments& parsed) {
        return dynamic_cast<const TranscodeCommand&>(*parsed.command).options();
    }

    std::vector<std::unique_ptr<Command>> mCommands;
};

TEST_F(ArgumentsTest, everyOptionOfTranscodeArrives) {
    const auto parsed = parse(
            "transcode in.mkv -o out.bin --format ts --size 640x360 --fps 25 --video-bitrate 4M "
            "--keyframe-interval 5 --deinterlace 2 --profile main --level 3.1 --audio-rate 32000 "
            "--audio-channels 1 --only video --preset fast --force --json --quiet --verbose");
    ASSERT_NE(parsed.command, nullptr) << parsed.standardError;
    const TranscodeOptions& options = transcodeOptions(parsed);
    EXPECT_EQ(options.input, "in.mkv");
    EXPECT_EQ(options.output, "out.bin");
    EXPECT_EQ(options.container, Container::kMpeg2Ts);
    ASSERT_TRUE(options.size);
    EXPECT_EQ(options.size->width, 640);
    EXPECT_EQ(options.size->height, 360);
    EXPECT_EQ(options.frameRate, 25);
    EXPECT_EQ(options.videoBitRate, 4'000'000);
    EXPECT_EQ(options.keyFrameIntervalSec, 5);
    EXPECT_EQ(options.deinterlace, 2);
    EXPECT_EQ(options.profile, 2);    // the platform's AVCProfileMain
    EXPECT_EQ(options.level, 0x200);  // the platform's AVCLevel31
    EXPECT_EQ(options.audioRate, 32000);
    EXPECT_EQ(options.audioChannels, 1);
    EXPECT_EQ(options.only, Only::kVideo);
    EXPECT_EQ(options.preset, "fast");
    EXPECT_TRUE(options.force);
    EXPECT_TRUE(parsed.common.json && parsed.common.quiet && parsed.common.verbose);
}

// A default that slips in where nothing was asked would override the source's own value.
TEST_F(ArgumentsTest, everyOptionOfRecordArrives) {
    const auto parsed =
            parse("record --hdmi lavfi:testsrc2 --audio none -o out.ts --duration 2.5 --preview "
                  "--monitor "
                  "--fps 15 --force");
    ASSERT_NE(parsed.command, nullptr) << parsed.standardError;
    const RecordOptions& options = dynamic_cast<const RecordCommand&>(*parsed.command).options();
    EXPECT_EQ(options.source.hdmi, "lavfi:testsrc2");
    EXPECT_FALSE(options.source.usb);
    EXPECT_EQ(options.source.audio, "none");
    EXPECT_EQ(options.output, "out.ts");
    EXPECT_EQ(options.durationUs, 2'500'000);
    EXPECT_EQ(options.frameRate, 15);
    EXPECT_TRUE(options.preview && options.monitor && options.force);
}

TEST_F(ArgumentsTest, whatIsNotGivenIsLeftToTheSource) {
    const auto parsed = parse("--json transcode in.mkv -o -");
    ASSERT_NE(parsed.command, nullptr) << parsed.standardError;
    const TranscodeOptions& options = transcodeOptions(parsed);
    EXPECT_FALSE(options.container || options.size || options.frameRate || options.videoBitRate ||
                 options.deinterlace || options.profile || options.level || options.audioRate ||
                 options.audioChannels || options.preset);
    EXPECT_EQ(options.keyFrameIntervalSec, 2);
    EXPECT_EQ(options.only, Only::kBoth);
    EXPECT_FALSE(options.force);
    EXPECT_TRUE(parsed.common.json);
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
    std::vector<std::string> lines = {"",
                                      "dance",
                                      "transcode",
                                      "transcode in.mp4",
                                      "transcode -o out.mp4",
                                      "probe",
                                      "probe a b",
                                      "probe a --size 2x2",
                                      "record --usb lavfi:testsrc2",
                                      "record --usb a -o b.ts --profile high",
                                      "camera --usb"};
    for (const char* options : {"second",
                                "--nonsense",
                                "--size 641x360",
                                "--size 640x361",
                                "--size 640",
                                "--size 0x0",
                                "--size -640x360",
                                "--size 640x360x2",
                                "--size 16384x16",
                                "--size",
                                "--fps 29.97",
                                "--fps 0",
                                "--fps 1e3",
                                "--fps 99999999999999999999",
                                "--video-bitrate -1",
                                "--video-bitrate fast",
                                "--video-bitrate 4G",
                                "--video-bitrate 5000M",
                                "--video-bitrate 0.5",
                                "--video-bitrate M",
                                "--video-bitrate nan",
                                "--keyframe-interval -1",
                                "--keyframe-interval 2.5",
                                "--deinterlace 3",
                                "--profile best",
                                "--level 9",
                                "--audio-rate 47999",
                                "--audio-channels 0",
                                "--audio-channels 7",
                                "--only subtitles",
                                "--format mkv",
                                "--fps 25 --fps 30"}) {
        lines.push_back(std::string("transcode in.mp4 -o out.mp4 ") + options);
    }
    for (const std::string& line : lines) {
        SCOPED_TRACE(line);
        const auto parsed = parse(line);
        EXPECT_EQ(parsed.command, nullptr);
        EXPECT_EQ(parsed.code, ExitCode::kUsage);
        EXPECT_EQ(parsed.standardOutput, "");
        EXPECT_THAT(parsed.standardError, StartsWith("oxaplayer: "));
        EXPECT_EQ(parsed.standardError.find('\n'), parsed.standardError.size() - 1)
                << parsed.standardError;
    }
}

TEST(BitRate, suffixesAreDecimal) {
    EXPECT_EQ(parseBitRate("4M"), 4'000'000);
    EXPECT_EQ(parseBitRate("2.5m"), 2'500'000);
    EXPECT_EQ(parseBitRate("4.35M"), 4'350'000);  // not exact in binary
    EXPECT_EQ(parseBitRate("800k"), 800'000);
    EXPECT_EQ(parseBitRate("0"), 0);
    EXPECT_EQ(parseBitRate("1000M"), 1'000'000'000);
    EXPECT_EQ(parseBitRate("1001M"), std::nullopt);
}

TEST(Seconds, mayHaveAFraction) {
    EXPECT_EQ(parseSeconds("90"), 90'000'000);
    EXPECT_EQ(parseSeconds("0.25"), 250'000);
    for (const char* text :
         {"", "0", "-1", "0.0000001", "1e3", "1s", "inf", "nan", "1e99", "99999999"})
        EXPECT_FALSE(parseSeconds(text)) << text;
}

TEST(ContainerChoice, followsTheExtensionUnlessAsked) {
    const auto choose = [](const std::string& output, std::optional<Container> asked = {}) {
        EncodeOptions options;
        options.output = output;
        options.container = asked;
        return chooseContainer(options);
    };
    for (const char* name : {"a.mp4", "A.MP4", "x/y.z/a.m4v", "a.b.mp4"}) {
        EXPECT_EQ(choose(name), Container::kMp4) << name;
    }
    for (const char* name : {"a.ts", "a.M2TS", "-"}) {
        EXPECT_EQ(choose(name), Container::kMpeg2Ts) << name;
    }
    for (const char* name : {"a", "a.mkv", "dir.mp4/a", "mp4", "a.mp4 ", ""}) {
        EXPECT_EQ(choose(name), std::nullopt) << name;
    }
    EXPECT_EQ(choose("a.ts", Container::kMp4), Container::kMp4);
    EXPECT_EQ(choose("/dev/null", Container::kMpeg2Ts), Container::kMpeg2Ts);
}

}  // namespace
}  // namespace oxaplayer
