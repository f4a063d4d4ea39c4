// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "Arguments.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <iterator>
#include <sstream>

#include "TargetFormat.h"
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
    Track video;
    video.isVideo = true;
    video.width = 854;
    video.height = 480;
    Track audio;
    audio.channels = 2;
    audio.sampleRate = 44100;
    const auto format = makeTargetFormat(options, &video, &audio);
    EXPECT_EQ(format.width, 854);
    EXPECT_EQ(format.height, 480);
    EXPECT_EQ(format.frameRate, 0);  // the source's own
    EXPECT_EQ(format.bitRate, -1);   // the library's rule
    EXPECT_EQ(format.iFrameInterval, 2);
    EXPECT_EQ(format.deinterlace, -1);  // no key at all
    EXPECT_EQ(format.profile, 0);
    EXPECT_EQ(format.level, 0);
    EXPECT_EQ(format.channelCount, 2);
    EXPECT_EQ(format.sampleRate, 44100);
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
            {"", {"", "dance", "transcode", "transcode in.mp4", "transcode -o out.mp4"}},
            {"probe", {"", " a b", " a --size 2x2"}},
            {"record --usb a", {"", " -o b.ts --profile high"}},
            {"camera --usb", {"", " a --fps 3"}},
            {"contact-sheet a -o b --columns ", {"0", "21"}},
            {transcode, {"second", "--nonsense", "--size"}},
            {transcode + "--size ",
             {"641x360", "640x361", "640", "0x0", "-640x360", "640x360x2", "16384x16"}},
            {transcode + "--fps ", {"29.97", "0", "1e3", "99999999999999999999", "25 --fps 30"}},
            {transcode + "--video-bitrate ", {"-1", "fast", "4G", "5000M", "0.5", "M", "nan"}},
            {transcode + "--keyframe-interval ", {"-1", "2.5"}},
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
            EXPECT_THAT(parsed.standardError, StartsWith("oxaplayer: "));
            EXPECT_EQ(parsed.standardError.find('\n'), parsed.standardError.size() - 1)
                    << parsed.standardError;
        }
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

// A picture that comes out squeezed or with an odd side, or larger than there are.
TEST(UprightSize, isUprightSquareAndEven) {
    const auto upright = [](int32_t width, int32_t height, int32_t rotation, double pixelAspect) {
        Track track;
        track.isVideo = true;
        track.width = width;
        track.height = height;
        track.rotationDegrees = rotation;
        track.pixelAspect = pixelAspect;
        const Size size = uprightSize(track);
        return std::pair(size.width, size.height);
    };
    EXPECT_EQ(upright(1920, 1080, 270, 1), std::pair(1080, 1920));
    EXPECT_EQ(upright(161, 121, 0, 1), std::pair(160, 120));
    EXPECT_EQ(upright(720, 480, 0, 32.0 / 27), std::pair(854, 480));
    EXPECT_EQ(upright(720, 576, 90, 16.0 / 15), std::pair(576, 768));
    EXPECT_EQ(upright(1, 1, 0, 1), std::pair(2, 2));
    EXPECT_EQ(upright(16384, 8190, 0, 1), std::pair(8192, 4094));
}

TEST(TargetFormat, soundIsWhatAacCanHold) {
    const auto target = [](int32_t channels, int32_t sampleRate) {
        Track audio;
        audio.channels = channels;
        audio.sampleRate = sampleRate;
        const auto format = makeTargetFormat(TranscodeOptions(), nullptr, &audio);
        return std::pair(format.channelCount, format.sampleRate);
    };
    EXPECT_EQ(target(6, 48000), std::pair(6, 48000));
    EXPECT_EQ(target(8, 96000), std::pair(6, 96000));
    EXPECT_EQ(target(1, 192000), std::pair(1, 48000));
    EXPECT_EQ(target(2, 37800), std::pair(2, 48000));
    EXPECT_EQ(target(0, 0), std::pair(1, 48000));
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
