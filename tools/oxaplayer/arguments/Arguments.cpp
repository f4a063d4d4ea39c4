// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/Arguments.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <map>

#include "arguments/ParsedOption.h"

namespace oxaplayer {

namespace {

constexpr double kLongestSeconds = 1e7;

const std::map<std::string, AvcProfile> kProfiles = {{"baseline", AvcProfile::kBaseline},
                                                     {"main", AvcProfile::kMain},
                                                     {"high", AvcProfile::kHigh}};
const std::map<std::string, int32_t> kLevels = {{"1.0", 10}, {"1.1", 11}, {"1.2", 12}, {"1.3", 13},
                                                {"2.0", 20}, {"2.1", 21}, {"2.2", 22}, {"3.0", 30},
                                                {"3.1", 31}, {"3.2", 32}, {"4.0", 40}, {"4.1", 41},
                                                {"4.2", 42}, {"5.0", 50}, {"5.1", 51}, {"5.2", 52}};

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char letter) { return std::tolower(letter); });
    return text;
}

template <typename Value>
std::optional<Value> find(const std::map<std::string, Value>& table, const std::string& name) {
    const auto entry = table.find(name);
    if (entry == table.end()) return std::nullopt;
    return entry->second;
}

// CLI11 may spread a message over lines; ours are one line.
std::string oneLine(std::string text) {
    while (!text.empty() && std::isspace(static_cast<unsigned char>(text.back())))
        text.pop_back();
    std::replace(text.begin(), text.end(), '\n', ' ');
    return text;
}

// The name of the command that the user chose, for messages; empty before one was chosen.
std::string chosenName(const CLI::App& app) {
    const auto chosen = app.get_subcommands();
    return chosen.empty() ? "" : chosen.front()->get_name();
}

}  // namespace

std::optional<int32_t> parseWholeNumber(const std::string& text, int32_t lowest, int32_t highest) {
    int32_t value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value);
    if (error != std::errc() || stop != end || value < lowest || value > highest) {
        return std::nullopt;
    }
    return value;
}

std::optional<Size> parseSize(const std::string& text) {
    const size_t cross = text.find('x');
    if (cross == std::string::npos) return std::nullopt;
    const auto width =
            parseWholeNumber(text.substr(0, cross), kLowestPictureSide, kHighestPictureSide);
    const auto height =
            parseWholeNumber(text.substr(cross + 1), kLowestPictureSide, kHighestPictureSide);
    if (!width || !height || *width % 2 != 0 || *height % 2 != 0) return std::nullopt;
    return Size{*width, *height};
}

std::optional<int32_t> parseBitRate(const std::string& text) {
    if (text.empty()) return std::nullopt;
    std::string digits = text;
    double unit = 1;
    const int suffix = std::tolower(static_cast<unsigned char>(text.back()));
    if (suffix == 'k' || suffix == 'm') {
        unit = suffix == 'k' ? 1e3 : 1e6;
        digits.pop_back();
    }
    double value = 0;
    const char* end = digits.data() + digits.size();
    const auto [stop, error] = std::from_chars(digits.data(), end, value, std::chars_format::fixed);
    if (error != std::errc() || stop != end || !(value >= 0)) return std::nullopt;
    const double bits = std::round(value * unit);
    if (bits > kHighestBitRate || std::abs(bits - value * unit) > 1e-3) return std::nullopt;
    return static_cast<int32_t>(bits);
}

std::optional<int64_t> parseSeconds(const std::string& text) {
    double value = 0;
    const char* end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, value, std::chars_format::fixed);
    if (error != std::errc() || stop != end || !(value <= kLongestSeconds)) return std::nullopt;
    const int64_t us = std::llround(value * 1e6);
    return us > 0 ? std::optional(us) : std::nullopt;
}

std::optional<AvcProfile> parseProfile(const std::string& text) {
    return find(kProfiles, lowerCase(text));
}

std::optional<int32_t> parseLevel(const std::string& text) {
    return find(kLevels, text);
}

std::optional<int32_t> parseAacSampleRate(const std::string& text) {
    const auto sampleRate = parseWholeNumber(text, 1, 1'000'000);
    if (!sampleRate || !isAacSampleRate(*sampleRate)) return std::nullopt;
    return sampleRate;
}

const char* containerName(Container container) {
    return container == Container::kMp4 ? "mp4" : "ts";
}

