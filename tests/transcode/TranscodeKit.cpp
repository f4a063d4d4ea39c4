// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/TranscodeKit.h"

#include <cstdlib>
#include <filesystem>

#include "cli/PlayerProgram.h"
#include "support/Sound.h"
#include "support/SyncMeasure.h"
#include "support/Test.h"

namespace oxa::test {

namespace {

constexpr double kMaxTimeErrorUs = 1000;
constexpr double kMaxQualityLossDb = 0.3;
constexpr int kKeyFrameIntervalSec = 2;  // the player's default
constexpr double kAacFrame = 1024;
constexpr double kTailUs = 100'000;
constexpr double kInaudibleDb = -90;

// How far a file's pictures are from those that `filters` makes of the source's, one by one in
// their order, in dB of the mean square error over all pictures and planes.
double qualityDb(const std::string& source, const std::string& filters, const std::string& file) {
    // Pictures are paired by their number: their times differ by what a container can express.
    const std::string numbered = ",format=yuv420p,settb=1/1000,setpts=N";
    const ProcessResult result =
            runOrDie({"ffmpeg", "-nostdin", "-i", source, "-i", file, "-filter_complex",
                      "[0:v:0]" + filters + numbered + "[source];[1:v:0]null" + numbered +
                              "[file];[file][source]psnr=shortest=1",
                      "-f", "null", "-"});
    const std::string key = " average:";
    const size_t at = result.err.find(key, result.err.rfind(" PSNR y:"));
    EXPECT_NE(at, std::string::npos) << result.err;
    return at == std::string::npos ? 0 : std::strtod(&result.err[at + key.size()], nullptr);
}

// A sound that can be asked for the samples that are heard between two times.
struct HeardSound {
    const Sound& sound;
    const std::vector<float> mono = sound.mono();

    double beginUs() const { return sound.timeUs(0); }
    double endUs() const { return sound.timeUs(static_cast<double>(sound.frames())); }
    // Clipped to what there is.
    std::vector<float> part(double fromUs, double toUs) const {
        return std::vector<float>(mono.begin() + frameAt(fromUs), mono.begin() + frameAt(toUs));
    }

