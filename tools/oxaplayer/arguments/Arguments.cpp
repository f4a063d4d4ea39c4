// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/Arguments.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <memory>

#include "arguments/ParsedOption.h"
#include "arguments/Usage.h"

namespace oxaplayer {

namespace {

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

}  // namespace

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
    if (error != std::errc() || stop != end || !(value > 0)) return std::nullopt;
    const double bits = std::round(value * unit);
    if (bits > kHighestBitRate || std::abs(bits - value * unit) > 1e-3) return std::nullopt;
    return static_cast<int32_t>(bits);
}

std::optional<int64_t> parseDuration(const std::string& text) {
    const auto us = parseTime(text);
    return us && *us > 0 ? us : std::nullopt;
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

void addPartOptions(CLI::App& app, InputPart* part) {
    const std::string times = "a time such as 90, 1:30.5 or 10m";
    const auto length = std::make_shared<std::optional<int64_t>>();
    const auto start = std::make_shared<std::optional<int64_t>>();
    addParsedOption(app, "--start", start.get(), parseTime, "T",
                    "Begin with the first picture at this time of INPUT or later", times);
    addParsedOption(app, "--end", &part->endUs, parseTime, "T",
                    "End with the last picture before this time of INPUT", times);
    addParsedOption(app, "--duration", length.get(), parseDuration, "T",
                    "How much of INPUT, instead of --end", times + ", above 0");
    addParsedOption(
            app, "--video-track", &part->videoTrack,
            [](const std::string& text) { return parseWholeNumber(text, 0, INT32_MAX); }, "N",
            "The picture, by its number in probe (default: the first)", "a whole number");
    app.add_option_function<std::string>(
               "--audio-track",
               [part](const std::string& text) {
                   part->audioTrack = parseWholeNumber(text, 0, INT32_MAX);
                   if (!part->audioTrack) part->audioLanguage = text;
               },
               "The sound, by its number or language in probe (default: the first)")
            ->type_name("N|LANGUAGE");
    app.get_option("--end")->excludes(app.get_option("--duration"));
    app.parse_complete_callback([=] {
        part->startUs = start->value_or(0);
        if (*length) part->endUs = part->startUs + **length;
    });
}

void addOutputOptions(CLI::App& app, OutputOptions* options) {
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
    app.add_flag("--force", options->replaceOutput, "Replace an existing OUTPUT");
}

void addIndexOption(CLI::App& app, OutputOptions* options) {
    app.add_flag("--faststart", options->indexFirst,
                 "Put the index of an MP4 file in front, for players that get it bit by bit");
}

void addEncodeOptions(CLI::App& app, EncodeOptions* options) {
    addOutputOptions(app, options);
    addParsedOption(app, "--size", &options->size, parseSize, "WxH|NAME",
                    "Size of the picture, such as 640x360 or 720p (default: the source's, upright, "
                    "square pixels)",
                    "WxH, both even, from 16 to 8192, or a name from 240p to 2160p");
    addParsedOption(
            app, "--fps", &options->frameRate,
            [](const std::string& text) { return parseWholeNumber(text, 1, kHighestFrameRate); },
            "N", "Frames a second (default: the source's)", "a whole number from 1 to 240");
    app.add_option_function<std::string>(
               "--quality",
               [options](const std::string& text) {
                   const auto value = parseWholeNumber(text, 0, kLowestQuality);
                   if (!value) {
                       throw CLI::ValidationError("--quality '" + text +
                                                  "': expected a whole number from 0 to 51");
                   }
                   options->quality = *value;
               },
               "Constant quality of the picture, 0 to 51, smaller is better (default: 23)")
            ->type_name("N");
    addParsedOption(app, "--video-bitrate", &options->videoBitRate, parseBitRate, "N",
                    "Bits a second of the picture, 4M is 4,000,000, instead of a quality",
                    "bits a second such as 800000, 800k or 4M");
    app.get_option("--quality")->excludes(app.get_option("--video-bitrate"));
    addParsedOption(app, "--audio-bitrate", &options->audioBitRate, parseBitRate, "N",
                    "Bits a second of the sound (default: 128k, above two channels 384k)",
                    "bits a second such as 96000 or 192k");
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
    addOnlyOption(app, &options->only);
    app.add_option("--preset", options->preset,
                   "Speed of the encoder, ultrafast to placebo (default: veryfast)")
            ->type_name("NAME");
}

namespace {

// CLI11 takes "--force=3" for --force.
void refuseValuesOfFlags(CLI::App* app) {
    const auto isBare = [](const std::string& value) {
        return value == "true" ? std::string() : "takes no value";
    };
    for (CLI::Option* option : app->get_options()) {
        if (option->get_items_expected_max() == 0) option->check(isBare);
    }
}

void addCommonOptions(CLI::App& app, CommonOptions* common) {
    app.set_version_flag("-V,--version", "oxaplayer " OXAPLAYER_VERSION);
    app.add_flag("--json", common->json, "Events on standard output, one JSON object a line");
    CLI::Option* quiet = app.add_flag("--quiet", common->quiet,
                                      "Only errors, and one line if the input is damaged");
    app.add_flag("--verbose", common->verbose, "Show the platform's log")->excludes(quiet);
    app.add_option("--log", common->log, "Add the platform's log to this file")->type_name("FILE");
    app.footer(
            "Every command takes --json, --quiet, --verbose and --log FILE.\n"
            "Exit codes: 0 done, 1 failed while running, 2 wrong usage, 3 input cannot be read,\n"
            "4 output cannot be written, 130 interrupted.");
}

// What `help` and `help COMMAND` answer.
void answerHelp(const CLI::App& app, const std::string& command, ParsedArguments* parsed) {
    parsed->standardOutput = helpText(app, command);
    if (!parsed->standardOutput.empty()) return;
    parsed->code = ExitCode::kUsage;
    parsed->standardError = "oxaplayer: help: " + unknownCommand(app, command) + "\n";
}

}  // namespace

ParsedArguments parseArguments(const std::vector<std::string>& arguments,
                               const std::vector<std::unique_ptr<Command>>& commands) {
    ParsedArguments parsed;
    CLI::App app("Plays, transcodes and records.", "oxaplayer");
    app.require_subcommand(1);
    app.fallthrough();
    addCommonOptions(app, &parsed.common);
    std::map<CLI::App*, Command*> bySubcommand;
    for (const auto& command : commands)
        bySubcommand[command->define(app)] = command.get();
    std::string topic;
    CLI::App* help = app.add_subcommand("help", "Show what a command does and its options");
    help->add_option("COMMAND", topic, "One of the commands")->type_name("");
    refuseValuesOfFlags(&app);
    for (CLI::App* command : app.get_subcommands([](CLI::App*) { return true; }))
        refuseValuesOfFlags(command);
    if (arguments.empty()) {
        parsed.code = ExitCode::kUsage;
        parsed.standardError = helpText(app, "");
        return parsed;
    }

    try {
        std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
        app.parse(std::move(reversed));
        CLI::App* chosen = app.get_subcommands().front();
        if (chosen == help) {
            answerHelp(app, topic, &parsed);
        } else {
            parsed.command = bySubcommand.at(chosen);
        }
    } catch (const CLI::CallForVersion&) {
        parsed.standardOutput = "oxaplayer " OXAPLAYER_VERSION "\n";
    } catch (const CLI::Success&) {
        parsed.standardOutput = app.help();
    } catch (const CLI::ParseError& error) {
        parsed.code = ExitCode::kUsage;
        parsed.standardError = usageError(app, error);
    }
    return parsed;
}

}  // namespace oxaplayer
