// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/TranscodeKit.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <sstream>
#include <string_view>
#include <thread>

#include "cli/PlayerProgram.h"
#include "support/Sound.h"
#include "support/TempDir.h"

namespace oxa::test {

namespace {

constexpr double kMaxTimeErrorUs = 1000;
constexpr double kMaxQualityLossDb = 0.3;
constexpr int kKeyFrameIntervalSec = 2;  // the player's default
constexpr double kAacFrame = 1024;
constexpr double kTailUs = 100'000;
constexpr double kInaudibleDb = -90;

std::vector<std::string> command(const std::vector<std::string>& arguments) {
    std::vector<std::string> all = {"ffmpeg", "-hide_banner", "-nostdin", "-v", "error", "-y"};
    all.insert(all.end(), arguments.begin(), arguments.end());
    return all;
}

// The content of a log of the psnr filter: "n:1 mse_avg:0.53 mse_y:0.60 ..." for each picture.
PictureQuality readQuality(const std::string& log) {
    const auto toDb = [](double error) {
        constexpr double kLossless = 1e-5;  // equal pictures have a finite figure, too
        return 10 * std::log10(255 * 255 / std::max(error, kLossless));
    };
    const std::string key = "mse_avg:";
    PictureQuality quality;
    double sum = 0;
    double largest = 0;
    std::istringstream lines(readFile(log));
    for (std::string line; std::getline(lines, line);) {
        const size_t at = line.find(key);
        if (at == std::string::npos) continue;
        const double error = std::strtod(line.c_str() + at + key.size(), nullptr);
        sum += error;
        largest = std::max(largest, error);
        ++quality.pictures;
    }
    if (quality.pictures == 0) return quality;
    quality.meanDb = toDb(sum / static_cast<double>(quality.pictures));
    quality.lowestDb = toDb(largest);
    return quality;
}

// A sound that can be asked for the samples that are heard between two times.
class HeardSound {
  public:
    explicit HeardSound(const Sound& sound) : mSound(sound), mMono(sound.mono()) {}

    int sampleRate() const { return mSound.sampleRate; }
    double beginUs() const { return mSound.timeUs(0); }
    double endUs() const { return mSound.timeUs(static_cast<double>(mSound.frames())); }
    // Clipped to what there is.
    std::vector<float> part(double fromUs, double toUs) const {
        return std::vector<float>(mMono.begin() + frameAt(fromUs), mMono.begin() + frameAt(toUs));
    }

  private:
    // The first frame that is heard at this time or later.
    int64_t frameAt(double timeUs) const {
        int64_t low = 0;
        auto high = static_cast<int64_t>(mMono.size());
        while (low < high) {
            const int64_t middle = (low + high) / 2;
            if (mSound.timeUs(static_cast<double>(middle)) < timeUs) {
                low = middle + 1;
            } else {
                high = middle;
            }
        }
        return low;
    }

