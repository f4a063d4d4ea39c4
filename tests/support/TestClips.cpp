// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/TestClips.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <functional>
#include <map>
#include <random>

#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace oxa::test {

namespace {

using Arguments = std::vector<std::string>;

void append(Arguments* arguments, const Arguments& more) {
    arguments->insert(arguments->end(), more.begin(), more.end());
}

std::string number(double value) {
    char text[32];
    snprintf(text, sizeof(text), "%.9f", value);
    return text;
}

std::string newName(const std::string& extension) {
    static int count = 0;
    return TempDir::ofProcess().file("clip" + std::to_string(count++) + "." + extension);
}

// Runs the command with these arguments and an output name of its own, once for each set.
std::string make(const Arguments& arguments, const std::string& extension) {
    static std::map<Arguments, std::string> made;
    Arguments key = arguments;
    key.push_back(extension);
    std::string& path = made[key];
    if (!path.empty()) return path;
    path = newName(extension);
    Arguments command = {"ffmpeg", "-hide_banner", "-nostdin", "-loglevel", "error", "-y"};
    append(&command, arguments);
    command.push_back(path);
    runOrDie(command);
    return path;
}

std::string frameRate(const ClipOptions& options) {
    return std::to_string(options.frameRateNum) + "/" + std::to_string(options.frameRateDen);
}

std::string pictureSource(const std::string& name, const ClipOptions& options) {
    return name + "=size=" + std::to_string(options.width) + "x" + std::to_string(options.height) +
           ":rate=" + frameRate(options) + ":duration=" + number(options.seconds);
}

std::string soundSource(const std::string& expression, const ClipOptions& options) {
    const double seconds = options.audioSeconds > 0 ? options.audioSeconds : options.seconds;
    return "aevalsrc=exprs='" + expression + "':sample_rate=" + std::to_string(options.sampleRate) +
           ":duration=" + number(seconds);
}

std::string filtered(std::string source, const std::string& chain) {
    return chain.empty() ? source : source + "," + chain;
}

Arguments encoders(const ClipOptions& options) {
    Arguments arguments;
    if (options.video) {
        append(&arguments, {"-c:v", options.videoCodec, "-pix_fmt", "yuv420p"});
        if (options.videoCodec == "libx264") append(&arguments, {"-preset", "veryfast"});
        append(&arguments, options.videoArguments);
    }
    if (options.audio) {
        append(&arguments, {"-c:a", options.audioCodec, "-strict", "-2"});
        if (options.channels > 0) append(&arguments, {"-ac", std::to_string(options.channels)});
        append(&arguments, options.audioArguments);
    }
    append(&arguments, options.outputArguments);
    return arguments;
}

std::string makeClip(const std::string& picture, const std::string& sound,
                     const ClipOptions& options) {
    Arguments arguments;
    if (options.video) {
        append(&arguments, {"-f", "lavfi", "-i", filtered(picture, options.videoFilter)});
    }
    if (options.audio) append(&arguments, {"-f", "lavfi", "-i", sound});
    append(&arguments, encoders(options));
    return make(arguments, options.extension);
}

int flashPeriod(const ClipOptions& options) {
    return static_cast<int>(
            std::lround(1.0 * options.frameRateNum / std::max(1, options.frameRateDen)));
}

std::string extensionOf(const std::string& path) {
    return path.substr(path.rfind('.') + 1);
}

std::string changedCopy(const std::string& path, const std::function<void(std::string*)>& change) {
    std::string content = readFile(path);
    change(&content);
    const std::string copy = newName(extensionOf(path));
    writeFile(copy, content);
    return copy;
}

}  // namespace

std::string mediaPath(const std::string& name) {
    return std::string(OXA_TEST_MEDIA_DIR) + "/" + name;
}

std::string testClip(const ClipOptions& options) {
    return makeClip(pictureSource("testsrc2", options),
                    soundSource("0.25*sin(2*PI*440*t)", options), options);
}

