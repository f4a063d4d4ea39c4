// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "files/FileCheck.h"

#include <array>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "cli/PlayerProgram.h"
#include "support/MediaReader.h"
#include "support/Pictures.h"
#include "support/Sound.h"
#include "transcode/TranscodeKit.h"

namespace oxa::test {

namespace {

constexpr double kAacFrame = 1024;
// That of the peer's encodings.
constexpr char kQuality[] = "--video-bitrate 6000000 ";

// ---- What the `ffmpeg` command decodes ----------------------------------------------------------

// Pictures in a file, one after the other: those of a film need not be in memory.
class PictureFile {
  public:
    PictureFile(const std::string& path, int width, int height) : mStream(path, std::ios::binary) {
        mImage.width = width;
        mImage.height = height;
        size_t size = 0;
        for (int plane = 0; plane < 3; ++plane) {
            mImage.planes[plane].resize(static_cast<size_t>(mImage.planeWidth(plane)) *
                                        mImage.planeHeight(plane));
            size += mImage.planes[plane].size();
        }
        if (size > 0) mCount = static_cast<size_t>(std::max<int64_t>(0, fileSize(path))) / size;
    }

    size_t count() const { return mCount; }
    const Image& next() {
        for (std::vector<uint8_t>& plane : mImage.planes)
            mStream.read(reinterpret_cast<char*>(plane.data()),
                         static_cast<std::streamsize>(plane.size()));
        return mImage;
    }

  private:
    std::ifstream mStream;
    Image mImage;
    size_t mCount = 0;
};

// What the `ffmpeg` command decodes of a file.
struct DecodedFile {
    const std::unique_ptr<TempDir> folder;
    const int width;
    const int height;
    const Sound sound;  // from the file's start, each sample at its time

    PictureFile pictures() const { return PictureFile(folder->file("pictures"), width, height); }
};

Sound readSound(const std::string& path, int sampleRate, int channels) {
    const std::string bytes = readFile(path);
    Sound sound;
    sound.sampleRate = sampleRate;
    sound.channels = channels;
    sound.samples.resize(bytes.size() / sizeof(float));
    std::memcpy(sound.samples.data(), bytes.data(), sound.samples.size() * sizeof(float));
    return sound;
}

int channelsOf(const std::string& layout) {
    AVChannelLayout known = {};
    av_channel_layout_from_string(&known, layout.c_str());
    const int channels = known.nb_channels;
    av_channel_layout_uninit(&known);
    return channels;
}

// Decodes to the size, the rate and the layout that a file's transcode has, the pictures turned by
// these filters. Sound that is not where the sample before it ended is put to its place, by silence
// or a cut.
DecodedFile decodeByPeer(const DifficultFile& file, const std::string& path,
                         const std::string& look = "") {
    auto folder = std::make_unique<TempDir>();
    // Nothing here is longer; a wild time can make hours.
    std::vector<std::string> command = {"-t", "70", "-i", path};
    if (isTransportStream(path)) command = joined({"-f", kTransportStream}, command);
    const std::string sound = folder->file("sound");
    if (file.pictureCount != 0) {
        std::ostringstream filters;
        filters << look << (look.empty() ? "" : ",") << "scale=" << file.width << ":" << file.height
                << ":flags=bicubic,format=yuv420p";
        command = joined(command, {"-map", "0:v:0", "-vf", filters.str(), "-fps_mode",
                                   "passthrough", "-f", "rawvideo", folder->file("pictures")});
    }
    if (file.hasSound) {
        std::ostringstream filters;
        filters << "aresample=" << file.sampleRate << ":async=1:min_hard_comp=0.002:first_pts=0,"
                << "aformat=channel_layouts=" << file.layout;
        command = joined(command, {"-map", "0:a:0", "-af", filters.str(), "-f", "f32le", sound});
    }
    ProcessRunner(ffmpeg(command)).run();
    Sound heard = readSound(sound, file.sampleRate, channelsOf(file.layout));
    return {std::move(folder), file.width, file.height, std::move(heard)};
}

// ---- Comparisons --------------------------------------------------------------------------------

class Report {
  public:
    template <typename Expected, typename Measured>
    void expect(bool met, const std::string& what, const Expected& expected,
                const Measured& measured) {
        if (met) return;
        std::ostringstream text;
        text << what << ": expected " << expected << ", is " << measured;
        mMisses.push_back(text.str());
    }
    template <typename Expected, typename Measured>
    bool equal(const std::string& what, const Expected& expected, const Measured& measured) {
        expect(expected == measured, what, expected, measured);
        return expected == measured;
    }
    void near(const std::string& what, double expected, double measured, double tolerance) {
        std::ostringstream range;
        range << expected << " +-" << tolerance;
        expect(std::abs(measured - expected) <= tolerance, what, range.str(), measured);
    }

