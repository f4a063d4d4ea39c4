// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/Transcode.h>
#include <oxa/jobs/Values.h>

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "frame/Command.h"
#include "report/ExitCode.h"

namespace oxaplayer {

// Each of these reads one value as a user types it, besides those of oxa/jobs/Values.h; nothing
// when the text is not exactly such a value or outside what can be encoded.
std::optional<int32_t> parseBitRate(const std::string& text);   // 800000, 800k, 4M, 2.5M
std::optional<int64_t> parseDuration(const std::string& text);  // parseTime(), above 0
std::optional<AvcProfile> parseProfile(const std::string& text);
std::optional<int32_t> parseLevel(const std::string& text);  // 31 for 3.1
std::optional<int32_t> parseAacSampleRate(const std::string& text);

const char* containerName(Container container);

// --only, for every command that works on tracks.
void addOnlyOption(CLI::App& app, Only* only);

// --start, --end, --duration, --video-track and --audio-track, for commands that read a file.
void addPartOptions(CLI::App& app, InputPart* part);

// --output, --format and --force, for commands that write a media file.
void addOutputOptions(CLI::App& app, OutputOptions* options);

// --faststart, for commands that make a file of files.
void addIndexOption(CLI::App& app, OutputOptions* options);

// The options that `transcode` and `record` share, with those.
void addEncodeOptions(CLI::App& app, EncodeOptions* options);

// The outcome of reading the command line: a command to run, or an answer to give at once.
struct ParsedArguments {
    CommonOptions common;
    Command* command = nullptr;  // null: end with `code`
    ExitCode code = ExitCode::kDone;
    std::string standardOutput;  // help or version
    std::string standardError;   // what is wrong, or help where nothing was asked for
};

// Lets each command define itself, and reads the arguments (without the program's name).
ParsedArguments parseArguments(const std::vector<std::string>& arguments,
                               const std::vector<std::unique_ptr<Command>>& commands);

}  // namespace oxaplayer
