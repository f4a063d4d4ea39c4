// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/ProbeCommand.h"

#include <oxa/jobs/Probe.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cstring>
#include <nlohmann/json.hpp>
#include <vector>

#include "report/Console.h"
#include "report/Events.h"
#include "report/LogText.h"
#include "report/Report.h"
#include "report/TrackText.h"

namespace oxaplayer {

namespace {

constexpr char kBold[] = "\033[1m";
constexpr char kDim[] = "\033[2m";
constexpr char kPlain[] = "\033[0m";

using Row = std::array<std::string, 5>;

// A row of a table whose columns are as wide as their widest text.
std::string aligned(const std::vector<Row>& rows, size_t index) {
    std::string line;
    for (size_t column = 0; column < rows[index].size(); ++column) {
        const std::string& text = rows[index][column];
        if (column + 1 == rows[index].size()) return line + text;
        size_t width = 0;
        for (const Row& row : rows)
            width = std::max(width, row[column].size());
        line += text + std::string(width + 2 - text.size(), ' ');
    }
    return line;
}

std::string seconds(int64_t durationUs) {
    char text[32];
    snprintf(text, sizeof(text), "%.3f s", durationUs / 1e6);
    return text;
}

const char* kindName(LeftOut::Kind kind) {
    switch (kind) {
        case LeftOut::Kind::kPicture:
            return "video";
        case LeftOut::Kind::kSound:
            return "audio";
        case LeftOut::Kind::kSubtitle:
            return "subtitle";
        case LeftOut::Kind::kData:
            break;
    }
    return "data";
}

std::string trackTable(const std::vector<Track>& tracks, bool colour) {
    std::vector<Row> rows = {{"track", "kind", "codec", "length", "details"}};
    for (const Track& track : tracks) {
        rows.push_back({std::to_string(track.index), track.isVideo ? "video" : "audio",
                        codecText(track), track.durationUs ? seconds(*track.durationUs) : "unknown",
                        allTrackDetails(track)});
    }
    std::string text;
    for (size_t i = 0; i < rows.size(); ++i) {
        const std::string line = "  " + printable(aligned(rows, i));
        text += colour && i == 0 ? kDim + line + kPlain + "\n" : line + "\n";
    }
    return text;
}

std::string table(const std::string& path, const ProbeResult& result) {
    const bool colour = Console::outputHasColour();
    std::string text = (colour ? kBold + printable(path) + kPlain : printable(path)) + "\n";
    text += trackTable(result.tracks, colour);
    for (const LeftOut& stream : result.leftOut) {
        const std::string language = stream.language.empty() ? "" : " " + stream.language;
        text += "  left out: " + std::string(kindName(stream.kind)) + " " +
                printable(stream.codec + language) + " (" + stream.why + ")\n";
    }
    for (const auto& [key, value] : result.metadata)
        text += "  " + printable(std::string(key).append(": ").append(value)) + "\n";
    for (const Chapter& chapter : result.chapters)
        text += "  chapter: " + seconds(chapter.startUs) + " " + printable(chapter.title) + "\n";
    return text;
}

Json leftOutFields(const LeftOut& stream) {
    const auto orNull = [](const std::string& text) {
        return text.empty() ? Json(nullptr) : Json(text);
    };
    return {{"kind", kindName(stream.kind)},
            {"codec", orNull(stream.codec)},
            {"language", orNull(stream.language)},
            {"why", stream.why}};
}

std::string json(const ProbeResult& result) {
    Json event = {{"tracks", Json::array()},
                  {"metadata", Json::object()},
                  {"chapters", Json::array()},
                  {"left_out", Json::array()}};
    for (const Track& track : result.tracks)
        event["tracks"].push_back(trackFields(track));
    for (const auto& [key, value] : result.metadata)
        event["metadata"][key] = value;
    for (const Chapter& chapter : result.chapters) {
        event["chapters"].push_back({{"start_s", rounded(chapter.startUs / 1e6, 1000)},
                                     {"end_s", rounded(chapter.endUs / 1e6, 1000)},
                                     {"title", chapter.title}});
    }
    for (const LeftOut& stream : result.leftOut)
        event["left_out"].push_back(leftOutFields(stream));
    return jsonLine(event);
}

}  // namespace

CLI::App* ProbeCommand::define(CLI::App& app) {
    CLI::App* probe =
            app.add_subcommand("probe", "Show the tracks of a file, and what it says about itself");
    probe->add_option("INPUT", mInput, "A media file")->required()->type_name("");
    return probe;
}

ExitCode ProbeCommand::run(const CommonOptions& common) {
    Report report("probe", common, STDOUT_FILENO);
    ProbeResult result = probe(mInput);
    const std::string name = mInput == "-" ? "standard input" : mInput;
    if (result.ok()) {
        const auto failure = printAnswer(common.json ? json(result) : table(name, result));
        if (failure) result.failure = *failure;
    }
    if (!result.ok()) report.error(result.failure);
    return exitCodeOf(result.failure.kind);
}

}  // namespace oxaplayer
