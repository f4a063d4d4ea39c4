// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "parts/PartList.h"

#include <sys/stat.h>

#include <cstdlib>
#include <map>
#include <sstream>
#include <utility>

namespace oxa::jobs {

namespace {

constexpr char kPart[] = "part";
constexpr char kSound[] = "sound";
constexpr char kThreads[] = "threads";
constexpr char kOpen[] = "-";

template <typename Number>
std::string textOf(const std::optional<Number>& value) {
    return value ? std::to_string(static_cast<int64_t>(*value)) : kOpen;
}

std::string textOf(const std::optional<Size>& size) {
    return size ? std::to_string(size->width) + "x" + std::to_string(size->height) : kOpen;
}

std::string textOf(const std::optional<PictureFrame>& frame) {
    if (!frame) return kOpen;
    return textOf(std::optional(frame->size)) + (frame->turnsWithPicture ? " turning" : "");
}

std::string timeOf(const struct stat& status) {
    std::string nanoseconds = std::to_string(status.st_mtim.tv_nsec);
    nanoseconds.insert(0, 9 - nanoseconds.size(), '0');
    return std::to_string(status.st_mtim.tv_sec) + "." + nanoseconds;
}

std::map<std::string, std::string> valuesIn(const std::string& text) {
    std::map<std::string, std::string> values;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        const size_t space = line.find(' ');
        if (space != std::string::npos) values[line.substr(0, space)] = line.substr(space + 1);
    }
    return values;
}

}  // namespace

PartList::PartList(const TranscodeOptions& options, int input) {
    struct stat status = {};
    fstat(input, &status);
    const InputPart& part = options.part;
    mValues = {{"version", OXA_JOBS_VERSION},
               {"input-size", std::to_string(status.st_size)},
               {"input-time", timeOf(status)},
               {"start", std::to_string(part.startUs)},
               {"end", textOf(part.endUs)},
               {"video-track", textOf(part.videoTrack)},
               {"audio-track", part.audioLanguage.value_or(textOf(part.audioTrack))},
               {"only", std::to_string(static_cast<int>(options.only))},
               {"size", textOf(options.size)},
               {"max-size", textOf(options.maxSize)},
               {"fps", textOf(options.frameRate)},
               {"quality", std::to_string(options.quality)},
               {"video-bitrate", textOf(options.videoBitRate)},
               {"keyframe-interval", std::to_string(options.keyFrameIntervalSec)},
               {"deinterlace", textOf(options.deinterlace)},
               {"profile", textOf(options.profile)},
               {"level", textOf(options.level)},
               {"preset", options.preset.value_or(kOpen)},
               {"audio-rate", textOf(options.audioRate)},
               {"audio-channels", textOf(options.audioChannels)},
               {"audio-bitrate", textOf(options.audioBitRate)},
               {"strict", std::to_string(options.strict ? 1 : 0)}};
}

void PartList::setPlan(const FilmPlan& plan, unsigned threads) {
    mPlan = plan;
    mThreads = threads;
}

std::string PartList::text() const {
    std::ostringstream text;
    for (const auto& [name, value] : mValues)
        text << name << ' ' << value << '\n';
    text << kThreads << ' ' << mThreads << '\n';
    for (const InputPart& part : mPlan.parts)
        text << kPart << ' ' << part.startUs << ' ' << textOf(part.endUs) << '\n';
    text << kSound << ' ' << (mPlan.sound ? 1 : 0) << '\n';
    return text.str();
}

bool PartList::readPlan(const std::string& text, const TranscodeOptions& options) {
    FilmPlan plan;
    unsigned threads = 0;
    bool isComplete = false;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string name;
        words >> name;
        if (name == kPart) {
            InputPart part = options.part;
            std::string end;
            if (!(words >> part.startUs >> end)) return false;
            part.endUs.reset();
            if (end != kOpen) part.endUs = std::strtoll(end.c_str(), nullptr, 10);
            plan.parts.push_back(part);
        } else if (name == kThreads) {
            words >> threads;
        } else if (name == kSound) {
            isComplete = true;
            if (line.back() == '1') plan.sound = options.part;
        }
    }
    setPlan(plan, threads);
    return isComplete && threads > 0 && !plan.parts.empty();
}

std::string PartList::differenceFrom(const std::string& text) const {
    const auto former = valuesIn(text);
    for (const auto& [name, value] : mValues) {
        const auto entry = former.find(name);
        const std::string formerValue = entry == former.end() ? "?" : entry->second;
        if (formerValue == value) continue;
        if (name.compare(0, 6, "input-") == 0) return "the input has changed since";
        return name + " was " + (formerValue == kOpen ? "not given" : formerValue) + " and is " +
               (value == kOpen ? "not given" : value);
    }
    return "";
}

}  // namespace oxa::jobs