    // The first frame that is heard at this time or later.
    int64_t frameAt(double timeUs) const {
        int64_t low = 0;
        auto high = static_cast<int64_t>(mono.size());
        while (low < high) {
            const int64_t middle = (low + high) / 2;
            if (sound.timeUs(static_cast<double>(middle)) < timeUs) {
                low = middle + 1;
            } else {
                high = middle;
            }
        }
        return low;
    }
};

// In milliseconds.
double laterBy(const HeardSound& before, const HeardSound& after, double fromUs, double toUs) {
    constexpr double kSearchedSeconds = 0.5;
    const int64_t lag = correlationLag(before.part(fromUs, toUs), after.part(fromUs, toUs),
                                       std::llround(kSearchedSeconds * before.sound.sampleRate));
    // The part begins later than asked for where the sound itself does.
    const double clippedUs = std::max(0.0, after.beginUs() - std::max(fromUs, before.beginUs()));
    return (1e6 * static_cast<double>(lag) / before.sound.sampleRate + clippedUs) / 1000;
}

}  // namespace

bool isTransportStream(const std::string& path) {
    return std::filesystem::path(path).extension() == ".ts";
}

int testRounds(int usual) {
    const char* rounds = getenv("OXA_TEST_ROUNDS");
    return rounds != nullptr ? std::max(1, atoi(rounds)) : usual;
}

ProcessResult transcode(const std::string& input, const std::string& output,
                        const std::string& options) {
    ProcessResult result =
            runPlayer(joined({"transcode", input, "-o", output, "--force"}, words(options)));
    EXPECT_EQ(result.exitCode, 0) << input << ": " << result.err << " signal " << result.signal;
    EXPECT_EQ(complaintsAbout(output), "") << input;
    return result;
}

std::string complaintsAbout(const std::string& path, const std::vector<size_t>& streams) {
    const char* known = isTransportStream(path) ? "-f mpegts -i" : "-i";
    std::vector<std::string> arguments = joined(words(known), {path});
    if (streams.empty()) arguments = joined(arguments, {"-map", "0"});
    for (size_t stream : streams)
        arguments = joined(arguments, {"-map", "0:" + std::to_string(stream)});
    // At the times that the file gives: rounded to a frame rate, two pictures may have one.
    return ProcessRunner(ffmpeg(joined(arguments, words("-enc_time_base -1 -f null -")))).run().err;
}

void expectEmptyOrPlayable(const std::string& path) {
    if (fileSize(path) == 0) return;
    const MediaProbe probe(path, isTransportStream(path) ? kTransportStream : "");
    ASSERT_TRUE(probe.ok()) << probe.error();
    std::vector<size_t> filled;
    for (size_t i = 0; i < probe.streams().size(); ++i) {
        const StreamProbe& stream = probe.streams()[i];
        if (stream.packetCount == 0) continue;
        filled.push_back(i);
        EXPECT_EQ(stream.decodeErrors, 0);
        EXPECT_TRUE(stream.decodingTimesRise);
    }
    if (!filled.empty()) {
        EXPECT_EQ(complaintsAbout(path, filled), "");
    }
}

// ---- Pictures

void expectAsGoodAsPeer(const std::string& source, const std::string& output,
                        const std::string& filters) {
    const MediaProbe probe(output);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    const std::string scaled = filters + "scale=" + std::to_string(probe.video()->width) + ":" +
                               std::to_string(probe.video()->height) +
                               ":flags=bicubic,setsar=1,format=yuv420p";
    const std::string peer = output + ".peer.mp4";
    const long keyFrameInterval = kKeyFrameIntervalSec * std::lround(probe.video()->frameRate);
    runOrDie(ffmpeg(
            joined({"-i", source, "-vf", scaled, "-g", std::to_string(keyFrameInterval), "-threads",
                    std::to_string(std::thread::hardware_concurrency())},
                   joined(words("-map 0:v:0 -fps_mode passthrough -c:v libx264 -preset veryfast "
                                "-bf 0 -b:v 6000000"),
                          {peer}))));
    EXPECT_EQ(probe.video()->frameCount, MediaProbe(peer).video()->frameCount);
    EXPECT_GE(qualityDb(source, scaled, output),
              qualityDb(source, scaled, peer) - kMaxQualityLossDb);
}

void expectSamePictures(const StreamProbe& source, const StreamProbe& output, double laterUs) {
    ASSERT_EQ(output.frameCount, source.frameCount);
    double largestUs = 0;
    for (size_t i = 0; i < source.timesUs.size(); ++i) {
        const auto changeUs = static_cast<double>(output.timesUs[i] - source.timesUs[i]);
        largestUs = std::max(largestUs, std::abs(changeUs - laterUs));
    }
    EXPECT_LE(largestUs, kMaxTimeErrorUs);
}

double startChangeUs(const MediaProbe& source, const MediaProbe& output) {
    if (output.formatName() != kTransportStream) return 0;
    int64_t firstUs = INT64_MAX;
    for (const StreamProbe* stream : {source.video(), source.audio()}) {
        if (stream != nullptr) firstUs = std::min(firstUs, stream->firstUs());
    }
    return -static_cast<double>(firstUs);
}

// ---- Sound

void expectSameSound(const std::string& source, const std::string& output, double laterMs) {
    constexpr double kComparedUs = 4e6;
    constexpr double kMaxOffsetMs = 5;
    constexpr double kMaxLevelChangeDb = 1;
    const Sound before = decodeSound(source);
    const Sound after = decodeSound(output);
    ASSERT_EQ(after.sampleRate, before.sampleRate);
    ASSERT_FALSE(before.empty() || after.empty());
    const HeardSound heardBefore{before};
    const HeardSound heardAfter{after};
    const double beginUs = heardBefore.beginUs();
    const double endUs = heardBefore.endUs();
    EXPECT_NEAR((heardAfter.endUs() - endUs) / 1000, laterMs, kAacFrame / after.sampleRate * 1000);
    if (levelDb(heardBefore.part(beginUs, endUs)) < kInaudibleDb) return;
    const double comparedUs = std::min(kComparedUs, endUs - beginUs);
    for (const double fromUs : {beginUs, endUs - comparedUs}) {
        EXPECT_NEAR(laterBy(heardBefore, heardAfter, fromUs, fromUs + comparedUs), laterMs,
                    kMaxOffsetMs);
    }
    for (const double fromUs : {beginUs, endUs - kTailUs}) {
        EXPECT_NEAR(levelDb(heardAfter.part(fromUs, endUs)),
                    levelDb(heardBefore.part(fromUs, endUs)), kMaxLevelChangeDb);
    }
}

void expectSameSync(const std::string& source, const std::string& output, int pairs) {
    constexpr double kMaxChangeMs = 5;
    const SyncMeasure before = measureSync(source);
    const SyncMeasure after = measureSync(output);
    ASSERT_EQ(before.offsetsMs.size(), static_cast<size_t>(pairs));
    ASSERT_EQ(after.offsetsMs.size(), before.offsetsMs.size());
    for (size_t i = 0; i < before.offsetsMs.size(); ++i)
        EXPECT_NEAR(after.offsetsMs[i], before.offsetsMs[i], kMaxChangeMs) << "flash " << i;
}

}  // namespace oxa::test