    const Sound& mSound;
    const std::vector<float> mMono;
};

double laterMs(const HeardSound& before, const HeardSound& after, double fromUs, double toUs) {
    constexpr double kSearchedSeconds = 0.5;
    const int64_t lag = correlationLag(before.part(fromUs, toUs), after.part(fromUs, toUs),
                                       std::llround(kSearchedSeconds * before.sampleRate()));
    // The part begins later than asked for where the sound itself does.
    const double clippedUs = std::max(0.0, after.beginUs() - std::max(fromUs, before.beginUs()));
    return (1e6 * static_cast<double>(lag) / before.sampleRate() + clippedUs) / 1000;
}

double louderDb(const HeardSound& before, const HeardSound& after, double fromUs, double toUs) {
    return levelDb(after.part(fromUs, toUs)) - levelDb(before.part(fromUs, toUs));
}

}  // namespace

bool isTransportStream(const std::string& path) {
    constexpr std::string_view kExtension = ".ts";
    return path.size() >= kExtension.size() &&
           path.compare(path.size() - kExtension.size(), kExtension.size(), kExtension) == 0;
}

int testRounds(int usual) {
    const char* rounds = getenv("OXA_TEST_ROUNDS");
    return rounds != nullptr ? std::max(1, atoi(rounds)) : usual;
}

ProcessResult transcode(const std::string& input, const std::string& output,
                        const std::vector<std::string>& options) {
    std::vector<std::string> arguments = {"transcode", input, "-o", output, "--force"};
    arguments.insert(arguments.end(), options.begin(), options.end());
    ProcessResult result = runPlayer(arguments);
    EXPECT_EQ(result.exitCode, 0) << input << ": " << result.err << " signal " << result.signal;
    EXPECT_EQ(complaintsAbout(output), "") << input;
    return result;
}

std::string complaintsAbout(const std::string& path, const std::vector<size_t>& streams) {
    std::vector<std::string> arguments;
    if (isTransportStream(path)) arguments = {"-f", kTransportStream};
    arguments.insert(arguments.end(), {"-i", path});
    for (size_t stream : streams) {
        arguments.insert(arguments.end(), {"-map", "0:" + std::to_string(stream)});
    }
    if (streams.empty()) arguments.insert(arguments.end(), {"-map", "0"});
    arguments.insert(arguments.end(), {"-f", "null", "-"});
    const ProcessResult result = ProcessRunner(command(arguments)).run();
    return result.out + result.err;
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

void encodePeer(const std::string& source, const std::string& filters, int keyFrameInterval,
                const std::string& output) {
    runOrDie(command({"-i",        source,
                      "-map",      "0:v:0",
                      "-vf",       filters,
                      "-fps_mode", "passthrough",
                      "-c:v",      "libx264",
                      "-preset",   "veryfast",
                      "-bf",       "0",
                      "-g",        std::to_string(keyFrameInterval),
                      "-b:v",      std::to_string(kQualityBitRate),
                      "-threads",  std::to_string(std::thread::hardware_concurrency()),
                      output}));
}

std::vector<PictureQuality> pictureQuality(const std::string& source, const std::string& filters,
                                           const std::vector<std::string>& files) {
    // Pictures are paired by their number: their times differ by what a container can express.
    const std::string numbered = ",format=yuv420p,settb=1/1000,setpts=N";
    const TempDir folder;
    std::vector<std::string> arguments = {"-i", source};
    std::string graph = "[0:v:0]" + filters + numbered + ",split=" + std::to_string(files.size());
    std::string pairs;
    for (size_t i = 0; i < files.size(); ++i) {
        const std::string number = std::to_string(i);
        arguments.insert(arguments.end(), {"-i", files[i]});
        graph += "[source" + number + "]";
        pairs += ";[" + std::to_string(i + 1) + ":v:0]null" + numbered + "[file" + number +
                 "];[file" + number + "][source" + number +
                 "]psnr=shortest=1:stats_file=" + folder.file(number);
    }
    arguments.insert(arguments.end(), {"-filter_complex", graph + pairs, "-f", "null", "-"});
    runOrDie(command(arguments));
    std::vector<PictureQuality> qualities;
    for (size_t i = 0; i < files.size(); ++i) {
        qualities.push_back(readQuality(folder.file(std::to_string(i))));
    }
    return qualities;
}

std::string scaledTo(int width, int height) {
    return "scale=" + std::to_string(width) + ":" + std::to_string(height) +
           ":flags=bicubic,setsar=1,format=yuv420p";
}

void expectAsGoodAsPeer(const std::string& source, const std::string& filters,
                        const std::string& output) {
    const MediaProbe probe(output);
    ASSERT_NE(probe.video(), nullptr) << probe.error();
    const std::string peer = output + ".peer.mp4";
    const int keyFrameInterval =
            kKeyFrameIntervalSec * static_cast<int>(std::lround(probe.video()->frameRate));
    encodePeer(source, filters, keyFrameInterval, peer);
    EXPECT_EQ(probe.video()->frameCount, MediaProbe(peer).video()->frameCount);
    const auto qualities = pictureQuality(source, filters, {output, peer});
    EXPECT_EQ(qualities[0].pictures, static_cast<size_t>(probe.video()->frameCount));
    EXPECT_GE(qualities[0].meanDb, qualities[1].meanDb - kMaxQualityLossDb);
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

SoundChange compareSound(const std::string& source, const std::string& output) {
    constexpr double kComparedUs = 4e6;
    const Sound before = decodeSound(source);
    const Sound after = decodeSound(output);
    SoundChange change;
    EXPECT_EQ(after.sampleRate, before.sampleRate);
    EXPECT_FALSE(before.empty() || after.empty());
    if (before.empty() || after.empty()) return change;
    const HeardSound heardBefore(before);
    const HeardSound heardAfter(after);
    const double beginUs = heardBefore.beginUs();
    const double endUs = heardBefore.endUs();
    const double comparedUs = std::min(kComparedUs, endUs - beginUs);
    change.silent = levelDb(heardBefore.part(beginUs, endUs)) < kInaudibleDb;
    change.beginLaterMs = laterMs(heardBefore, heardAfter, beginUs, beginUs + comparedUs);
    change.endLaterMs = laterMs(heardBefore, heardAfter, endUs - comparedUs, endUs);
    change.cutLaterMs = (heardAfter.endUs() - endUs) / 1000;
    change.levelDb = louderDb(heardBefore, heardAfter, beginUs, endUs);
    change.tailDb = louderDb(heardBefore, heardAfter, endUs - kTailUs, endUs);
    return change;
}

void expectSameSound(const std::string& source, const std::string& output, double laterMs) {
    constexpr double kMaxOffsetMs = 5;
    constexpr double kMaxLevelChangeDb = 1;
    const SoundChange change = compareSound(source, output);
    const double aacFrameMs = kAacFrame / MediaProbe(output).audio()->sampleRate * 1000;
    EXPECT_NEAR(change.cutLaterMs, laterMs, aacFrameMs);
    if (change.silent) return;
    EXPECT_NEAR(change.beginLaterMs, laterMs, kMaxOffsetMs);
    EXPECT_NEAR(change.endLaterMs, laterMs, kMaxOffsetMs);
    EXPECT_NEAR(change.levelDb, 0, kMaxLevelChangeDb);
    EXPECT_NEAR(change.tailDb, 0, kMaxLevelChangeDb);
}

}  // namespace oxa::test
