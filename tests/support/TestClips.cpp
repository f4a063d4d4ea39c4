// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/TestClips.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <random>

#include "support/ProcessRunner.h"
#include "support/TempDir.h"

namespace oxa::test {

namespace {

using Arguments = std::vector<std::string>;

std::string newName(const std::string& extension) {
    static int count = 0;
    return TempDir::ofProcess().file("clip" + std::to_string(count++) + "." + extension);
}

// Runs the command with these arguments and an output name of its own, once for each set.
std::string make(const Arguments& arguments, const std::string& extension) {
    static std::map<Arguments, std::string> made;
    std::string& path = made[joined(arguments, {extension})];
    if (!path.empty()) return path;
    path = newName(extension);
    runOrDie(ffmpeg(joined(arguments, {path})));
    return path;
}

std::string pictureSource(const std::string& name, const ClipOptions& options) {
    return name + "=size=" + std::to_string(options.width) + "x" + std::to_string(options.height) +
           ":rate=" + std::to_string(options.frameRateNum) +
           ":duration=" + std::to_string(options.seconds);
}

std::string soundSource(const std::string& expression, const ClipOptions& options) {
    const double seconds = options.audioSeconds > 0 ? options.audioSeconds : options.seconds;
    return "aevalsrc=exprs='" + expression + "':sample_rate=" + std::to_string(options.sampleRate) +
           ":duration=" + std::to_string(seconds);
}

std::string makeClip(const std::string& picture, const std::string& sound,
                     const ClipOptions& options) {
    Arguments inputs;
    Arguments encoders;
    if (options.video) {
        const std::string& filter = options.videoFilter;
        inputs = {"-f", "lavfi", "-i", filter.empty() ? picture : picture + "," + filter};
        encoders = {"-c:v", options.videoCodec, "-pix_fmt", "yuv420p"};
        if (options.videoCodec == "libx264") encoders = joined(encoders, {"-preset", "veryfast"});
        encoders = joined(encoders, options.videoArguments);
    }
    if (options.audio) {
        inputs = joined(inputs, {"-f", "lavfi", "-i", sound});
        encoders = joined(encoders, {"-c:a", options.audioCodec, "-strict", "-2"});
        if (options.channels > 0) {
            encoders = joined(encoders, {"-ac", std::to_string(options.channels)});
        }
        encoders = joined(encoders, options.audioArguments);
    }
    return make(joined(joined(inputs, encoders), options.outputArguments), options.extension);
}

std::string changedCopy(const std::string& path, const std::function<void(std::string*)>& change) {
    std::string content = readFile(path);
    change(&content);
    const std::string copy = newName(path.substr(path.rfind('.') + 1));
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

std::string flashBeepClip(const ClipOptions& options, double beepOffsetMs) {
    constexpr int kFlashPictures = 3;
    const int period = options.frameRateNum;
    const int first = period / 2;
    const std::string picture = pictureSource("color", options) +
                                ":color=black,drawbox=color=white:thickness=fill:enable='" +
                                "gte(n," + std::to_string(first) + ")*lt(mod(n-" +
                                std::to_string(first) + "," + std::to_string(period) + ")," +
                                std::to_string(kFlashPictures) + ")'";
    const std::string since =
            "(t-" + std::to_string(1.0 * first / period + beepOffsetMs / 1000) + ")";
    const std::string sound =
            "0.5*sin(2*PI*1000*" + since + ")*gte(" + since + ",0)*lt(mod(" + since + ",1),0.1)";
    return makeClip(picture, soundSource(sound, options), options);
}

std::string sineClip(const std::vector<double>& frequencies, double amplitude,
                     const ClipOptions& options, const std::string& layout) {
    std::string expression;
    for (double frequency : frequencies) {
        if (!expression.empty()) expression += "|";
        expression += std::to_string(amplitude) + "*sin(2*PI*" + std::to_string(frequency) + "*t)";
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
    single.outputArguments = joined(single.outputArguments, {"-frames:v", "1"});
    return testClip(single);
}

std::string coverPictureClip() {
    const ClipOptions options;
    return make(joined({"-f", "lavfi", "-i", soundSource("0.25*sin(2*PI*440*t)", options)},
                       words("-f lavfi -i testsrc2=size=320x240:rate=1:duration=1 -map 0:a "
                             "-map 1:v -c:a libmp3lame -ac 2 -c:v mjpeg -frames:v 1 "
                             "-disposition:v:0 attached_pic")),
                "mp3");
}

std::string talkativeClip() {
    static const std::string notes = newName("txt");
    static const std::string lines = newName("srt");
    writeFile(notes,
              ";FFMETADATA1\ntitle=A \033title\nartist=Ärtist\ndate=2001\ncomment=Words\n"
              "album=Songs\n[CHAPTER]\nTIMEBASE=1/30\nSTART=0\nEND=16\ntitle=First half\n"
              "[CHAPTER]\nTIMEBASE=1/30\nSTART=16\nEND=30\ntitle=Second half\n");
    writeFile(lines, "1\n00:00:00,000 --> 00:00:01,000\nHello\n");
    return make(words("-f lavfi -i testsrc2=size=64x48:rate=30000/1001:duration=1 -f lavfi -i "
                      "anoisesrc=duration=1 -i " +
                      lines + " -i " + notes +
                      " -map 0 -map 1 -map 1 -map 2 -map_metadata 3 -map_chapters 3 -c:v libx265 "
                      "-x265-params log-level=error -pix_fmt yuv420p10le -aspect 16:9 -vf "
                      "setparams=color_primaries=bt2020:color_trc=smpte2084:colorspace=bt2020nc "
                      "-ac 4 -c:a flac "
                      "-c:s subrip -metadata:s:a:0 language=deu -metadata:s:a:1 language=eng "
                      "-metadata:s:s language=fra"),
                "mkv");
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
