// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/Session.h>

#include "support/Test.h"
#include "verify/OutputCheck.h"

namespace oxa::jobs {
namespace {

using Words = std::vector<std::string>;

class VerifyTest : public testing::TestWithParam<const char*> {
  protected:
    static std::string clip() {
        const std::string name = GetParam();
        return name.empty() ? test::flashBeepClip() : test::mediaPath(name);
    }

    MediaSignature read(const std::string& path) {
        const host::Session session;
        const host::SessionScope scope(session);
        InputFile file;
        MediaSignature signature;
        EXPECT_FALSE(file.openPath(path).has_value());
        const auto failure = readSignature(file, {true, true}, {}, mCancelled, &signature);
        EXPECT_FALSE(failure.has_value()) << failure->text;
        return signature;
    }

    // What is found in a copy that the `ffmpeg` command makes with these options.
    std::string found(const Words& options) {
        const std::string copy = mFolder.file("copy.mp4");
        test::runOrDie(test::ffmpeg(test::joined(test::joined({"-i", clip()}, options), {copy})));
        return differenceOf(read(clip()), read(copy));
    }

    const CancelFlag mCancelled{false};
    const test::TempDir mFolder;
};

TEST_P(VerifyTest, findsWhatIsNotAsInTheSource) {
    const Words pictures = {"-c:a",    "copy",      "-c:v",   "libx264",
                            "-preset", "ultrafast", "-vsync", "0"};
    const Words sound = {"-c:v", "copy", "-c:a", "aac"};
    const struct {
        const char* fault;
        Words options;
        const char* text;
    } kCases[] = {
            {"none", test::joined({"-c:a", "aac", "-crf", "30"}, {"-c:v", "libx264"}), ""},
            {"a lost picture", test::joined(pictures, {"-vf", "select=not(eq(n\\,30))"}),
             "picture 31 of"},
            {"a doubled picture",
             test::joined(pictures, {"-vf", "loop=loop=1:size=1:start=30,setpts=N/FRAME_RATE/TB"}),
             "picture"},
            {"a grey picture",
             test::joined(pictures,
                          {"-vf", "drawbox=t=fill:color=gray:enable=eq(n\\,0):w=iw:h=ih"}),
             "picture 1 of"},
            {"sound that is late",
             {"-itsoffset", "0.04", "-i", clip(), "-map", "0:v", "-map", "1:a", "-c", "copy"},
             "the sound"},
            {"sound that is early",
             test::joined(sound, {"-af", "atrim=start=0.04,asetpts=PTS-STARTPTS"}), "the sound"},
            {"sound that is cut",
             test::joined(sound, {"-af", "areverse,atrim=start=0.2,asetpts=PTS-STARTPTS,areverse"}),
             "the sound ends at"},
    };
    for (const auto& test : kCases) {
        const std::string difference = found(test.options);
        EXPECT_EQ(difference.empty(), *test.text == '\0') << test.fault << difference;
        EXPECT_THAT(difference, testing::HasSubstr(test.text)) << test.fault;
    }
}

// A picture whose fields alternate between two levels.
MediaSignature pictureOf(uint8_t dark, uint8_t light, int64_t timeUs = 0) {
    MediaSignature signature;
    signature.pictures.resize(1);
    signature.pictures[0].timeUs = timeUs;
    auto& grid = signature.pictures[0].grid;
    for (size_t field = 0; field < grid.size(); ++field)
        grid[field] = field % 2 == 0 ? dark : light;
    return signature;
}

// Grey is not far from a faint picture, and the worst quality may be farther.
TEST(OutputCheck, knowsAPictureThatIsNotTheSources) {
    constexpr char kOther[] = "picture 1 of 1 is not the one of 0.000 s";
    const MediaSignature source = pictureOf(100, 112);
    EXPECT_EQ(differenceOf(source, pictureOf(124, 136, 2000)), "");
    EXPECT_EQ(differenceOf(source, pictureOf(125, 137)), kOther);
    EXPECT_EQ(differenceOf(source, pictureOf(106, 106)), kOther);
    EXPECT_EQ(differenceOf(pictureOf(100, 108), pictureOf(104, 104)), "");
    EXPECT_EQ(differenceOf(source, pictureOf(100, 112, 2001)),
              "picture 1 of 1 is at 0.002 s, not at 0.000 s");
}

// A faint beep in a second of silence.
MediaSignature beepAt(int64_t timeUs) {
    MediaSignature signature;
    signature.sampleRate = 48'000;
    signature.levels.resize(1'000'000 / MediaSignature::kLevelUs);
    std::fill_n(signature.levels.begin() + timeUs / MediaSignature::kLevelUs,
                100'000 / MediaSignature::kLevelUs, 0.02F);
    return signature;
}

TEST(OutputCheck, knowsSoundThatIsLateOrEarly) {
    const MediaSignature source = beepAt(300'000);
    EXPECT_EQ(differenceOf(source, beepAt(310'000)), "");
    EXPECT_EQ(differenceOf(source, beepAt(312'000)), "the sound is 12 ms late");
    EXPECT_EQ(differenceOf(source, beepAt(288'000)), "the sound is 12 ms early");
}

TEST(OutputCheck, tellsByHowMuchSoundIsOutOfStep) {
    MediaSignature source;
    source.sampleRate = 48000;
    source.levels.resize(500);
    MediaSignature output = source;
    constexpr int64_t kBeep = 20;
    std::fill_n(source.levels.begin() + 200, kBeep, 1.0F);
    std::fill_n(output.levels.begin() + 200 + 40'000 / MediaSignature::kLevelUs, kBeep, 1.0F);
    EXPECT_EQ(differenceOf(source, output), "the sound is 40 ms late");
    EXPECT_EQ(differenceOf(output, source), "the sound is 40 ms early");
}

INSTANTIATE_TEST_SUITE_P(Clips, VerifyTest, testing::Values("", "friday_480p_audio_first.mp4"));

}  // namespace
}  // namespace oxa::jobs