    Misses take() { return std::move(mMisses); }

  private:
    Misses mMisses;
};

double meanSquareError(const Image& a, const Image& b) {
    double sum = 0;
    double count = 0;
    for (int plane = 0; plane < 3; ++plane) {
        const auto size = static_cast<double>(a.planes[plane].size());
        sum += size * oxa::test::meanSquareError(a.planes[plane], b.planes[plane]);
        count += size;
    }
    return sum / count;
}

struct Errors {
    size_t worst = 0;  // the picture that differs most
    double largest = 0;
    double mean = 0;
};

// Over all pictures that both have.
Errors errorsBetween(const DecodedFile& a, const DecodedFile& b) {
    PictureFile first = a.pictures();
    PictureFile second = b.pictures();
    const size_t count = std::min(first.count(), second.count());
    Errors errors;
    for (size_t i = 0; i < count; ++i) {
        const double error = meanSquareError(first.next(), second.next());
        errors.mean += error / static_cast<double>(count);
        if (error <= errors.largest) continue;
        errors.largest = error;
        errors.worst = i;
    }
    return errors;
}

// The largest difference of the pictures' times, but for `laterUs`.
void compareTimes(const DifficultFile& file, const StreamProbe& reference,
                  const StreamProbe& output, double laterUs, Report* report) {
    const size_t count = std::min(reference.timesUs.size(), output.timesUs.size());
    size_t worst = 0;
    double worstUs = 0;
    for (size_t i = 0; i < count; ++i) {
        if (reference.timesUs[i] == INT64_MIN) continue;  // the source does not say
        const double changeUs =
                static_cast<double>(output.timesUs[i] - reference.timesUs[i]) - laterUs;
        if (std::abs(changeUs) <= std::abs(worstUs)) continue;
        worstUs = changeUs;
        worst = i;
    }
    const std::string which = std::to_string(worst);
    report->near("lateness of picture " + which + ", ms", 0, worstUs / 1000, file.timeToleranceMs);
}

// In milliseconds, between two parts of a second.
double latenessOf(const std::vector<float>& wanted, const std::vector<float>& heard, int rate) {
    constexpr double kSearchedSeconds = 0.12;
    const int64_t lag = correlationLag(wanted, heard, std::llround(kSearchedSeconds * rate));
    return 1000.0 * static_cast<double>(lag) / rate;
}

// Part by part: the worst one's place, and that nothing is missing.
void comparePlaces(const Sound& reference, const Sound& output, double laterSeconds,
                   Report* report) {
    constexpr double kPart = 0.25;
    constexpr double kAudibleDb = -50;
    constexpr double kMaxLatenessMs = 5;
    constexpr double kMaxLossDb = 6;
    const int rate = reference.sampleRate;
    const std::vector<float> before = reference.mono();
    const std::vector<float> after = output.mono();
    const double end = std::min(reference.seconds(), output.seconds() - laterSeconds);
    double worstMs = 0;
    double worstAt = 0;
    for (double at = 0; at + kPart <= end; at += kPart) {
        const std::vector<float> wanted = window(before, rate, at, kPart);
        if (levelDb(wanted) < kAudibleDb) continue;
        const double from = std::max(0.0, at + laterSeconds);
        const std::vector<float> heard = window(after, rate, from, kPart);
        report->expect(levelDb(heard) > levelDb(wanted) - kMaxLossDb,
                       "level at " + std::to_string(at) + " s, dB", levelDb(wanted),
                       levelDb(heard));
        const double ms = latenessOf(wanted, heard, rate) + 1000 * (from - at - laterSeconds);
        if (std::abs(ms) <= std::abs(worstMs)) continue;
        worstMs = ms;
        worstAt = at;
    }
    report->near("lateness of sound at " + std::to_string(worstAt) + " s, ms", 0, worstMs,
                 kMaxLatenessMs);
}

void compareLevels(const Sound& reference, const Sound& output, Report* report) {
    constexpr double kMaxChangeDb = 1;
    constexpr double kInaudibleDb = -60;
    for (int channel = 0; channel < reference.channels; ++channel) {
        const double expected = std::max(kInaudibleDb, levelDb(reference.channel(channel)));
        const double measured = std::max(kInaudibleDb, levelDb(output.channel(channel)));
        report->near("level of channel " + std::to_string(channel) + ", dB", expected, measured,
                     kMaxChangeDb);
    }
}

void compareSound(const DifficultFile& file, const Sound& reference, const Sound& output,
                  double laterSeconds, Report* report) {
    // The frames of a source's coding are longer than what was put into them.
    constexpr double kSourceFramesSeconds = 0.08;
    if (file.soundSeconds > 0)
        report->near("source's length of sound, s", file.soundSeconds, reference.seconds(),
                     kSourceFramesSeconds);
    report->near("length of sound, s", reference.seconds(), output.seconds() - laterSeconds,
                 kAacFrame / file.sampleRate + 0.001);
    comparePlaces(reference, output, laterSeconds, report);
    compareLevels(reference, output, report);
}

// ---- A whole transcode --------------------------------------------------------------------------

std::string inputOf(const DifficultFile& file, const std::string& folder) {
    return std::filesystem::path(folder) / file.input;
}

std::string referenceOf(const DifficultFile& file, const std::string& folder) {
    return std::filesystem::path(folder) / (file.reference.empty() ? file.input : file.reference);
}

// How much later everything seems to be in the output. A transport stream has no start of its own
// but the first sample that is in it; times in other files are told from the first sample too, but
// are those from 0.
double laterUsOf(const MediaProbe& reference, const MediaProbe& output, const std::string& path) {
    if (!isTransportStream(path))
        return -static_cast<double>(MediaReader(path).format()->start_time);
    if (reference.video() != nullptr && output.video() != nullptr)
        return static_cast<double>(output.video()->firstUs() - reference.video()->firstUs());
    int64_t firstUs = INT64_MAX;
    for (const StreamProbe* stream : {reference.video(), reference.audio()}) {
        if (stream != nullptr) firstUs = std::min(firstUs, stream->firstUs());
    }
    return -static_cast<double>(firstUs);
}

bool compareStreams(const DifficultFile& file, const MediaProbe& output, Report* report) {
    if (!report->equal("picture in the output", file.pictureCount != 0,
                       output.video() != nullptr) ||
        !report->equal("sound in the output", file.hasSound, output.audio() != nullptr))
        return false;
    for (const StreamProbe& stream : output.streams()) {
        report->equal("decoding errors of the output", 0, stream.decodeErrors);
        report->equal("rise of decoding times", true, stream.decodingTimesRise);
    }
    if (file.hasSound) {
        report->equal("sound's rate", file.sampleRate, output.audio()->sampleRate);
        report->equal("sound's layout", file.layout, output.audio()->layout);
    }
    if (file.pictureCount == 0) return true;
    const StreamProbe& video = *output.video();
    report->equal("rotation of the output", 0, video.rotation);
    if (output.formatName() != kTransportStream)
        report->equal("key frames that the index tells", video.keyFrameCount,
                      video.syncPacketCount);
    report->equal("square points, or untold", std::min(video.sarNum, video.sarDen), video.sarNum);
    return report->equal("width", file.width, video.width) &&
           report->equal("height", file.height, video.height);
}

void compareVideo(const DifficultFile& file, const StreamProbe& reference,
                  const StreamProbe& output, double laterUs, const DecodedFile& expected,
                  const DecodedFile& made, Report* report) {
    const auto decodable = static_cast<int>(expected.pictures().count());
    const auto count = static_cast<int>(made.pictures().count());
    const int wanted = file.pictureCount < 0 ? decodable : file.pictureCount;
    report->near("pictures", wanted, count, std::max(0, file.pictureTolerance));
    report->expect(file.pictureTolerance >= 0 || wanted == decodable, "pictures of the reference",
                   wanted, decodable);
    compareTimes(file, reference, output, laterUs, report);
    // Each picture must be good: one of another time is not.
    const Errors errors = errorsBetween(expected, made);
    const double worstDb = psnrOf(errors.largest);
    if (decodable == count)
        report->expect(worstDb >= file.leastPsnrDb,
                       "look of picture " + std::to_string(errors.worst) + ", dB", file.leastPsnrDb,
                       worstDb);
}

Misses missesOfOutput(const DifficultFile& file, const std::string& referencePath,
                      const std::string& output) {
    constexpr double kMaxLeadSeconds = 0.5;
    Report report;
    const MediaProbe before(referencePath);
    const std::string format = isTransportStream(output) ? kTransportStream : "";
    const MediaProbe after(output, format);
    if (!compareStreams(file, after, &report)) return report.take();
    const DecodedFile expected = decodeByPeer(file, referencePath, file.look);
    const DecodedFile made = decodeByPeer(file, output);
    const double laterUs = laterUsOf(before, after, output);
    if (file.pictureCount != 0) {
        compareVideo(file, *before.video(), *after.video(), laterUs, expected, made, &report);
        // A transport stream does not say how long its last picture is shown.
        if (file.pictureEndSeconds > 0 && !isTransportStream(output))
            report.near("end of the last picture, s", file.pictureEndSeconds,
                        (static_cast<double>(after.video()->endUs) - laterUs) / 1e6, 0.001);
    }
    if (file.hasSound) compareSound(file, expected.sound, made.sound, laterUs / 1e6, &report);
    const double lead = static_cast<double>(largestLeadUs(output, format)) / 1e6;
    report.expect(lead <= kMaxLeadSeconds, "tracks apart in the file, s", kMaxLeadSeconds, lead);
    return report.take();
}

Misses missesOfRefusal(const DifficultFile& file, const ProcessResult& result,
                       const std::string& output) {
    Report report;
    report.equal("exit", file.refusalExit, result.exitCode);
    report.expect(result.err.find(file.refusalText) != std::string::npos, "message",
                  file.refusalText, result.err);
    report.equal("output", false, std::filesystem::exists(output));
    return report.take();
}

ProcessResult transcodeOf(const DifficultFile& file, const std::string& folder,
                          const std::string& output) {
    return runPlayer(joined({"transcode", inputOf(file, folder), "-o", output, "--force"},
                            words(kQuality + file.options)));
}

}  // namespace

Misses missesOf(const DifficultFile& file, const std::string& folder, const std::string& output) {
    const ProcessResult result = transcodeOf(file, folder, output);
    if (file.refusalExit != 0) return missesOfRefusal(file, result, output);
    if (!result.ok())
        return {"exit " + std::to_string(result.exitCode) + ", signal " +
                std::to_string(result.signal) + ": " + result.err};
    return missesOfOutput(file, referenceOf(file, folder), output);
}

namespace {

// The `ffmpeg` command's transcode with the encoder settings that the player uses; false if it
// fails.
bool transcodeByPeer(const DifficultFile& file, const std::string& input,
                     const std::string& output) {
    std::vector<std::string> command = {"-i", input};
    if (file.pictureCount != 0) {
        std::ostringstream filters;
        // What the reference needs to look right the input says itself.
        if (file.reference.empty() && !file.look.empty()) filters << file.look << ",";
        filters << "scale=" << file.width << ":" << file.height
                << ":flags=bicubic,setsar=1,format=yuv420p";
        command = joined(command, {"-map", "0:v:0", "-vf", filters.str()});
        command = joined(command, words("-fps_mode passthrough -c:v libx264 -preset veryfast -bf 0 "
                                        "-g 50 -b:v 6000000"));
    }
    if (file.hasSound) {
        command =
                joined(command, words("-map 0:a:0 -c:a aac -b:a " +
                                      std::string(channelsOf(file.layout) > 2 ? "384k" : "128k")));
        command = joined(command, {"-ar", std::to_string(file.sampleRate), "-af",
                                   "aformat=channel_layouts=" + file.layout});
    }
    return ProcessRunner(ffmpeg(joined(command, {output}))).run().ok();
}

}  // namespace

Misses missesAgainstPeer(const DifficultFile& file, const std::string& folder,
                         const std::string& output) {
    constexpr double kMaxLossDb = 0.3;
    constexpr double kPerfectDb = 50;  // nobody sees what is beyond
    const std::string peer = output + ".peer.mp4";
    // What the options make of the pictures is in the reference.
    const std::string input = file.options.empty() || file.reference.empty()
                                      ? inputOf(file, folder)
                                      : referenceOf(file, folder);
    if (!transcodeByPeer(file, input, peer)) return {"the peer fails"};
    Report report;
    const DecodedFile expected = decodeByPeer(file, referenceOf(file, folder), file.look);
    const DecodedFile theirs = decodeByPeer(file, peer);
    const DecodedFile ours = decodeByPeer(file, output);
    report.near("pictures, peer's", static_cast<double>(theirs.pictures().count()),
                static_cast<double>(ours.pictures().count()), std::max(0, file.pictureTolerance));
    if (file.pictureCount != 0) {
        const double theirDb = psnrOf(errorsBetween(expected, theirs).mean);
        const double ourDb = psnrOf(errorsBetween(expected, ours).mean);
        report.expect(ourDb >= std::min(theirDb, kPerfectDb) - kMaxLossDb, "PSNR, dB, peer's",
                      theirDb, ourDb);
    }
    if (file.hasSound)
        report.near("length of sound, s, peer's", theirs.sound.seconds(), ours.sound.seconds(),
                    2 * kAacFrame / file.sampleRate);
    return report.take();
}

// ---- Files of which nothing else is known -------------------------------------------------------

namespace {

std::string layoutOf(const std::string& path) {
    constexpr int kMostChannels = 6;
    MediaReader reader(path);
    const int stream = reader.findStream(AVMEDIA_TYPE_AUDIO);
    AVChannelLayout layout = {};
    av_channel_layout_copy(&layout, &reader.format()->streams[stream]->codecpar->ch_layout);
    if (layout.nb_channels > kMostChannels || layout.order == AV_CHANNEL_ORDER_UNSPEC)
        av_channel_layout_default(&layout, std::min(layout.nb_channels, kMostChannels));
    std::array<char, 64> name = {};
    av_channel_layout_describe(&layout, name.data(), name.size());
    av_channel_layout_uninit(&layout);
    static const std::map<std::string, std::string> kInAac = {
            {"5.1(side)", "5.1"}, {"5.0(side)", "5.0"}, {"3.1", "4.0"},
            {"4.1", "5.0"},       {"6.0", "5.1"},       {"hexagonal", "5.1"}};
    const auto other = kInAac.find(name.data());
    return other != kInAac.end() ? other->second : name.data();
}

// The size of the picture as it is looked at, before it is made even.
std::pair<double, double> uprightSize(const StreamProbe& video) {
    const double points = video.sarNum > 0 ? 1.0 * video.sarNum / video.sarDen : 1;
    const double width = video.width * points;
    if (video.rotation % 180 != 0) return {video.height, width};
    return {width, video.height};
}

// What an output of a file must be like, which has its size and its rate.
DifficultFile likeItself(const std::string& path, const MediaProbe& source,
                         const MediaProbe& output) {
    DifficultFile file{std::filesystem::path(path).filename(), path};
    file.leastPsnrDb = 0;  // how good a picture can be is the peer's to say
    for (const StreamProbe* stream : {source.video(), source.audio()}) {
        constexpr int kMatterOfTaste = 3;
        if (stream != nullptr && stream->decodeErrors > 0) file.pictureTolerance = kMatterOfTaste;
    }
    if (source.video() != nullptr && source.video()->frameCount > 0 && output.video() != nullptr) {
        file.pictureCount = -1;
        file.width = output.video()->width;
        file.height = output.video()->height;
    }
    if (source.audio() != nullptr && source.audio()->frameCount > 0 && output.audio() != nullptr) {
        file.hasSound = true;
        file.sampleRate = output.audio()->sampleRate;
        file.layout = layoutOf(path);
    }
    return file;
}

}  // namespace

Misses missesOfUnknown(const std::string& path, const std::string& folder) {
    const std::string output = folder + "/out.mp4";
    DifficultFile asItIs{"", path};
    asItIs.options = "--deinterlace 0";  // the peer leaves the combs of interlaced pictures
    const ProcessResult result = transcodeOf(asItIs, folder, output);
    if (!result.ok()) return {"exit " + std::to_string(result.exitCode) + ": " + result.err};
    const MediaProbe source(path);
    const MediaProbe made(output);
    DifficultFile file = likeItself(path, source, made);
    file.options = asItIs.options;
    Report report;
    if (file.pictureCount != 0) {
        constexpr double kEven = 2;
        const auto [width, height] = uprightSize(*source.video());
        report.near("width", width, file.width, kEven);
        report.near("height", height, file.height, kEven);
    }
    Misses misses = report.take();
    for (const Misses& more :
         {missesOfOutput(file, path, output), missesAgainstPeer(file, folder, output),
          missesOf(file, folder, folder + "/out.ts")})
        misses.insert(misses.end(), more.begin(), more.end());
    return misses;
}

}  // namespace oxa::test