void addOnlyOption(CLI::App& app, Only* only) {
    const std::map<std::string, Only> onlyNames = {{"audio", Only::kAudio},
                                                   {"video", Only::kVideo}};
    app.add_option_function<std::string>(
               "--only",
               [only, onlyNames](const std::string& text) {
                   const auto entry = onlyNames.find(text);
                   if (entry == onlyNames.end()) {
                       throw CLI::ValidationError("--only '" + text + "': expected audio or video");
                   }
                   *only = entry->second;
               },
               "Leave the other kind of track out")
            ->type_name("audio|video");
}

void addEncodeOptions(CLI::App& app, EncodeOptions* options) {
    app.add_option("-o,--output", options->output, "Where to write; - is standard output")
            ->required()
            ->type_name("OUTPUT");
    const std::map<std::string, Container> containers = {{"mp4", Container::kMp4},
                                                         {"ts", Container::kMpeg2Ts}};
    addParsedOption(
            app, "--format", &options->container,
            [containers](const std::string& text) {
                const auto entry = containers.find(text);
                return entry == containers.end() ? std::nullopt : std::optional(entry->second);
            },
            "mp4|ts", "Container (default: by the extension of OUTPUT)", "mp4 or ts");
    addParsedOption(app, "--size", &options->size, parseSize, "WxH",
                    "Size of the picture (default: the source's, upright, square pixels)",
                    "WxH, both even, from 16 to 8192");
    addParsedOption(
            app, "--fps", &options->frameRate,
            [](const std::string& text) { return parseWholeNumber(text, 1, kHighestFrameRate); },
            "N", "Frames a second (default: the source's)", "a whole number from 1 to 240");
    addParsedOption(app, "--video-bitrate", &options->videoBitRate, parseBitRate, "N",
                    "Bits a second, 4M is 4,000,000; 0 asks for constant quality (default: "
                    "15 for each pixel of the picture)",
                    "bits a second such as 800000, 800k or 4M");
    app.add_option_function<std::string>(
               "--keyframe-interval",
               [options](const std::string& text) {
                   const auto value = parseWholeNumber(text, 0, kLongestKeyFrameIntervalSec);
                   if (!value) {
                       throw CLI::ValidationError("--keyframe-interval '" + text +
                                                  "': expected whole seconds from 0 to 600");
                   }
                   options->keyFrameIntervalSec = *value;
               },
               "Seconds between key frames, 0 makes every frame one (default: 2)")
            ->type_name("S");
    addParsedOption(
            app, "--deinterlace", &options->deinterlace,
            [](const std::string& text) { return parseWholeNumber(text, 0, 2); }, "0|1|2",
            "0 off, 1 keep the frame rate, 2 double it (default: off)", "0, 1 or 2");
    addOnlyOption(app, &options->only);
    app.add_option("--preset", options->preset,
                   "Speed of the encoder, ultrafast to placebo (default: veryfast)")
            ->type_name("NAME");
    app.add_flag("--force", options->replaceOutput, "Replace an existing OUTPUT");
}

ParsedArguments parseArguments(const std::vector<std::string>& arguments,
                               const std::vector<std::unique_ptr<Command>>& commands) {
    ParsedArguments parsed;
    CLI::App app("Plays, transcodes and records.", "oxaplayer");
    app.require_subcommand(1);
    app.fallthrough();
    app.set_version_flag("--version", "oxaplayer " OXAPLAYER_VERSION);
    app.add_flag("--json", parsed.common.json, "Events on standard output, one JSON object a line");
    app.add_flag("--quiet", parsed.common.quiet,
                 "Only errors, and one line if the input is damaged");
    app.add_flag("--verbose", parsed.common.verbose, "Show the platform's log");
    app.footer(
            "Exit codes: 0 done, 1 failed while running, 2 wrong usage, 3 input cannot be read,\n"
            "4 output cannot be written, 130 interrupted.");
    std::map<CLI::App*, Command*> bySubcommand;
    for (const auto& command : commands)
        bySubcommand[command->define(app)] = command.get();

    try {
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
        app.parse(std::move(reversed));
        parsed.command = bySubcommand.at(app.get_subcommands().front());
    } catch (const CLI::CallForVersion& request) {
        parsed.standardOutput = oneLine(request.what()) + "\n";
    } catch (const CLI::Success&) {
        parsed.standardOutput = app.help();
    } catch (const CLI::ParseError& error) {
        const std::string name = chosenName(app);
        parsed.code = ExitCode::kUsage;
        parsed.standardError = "oxaplayer: " + (name.empty() ? "" : name + ": ") +
                               oneLine(error.what()) + " (oxaplayer " +
                               (name.empty() ? "" : name + " ") + "--help tells more)\n";
    }
    return parsed;
}

}  // namespace oxaplayer
