// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Parts of files: which pictures and which sound the library sees of them.

#include <OxaMediaCodecPlayerCommon.h>
#include <oxa/host/InputChoice.h>

#include <optional>
#include <random>

#include "support/LibraryJob.h"
#include "support/Pictures.h"
#include "support/Sound.h"
#include "support/Test.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {
namespace {

constexpr unsigned kSeed = 4711;
constexpr double kClipS = 10;
constexpr int64_t kPictureUs = 40000;
constexpr int kSoundRate = 48000;
constexpr int64_t kAacFrame = 1024;
constexpr int64_t kMaxOffsetSamples = kSoundRate * 5 / 1000;

struct WindowCase : Named {
    const char* extension;
    std::vector<std::string> encoder;
    int64_t firstUs = -1;  // of the first picture; -1: the file tells when its pictures are shown
};

const WindowCase kCases[] = {
        {"Mp4", ".mp4", {"-bf", "0", "-g", "50"}},
        {"Mp4WithReordering", ".mp4", {"-bf", "3", "-g", "120"}},
        {"OpenGop", ".mkv", {"-bf", "3", "-g", "60", "-x264-params", "open-gop=1"}},
        {"Matroska", ".mkv", {"-bf", "2", "-g", "250"}},
        {"TransportStream", ".ts", {"-bf", "2", "-g", "75", "-muxdelay", "0"}},
        {"RefreshedBitByBit", ".mp4", {"-bf", "0", "-g", "12", "-x264-params", "intra-refresh=1"}},
        {"AviWithReordering", ".avi", {"-bf", "2", "-g", "50"}, 2 * kPictureUs},
        {"RawWithoutTimes", ".h264", {"-an", "-bf", "2", "-g", "50"}, 0},
        {"TransportStreamOfKeyFrames", ".ts", {"-bf", "0", "-g", "1"}},
};

// A moving picture with a counter, and a tone that rises from 200 to 8,000 Hz.
std::string sourceOf(const WindowCase& window, const std::string& path) {
    const auto arguments =
            words("-f lavfi -i testsrc2=size=320x240:rate=25:duration=10 "
                  "-f lavfi -i aevalsrc=0.3*sin(2*PI*(200*t+390*t*t)):s=48000:d=10 "
                  "-c:v libx264 -preset ultrafast -b:v 2M -c:a aac -b:a 128k");
    runOrDie(ffmpeg(joined(joined(arguments, window.encoder), {path})));
    return path;
}

double differenceOf(const Image& a, const Image& b) {
    return meanSquareError(a.planes[0], b.planes[0]);
}

class InputWindowTest : public testing::TestWithParam<WindowCase> {
  protected:
    InputWindowTest() : mSource(sourceOf(GetParam(), mFolder.file("in") + GetParam().extension)) {
        mPictures = decodePictures(mSource);
        mSound = decodeSound(mSource);
        int64_t timeUs = GetParam().firstUs;
        for (size_t i = 0; timeUs >= 0 && i < mPictures.size(); ++i, timeUs += kPictureUs)
            mPictures[i].timeUs = timeUs;
    }
    ~InputWindowTest() override { host::setInputChoice({}); }

    void transcodeWindow(double startS, double endS) {
        host::InputChoice choice;
        choice.startUs = std::llround(startS * 1e6);
        if (endS < kClipS) choice.endUs = std::llround(endS * 1e6);
        host::setInputChoice(choice);
        transcodeByLibrary(mSource, mOutput, mSound.empty() ? android::CODEC_VIDEO_ONLY : 0);
    }

    void expectJustItsPictures(double startS, double endS) {
        std::vector<const Image*> wanted;
        for (const Image& picture : mPictures) {
            const double timeS = picture.timeUs / 1e6;
            const bool isInFront = timeS < endS - 1e-6 || endS == kClipS;
            if (timeS >= startS - 1e-6 && isInFront) wanted.push_back(&picture);
        }
        const std::vector<Image> got = decodePictures(mOutput);
        ASSERT_EQ(got.size(), wanted.size());
        for (size_t i = 0; i < got.size(); ++i) {
            const double difference = differenceOf(got[i], *wanted[i]);
            EXPECT_LT(difference, 120) << "picture " << i;
            if (i > 0) {
                EXPECT_LT(difference, differenceOf(got[i], *wanted[i - 1])) << "picture " << i;
            }
            EXPECT_NEAR(got[i].timeUs - got[0].timeUs, wanted[i]->timeUs - wanted[0]->timeUs, 1000);
        }
    }

    // Cut to the sample; and where in the tone's rise it begins tells its place in the file.
    void expectJustItsSound(double startS, double endS) {
        const Sound got = decodeSound(mOutput);
        ASSERT_EQ(got.sampleRate, kSoundRate);
        const double soundEndS = endS < kClipS ? endS : mSound.seconds();
        EXPECT_NEAR(got.frames(), (soundEndS - startS) * kSoundRate, kAacFrame);
        const double lengthS = std::min(0.5, endS - startS);
        const auto heard = window(got.channel(0), kSoundRate, 0, lengthS);
        const auto expected = window(mSound.channel(0), kSoundRate, startS, lengthS);
        EXPECT_NEAR(correlationLag(heard, expected, kSoundRate / 10), 0, kMaxOffsetSamples);
        const auto begin = [](const auto& sound) { return window(sound, kSoundRate, 0, 0.01); };
        EXPECT_NEAR(levelDb(begin(heard)), levelDb(begin(expected)), 6) << "begins with silence";
    }

    const TempDir mFolder;
    const std::string mSource;
    const std::string mOutput = mFolder.file("out.mp4");
    std::vector<Image> mPictures;
    Sound mSound;
};

TEST_P(InputWindowTest, holdsExactlyItsPicturesAndItsSound) {
    ASSERT_EQ(mPictures.size(), 250U);
    std::mt19937 random(kSeed);
    std::uniform_real_distribution<double> starts(0, kClipS - 1.5);
    for (int round = 0; round < testRounds(4); ++round) {
        // The first one is open at its end. Most files have a key frame where the second begins,
        // and some shortly in front of the third.
        double startS = std::round(starts(random) * 1e3) / 1e3;
        if (round == 1 || round == 2) startS = round == 1 ? 4 : 4.32;
        const double endS =
                round == 0 ? kClipS : std::min(kClipS, startS + 0.5 + starts(random) / 3);
        SCOPED_TRACE(testing::Message() << startS << " to " << endS << " s");
        ASSERT_NO_FATAL_FAILURE(transcodeWindow(startS, endS));
        ASSERT_NO_FATAL_FAILURE(expectJustItsPictures(startS, endS));
        if (!mSound.empty()) expectJustItsSound(startS, endS);
    }
}

INSTANTIATE_TEST_SUITE_P(Containers, InputWindowTest, testing::ValuesIn(kCases),
                         rowName<WindowCase>);

}  // namespace
}  // namespace oxa::test
