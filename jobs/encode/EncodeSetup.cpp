// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "encode/EncodeSetup.h"

#include <oxa/host/EncoderPreset.h>
#include <oxa/host/EncoderRate.h>
#include <oxa/host/IndexFirst.h>

#include <algorithm>
#include <cctype>
#include <cstring>
#include <map>

namespace oxa::jobs {

namespace {

constexpr int32_t kSoundBitRate = 128'000;
constexpr int32_t kWideSoundBitRate = 384'000;

std::optional<Container> containerByName(const std::string& path) {
    static const std::map<std::string, Container> kContainers = {
            {".mp4", Container::kMp4},      {".m4v", Container::kMp4},
            {".m4a", Container::kMp4},      {".ts", Container::kMpeg2Ts},
            {".m2ts", Container::kMpeg2Ts}, {".mts", Container::kMpeg2Ts}};
    const auto entry = kContainers.find(extensionOf(path));
    if (entry == kContainers.end()) return std::nullopt;
    return entry->second;
}

std::string formatName(Container container) {
    return container == Container::kMp4 ? "mp4" : "ts";
}

bool isPictureSide(int32_t side) {
    return side >= kLowestPictureSide && side <= kHighestPictureSide && side % 2 == 0;
}

std::string textOf(const std::optional<int32_t>& value) {
    return std::to_string(value.value_or(0));
}

std::optional<Failure> checkValues(const EncodeOptions& options) {
    if (options.size &&
        (!isPictureSide(options.size->width) || !isPictureSide(options.size->height))) {
        return wrongOption("size", textOf(options.size->width) + "x" + textOf(options.size->height),
                           "WxH, both even, from 16 to 8192");
    }
    if (!isWithin(options.frameRate, 1, kHighestFrameRate)) {
        return wrongOption("fps", textOf(options.frameRate), "a whole number from 1 to 240");
    }
    if (!isWithin(options.videoBitRate, 1, kHighestBitRate)) {
        return wrongOption("video-bitrate", textOf(options.videoBitRate),
                           "1 to 1000000000 bits a second");
    }
    if (!isWithin(options.quality, 0, kLowestQuality)) {
        return wrongOption("quality", textOf(options.quality), "a whole number from 0 to 51");
    }
    if (!isWithin(options.audioBitRate, kLowestAudioBitRate, kHighestAudioBitRate)) {
        return wrongOption("audio-bitrate", textOf(options.audioBitRate),
                           "8000 to 1000000 bits a second");
    }
    if (!isWithin(options.keyFrameIntervalSec, 0, kLongestKeyFrameIntervalSec)) {
        return wrongOption("keyframe-interval", textOf(options.keyFrameIntervalSec),
                           "whole seconds from 0 to 600");
    }
    if (!isWithin(options.deinterlace, 0, 2)) {
        return wrongOption("deinterlace", textOf(options.deinterlace), "0, 1 or 2");
    }
    return std::nullopt;
}

}  // namespace

std::string extensionOf(const std::string& path) {
    const size_t slash = path.rfind('/');
    const std::string name = slash == std::string::npos ? path : path.substr(slash + 1);
    const size_t dot = name.rfind('.');
    std::string extension = dot == std::string::npos ? "" : name.substr(dot);
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char letter) { return std::tolower(letter); });
    return extension;
}

void setRates(const EncodeOptions& options, int32_t channels) {
    host::setEncoderQuality(options.quality);
    const bool isWide = channels > 2;
    host::setSoundBitRate(
            options.audioBitRate.value_or(isWide ? kWideSoundBitRate : kSoundBitRate));
}

Failure wrongOption(const std::string& option, const std::string& value,
                    const std::string& expected) {
    return {FailureKind::kOptions, option + " '" + value + "': expected " + expected,
            Hint::kOtherValue};
}

bool isWithin(const std::optional<int32_t>& value, int32_t lowest, int32_t highest) {
    return !value || (*value >= lowest && *value <= highest);
}

std::optional<Container> chooseContainer(const OutputOptions& options) {
    if (options.container) return options.container;
    if (options.outputDescriptor >= 0) return Container::kMpeg2Ts;
    return containerByName(options.output);
}

std::optional<Failure> setUpContainer(const OutputOptions& options, Container* container) {
    const auto chosen = chooseContainer(options);
    if (!chosen) {
        return Failure{FailureKind::kOptions,
                       "cannot tell the container of '" + options.output +
                               "' by its name: use .mp4, .m4v, .m4a, .ts, .m2ts or .mts",
                       Hint::kNameContainer};
    }
    *container = *chosen;
    const bool isNamed = options.outputDescriptor < 0;
    const Container named = containerByName(options.output).value_or(*chosen);
    if (isNamed && named != *chosen) {
        return wrongOption("format", formatName(*chosen),
                           formatName(named) + ", as '" + options.output + "' is named");
    }
    if (!options.indexFirst || *chosen == Container::kMp4) return std::nullopt;
    return Failure{FailureKind::kOptions, "only MP4 has an index that can come first"};
}

std::optional<Failure> setUpEncoding(const EncodeOptions& options, Container* container) {
    if (auto failure = setUpContainer(options, container)) return failure;
    if (options.preset && !host::setEncoderPreset(*options.preset)) {
        return wrongOption("preset", *options.preset, "a name from ultrafast to placebo");
    }
    return checkValues(options);
}

std::optional<Failure> openOutput(const OutputOptions& options, Container container, WriteWay way,
                                  OutputFile* output) {
    const auto open = way == WriteWay::kInPlace ? &OutputFile::openInPlace : &OutputFile::open;
    if (auto failure =
                (output->*open)(options.output, options.replaceOutput, options.outputDescriptor)) {
        return failure;
    }
    if (container == Container::kMp4 && !output->isSeekable()) {
        return Failure{FailureKind::kOutput,
                       "cannot write '" + options.output + "': MP4 needs a file",
                       Hint::kTransportStream};
    }
    return std::nullopt;
}

std::optional<Failure> completeOutput(const OutputOptions& options, bool isShortened,
                                      OutputFile* output) {
    if (options.indexFirst) {
        const int error = host::moveIndexToFront(output->descriptor());
        if (error != 0) {
            return Failure{FailureKind::kOutput,
                           "cannot write '" + options.output + "': " + strerror(error)};
        }
    }
    return isShortened ? output->keepShortened() : output->finish();
}

std::optional<Failure> refuseInput(const InputFile& input, const std::string& output,
                                   int outputDescriptor) {
    if (outputDescriptor >= 0 || !input.isSameFileAs(output)) return std::nullopt;
    return Failure{FailureKind::kOptions, "'" + output + "' is the input itself"};
}

}  // namespace oxa::jobs