std::string flashBeepClip(const ClipOptions& options, double beepOffsetMs, double beepFrequency) {
    constexpr int kFlashPictures = 3;
    const int period = flashPeriod(options);
    const int first = period / 2;
    const double frameSeconds = 1.0 * options.frameRateDen / options.frameRateNum;
    const std::string picture = pictureSource("color", options) +
                                ":color=black,drawbox=color=white:thickness=fill:enable='" +
                                "gte(n," + std::to_string(first) + ")*lt(mod(n-" +
                                std::to_string(first) + "," + std::to_string(period) + ")," +
                                std::to_string(kFlashPictures) + ")'";
    const std::string since = "(t-" + number(first * frameSeconds + beepOffsetMs / 1000) + ")";
    const std::string sound = "0.5*sin(2*PI*" + number(beepFrequency) + "*" + since + ")*gte(" +
                              since + ",0)*lt(mod(" + since + "," + number(period * frameSeconds) +
                              "),0.1)";
    return makeClip(picture, soundSource(sound, options), options);
}

int flashCount(const ClipOptions& options) {
    const int period = flashPeriod(options);
    const int pictures = static_cast<int>(
            std::lround(options.seconds * options.frameRateNum / options.frameRateDen));
    const int first = period / 2;
    return pictures <= first ? 0 : (pictures - first - 1) / period + 1;
}

std::string sineClip(const std::vector<double>& frequencies, double amplitude,
                     const ClipOptions& options, const std::string& layout) {
    std::string expression;
    for (double frequency : frequencies) {
        if (!expression.empty()) expression += "|";
        expression += number(amplitude) + "*sin(2*PI*" + number(frequency) + "*t)";
    }
    ClipOptions sound = options;
    sound.video = false;
    sound.channels = 0;  // as generated
    std::string source = soundSource(expression, sound);
    if (!layout.empty()) source += ":channel_layout=" + layout;
    return makeClip("", source, sound);
}

std::string oneFrameVideo(const ClipOptions& options) {
    ClipOptions single = options;
    single.audio = false;
    append(&single.outputArguments, {"-frames:v", "1"});
    return testClip(single);
}

std::string coverPictureClip(double seconds) {
    ClipOptions options;
    options.seconds = seconds;
    return make({"-f",
                 "lavfi",
                 "-i",
                 soundSource("0.25*sin(2*PI*440*t)", options),
                 "-f",
                 "lavfi",
                 "-i",
                 "testsrc2=size=320x240:rate=1:duration=1",
                 "-map",
                 "0:a",
                 "-map",
                 "1:v",
                 "-c:a",
                 "libmp3lame",
                 "-ac",
                 "2",
                 "-c:v",
                 "mjpeg",
                 "-frames:v",
                 "1",
                 "-disposition:v:0",
                 "attached_pic"},
                "mp3");
}

std::string dropTsPackets(const std::string& path, int everyNth) {
    return changedCopy(path, [everyNth](std::string* content) {
        constexpr size_t kPacketBytes = 188;
        constexpr size_t kKept = 100;
        std::string left;
        for (size_t packet = 0; packet * kPacketBytes < content->size(); ++packet) {
            if (packet >= kKept && packet % everyNth == 0) continue;
            left.append(*content, packet * kPacketBytes, kPacketBytes);
        }
        *content = left;
    });
}

std::string zeroRegion(const std::string& path, double from, double to) {
    return changedCopy(path, [from, to](std::string* content) {
        const auto size = static_cast<double>(content->size());
        std::fill(content->begin() + std::lround(from * size),
                  content->begin() + std::lround(to * size), '\0');
    });
}

std::string truncateClip(const std::string& path, double fraction) {
    return changedCopy(path, [fraction](std::string* content) {
        content->resize(static_cast<size_t>(fraction * static_cast<double>(content->size())));
    });
}

std::string garbageFile(int64_t bytes, const std::string& extension) {
    std::mt19937 random(1);
    std::string content(static_cast<size_t>(bytes), '\0');
    for (char& byte : content)
        byte = static_cast<char>(random());
    const std::string path = newName(extension);
    writeFile(path, content);
    return path;
}

}  // namespace oxa::test
