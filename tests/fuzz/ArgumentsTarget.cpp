// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The first bytes choose what is read: a command line, one value of it, or what a camera offers.

#include <camera/CameraParameters.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "arguments/Arguments.h"
#include "arguments/PlayChoices.h"
#include "encode/EncodeSetup.h"
#include "frame/Command.h"
#include "fuzz/FuzzTarget.h"
#include "record/CaptureSource.h"
#include "record/RecordFormat.h"
#include "transcode/TargetFormat.h"

namespace oxa::fuzz {
namespace {

using namespace oxaplayer;

constexpr size_t kMaxBytes = 4096;

// One argument a line.
void readCommandLine(ByteReader* input) {
    std::vector<std::string> arguments;
    while (!input->empty())
        arguments.push_back(input->line());
    const auto commands = makeCommands();
    const ParsedArguments parsed = parseArguments(arguments, commands);
    const bool known = std::any_of(commands.begin(), commands.end(), [&](const auto& command) {
        return command.get() == parsed.command;
    });
    // Either something to do, or an answer; an error is one line.
    FUZZ_CHECK(known == (parsed.command != nullptr));
    FUZZ_CHECK(known == (parsed.standardOutput.empty() && parsed.standardError.empty()));
    FUZZ_CHECK((parsed.code == ExitCode::kUsage) == !parsed.standardError.empty());
    FUZZ_CHECK(std::count(parsed.standardError.begin(), parsed.standardError.end(), '\n') ==
               (parsed.standardError.empty() ? 0 : 1));
}

void readValues(ByteReader* input) {
    while (!input->empty()) {
        const std::string text = input->line();
        if (const auto size = parseSize(text)) {
            FUZZ_CHECK(size->width >= 16 && size->width <= kHighestPictureSide);
            FUZZ_CHECK(size->height >= 16 && size->height <= kHighestPictureSide);
            FUZZ_CHECK(size->width % 2 == 0 && size->height % 2 == 0);
        }
        if (const auto bits = parseBitRate(text)) FUZZ_CHECK(*bits >= 0 && *bits <= 1000000000);
        if (const auto us = parseDuration(text)) FUZZ_CHECK(*us > 0 && *us <= 10000000000000);
        if (const auto number = parseWholeNumber(text, -5, 99)) {
            FUZZ_CHECK(*number >= -5 && *number <= 99);
        }
        if (const auto rate = parseAacSampleRate(text)) FUZZ_CHECK(isAacSampleRate(*rate));
        parseProfile(text);
        parseLevel(text);
        EncodeOptions options;
        options.output = text;
        chooseContainer(options);
        if (const auto display = parseDisplayChoice(text)) {
            FUZZ_CHECK((display->kind == DisplayChoice::Kind::kPng) == !display->directory.empty());
        }
        parseSoundChoice(text);
        if (const auto graph = withSilence(text)) FUZZ_CHECK(graph->rfind("lavfi:", 0) == 0);
    }
}

void readSources(ByteReader* input) {
    const auto only = static_cast<Only>(input->byte() % 3);
    const uint8_t given = input->byte();
    LiveSource source;
    if ((given & 1) != 0) source.kind = LiveSource::Kind::kHdmi;
    source.name = input->line();
    if ((given & 4) != 0) source.sound = input->line();
    if (!checkSource(source, only)) FUZZ_CHECK(!source.name.empty());
}

// The formats of a file's tracks, as an extractor lets them through.
void chooseTarget(ByteReader* input) {
    Track video;
    video.width = 1 + input->integer<uint16_t>() % 16384;
    video.height = 1 + input->integer<uint16_t>() % 16384;
    video.rotationDegrees = input->byte() % 4 * 90;
    const int32_t aspectWidth = input->integer<int32_t>();
    const int32_t aspectHeight = input->integer<int32_t>();
    if (aspectWidth > 0 && aspectHeight > 0) {
        video.pixelAspect = static_cast<double>(aspectWidth) / aspectHeight;
    }
    Track audio;
    audio.channels = input->byte();
    audio.sampleRate = input->integer<int32_t>();
    const auto format = makeTargetFormat(TranscodeOptions(), &video, &audio);
    for (const int32_t side : {format.width, format.height}) {
        FUZZ_CHECK(side >= 2 && side <= kHighestPictureSide && side % 2 == 0);
    }
    FUZZ_CHECK(isAacSampleRate(format.sampleRate));
    FUZZ_CHECK(format.channelCount >= 1 && format.channelCount <= 6);
}

// What a camera says of itself is text of a driver's.
void chooseCameraFormat(ByteReader* input) {
    EncodeOptions options;
    const uint8_t asked = input->byte();
    if ((asked & 1) != 0) options.size = Size{320, 240};
    if ((asked & 2) != 0) options.frameRate = 1 + input->byte() % 60;
    std::string text;
    while (!input->empty())
        text += static_cast<char>(input->byte());
    const android::CameraParameters camera{android::String8(text.data(), text.size())};
    android::_AV_FORMAT_FORMAT format = {};
    int32_t frameRate = 0;
    const bool isHdmi = (asked & 4) != 0;
    if (chooseVideoFormat(options, camera, isHdmi, &format, &frameRate)) return;
    FUZZ_CHECK(!options.size || format.width == 320);
    if (!isHdmi) return;
    FUZZ_CHECK(frameRate >= 1 && frameRate <= kHighestHdmiFrameRate);
    FUZZ_CHECK(format.frameRate >= 1 && format.frameRate <= kHighestHdmiFrameRate);
}

}  // namespace
}  // namespace oxa::fuzz

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    using namespace oxa::fuzz;
    if (size == 0 || size > kMaxBytes) return 0;
    ByteReader input(data + 1, size - 1);
    if (data[0] == 'v') {
        readValues(&input);
    } else if (data[0] == 's') {
        readSources(&input);
    } else if (data[0] == 't') {
        chooseTarget(&input);
    } else if (data[0] == 'c') {
        chooseCameraFormat(&input);
    } else {
        readCommandLine(&input);
    }
    return 0;
}
