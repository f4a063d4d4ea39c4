// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "Arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <random>

#include "RecordCommand.h"
#include "TranscodeCommand.h"

namespace oxaplayer {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

// One command line, read the way main() does it.
class ArgumentsTest : public testing::Test {
  protected:
    ParsedArguments parse(const std::vector<std::string>& arguments) {
        mCommands = makeCommands();
        return parseArguments(arguments, mCommands);
    }

    const TranscodeOptions& transcodeOptions(const ParsedArguments& parsed) {
        return dynamic_cast<const TranscodeCommand&>(*parsed.command).options();
    }

    std::vector<std::unique_ptr<Command>> mCommands;
};

TEST_F(ArgumentsTest, everyOptionOfTranscodeArrives) {
    const auto parsed = parse({"transcode",
                               "in.mkv",
                               "-o",
                               "out.bin",
                               "--format",
                               "ts",
                               "--size",
                               "640x360",
                               "--fps",
                               "25",
                               "--video-bitrate",
                               "4M",
                               "--keyframe-interval",
                               "5",
                               "--deinterlace",
                               "2",
                               "--profile",
                               "main",
                               "--level",
                               "3.1",
                               "--audio-rate",
                               "32000",
                               "--audio-channels",
                               "1",
                               "--only",
                               "video",
                               "--preset",
                               "fast",
                               "--force",
                               "--json",
                               "--quiet",
                               "--verbose"});
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
            parse({"record", "--hdmi", "lavfi:testsrc2", "--audio", "none", "-o", "out.ts",
                   "--duration", "2.5", "--preview", "--monitor", "--fps", "15", "--force"});
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
    const auto parsed = parse({"--json", "transcode", "in.mkv", "-o", "-"});
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
    for (const char* command : {"transcode", "probe"}) {
        const auto parsed = parse({command, "--help"});
        EXPECT_EQ(parsed.command, nullptr);
        EXPECT_EQ(parsed.code, ExitCode::kDone);
        EXPECT_THAT(parsed.standardOutput, HasSubstr("INPUT"));
        EXPECT_THAT(parsed.standardOutput, HasSubstr(command));
    }
    EXPECT_THAT(parse({"--help"}).standardOutput, HasSubstr("transcode"));
    EXPECT_EQ(parse({"--version"}).standardOutput, "oxaplayer " OXAPLAYER_VERSION "\n");
    EXPECT_EQ(parse({"--version"}).code, ExitCode::kDone);
}

class WrongUsageTest : public ArgumentsTest,
                       public testing::WithParamInterface<std::vector<std::string>> {};

TEST_P(WrongUsageTest, isOneLineAndExitTwo) {
    const auto parsed = parse(GetParam());
    EXPECT_EQ(parsed.command, nullptr);
    EXPECT_EQ(parsed.code, ExitCode::kUsage);
    EXPECT_EQ(parsed.standardOutput, "");
    EXPECT_THAT(parsed.standardError, StartsWith("oxaplayer: "));
    EXPECT_EQ(parsed.standardError.find('\n'), parsed.standardError.size() - 1)
            << parsed.standardError;
}

std::vector<std::string> with(std::vector<std::string> options) {
    options.insert(options.begin(), {"transcode", "in.mp4", "-o", "out.mp4"});
    return options;
}

INSTANTIATE_TEST_SUITE_P(
        CommandLines, WrongUsageTest,
        testing::Values(
                std::vector<std::string>{}, std::vector<std::string>{"dance"},
                std::vector<std::string>{"transcode"},
                std::vector<std::string>{"transcode", "in.mp4"},
                std::vector<std::string>{"transcode", "-o", "out.mp4"},
                std::vector<std::string>{"probe"}, std::vector<std::string>{"probe", "a", "b"},
                std::vector<std::string>{"probe", "a", "--size", "2x2"}, with({"second"}),
                with({"--nonsense"}), with({"--size", "641x360"}), with({"--size", "640x361"}),
                with({"--size", "640"}), with({"--size", "0x0"}), with({"--size", "-640x360"}),
                with({"--size", "640x360x2"}), with({"--size", "16384x16"}), with({"--size"}),
                with({"--fps", "29.97"}), with({"--fps", "0"}), with({"--fps", "1e3"}),
                with({"--fps", "99999999999999999999"}), with({"--video-bitrate", "-1"}),
                with({"--video-bitrate", "fast"}), with({"--video-bitrate", "4G"}),
                with({"--video-bitrate", "5000M"}), with({"--video-bitrate", "0.5"}),
                with({"--video-bitrate", "M"}), with({"--video-bitrate", "nan"}),
                with({"--keyframe-interval", "-1"}), with({"--keyframe-interval", "2.5"}),
                with({"--deinterlace", "3"}), with({"--profile", "best"}), with({"--level", "9"}),
                with({"--audio-rate", "47999"}), with({"--audio-channels", "0"}),
                with({"--audio-channels", "7"}), with({"--only", "subtitles"}),
                with({"--format", "mkv"}), with({"--fps", "25", "--fps", "30"}),
                std::vector<std::string>{"record", "--usb", "lavfi:testsrc2"},
                std::vector<std::string>{"record", "--usb", "a", "-o", "b.ts", "--profile", "high"},
                std::vector<std::string>{"camera", "--usb"}),
        [](const testing::TestParamInfo<std::vector<std::string>>& info) {
            std::string name = std::to_string(info.index);
            for (const std::string& word : info.param)
                name += "_" + word;
            for (char& letter : name) {
                if (!isalnum(static_cast<unsigned char>(letter))) letter = '_';
            }
            return name;
        });

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

// Whatever the bytes, a parser answers a value in its range or nothing; a crash or a value out of
// range would reach the encoder.
TEST(Parsers, surviveAnyText) {
    std::mt19937 random(1);
    const std::string alphabet = "0123456789xX.kKmMeE+-naif \t\xff";
    std::uniform_int_distribution<size_t> letter(0, alphabet.size() - 1);
    std::uniform_int_distribution<size_t> length(0, 12);
    int values = 0;
    for (int round = 0; round < 200'000; ++round) {
        std::string text;
        for (size_t left = length(random); left > 0; --left)
            text += alphabet[letter(random)];
        const auto size = parseSize(text);
        const auto bitRate = parseBitRate(text);
        if (size) {
            EXPECT_TRUE(size->width >= 16 && size->width <= kHighestPictureSide &&
                        size->width % 2 == 0 && size->height >= 16 &&
                        size->height <= kHighestPictureSide && size->height % 2 == 0)
                    << text;
        }
        if (bitRate) {
            EXPECT_TRUE(*bitRate >= 0 && *bitRate <= 1'000'000'000) << text;
        }
        values += size.has_value() + bitRate.has_value();
    }
    EXPECT_GT(values, 0);
}

}  // namespace
}  // namespace oxaplayer
