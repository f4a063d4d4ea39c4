// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/ProbeCommand.h"

#include <oxa/jobs/Probe.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <vector>

#include "report/Console.h"
#include "report/Events.h"
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

std::string table(const std::string& path, const std::vector<Track>& tracks) {
    std::vector<Row> rows = {{"track", "kind", "type", "details", "length"}};
    for (const Track& track : tracks) {
        rows.push_back({std::to_string(track.index), track.isVideo ? "video" : "audio", track.mime,
                        trackDetails(track),
                        track.durationUs ? seconds(*track.durationUs) : "unknown"});
    }
    const bool colour = Console::outputHasColour();
    std::string text = colour ? kBold + path + kPlain + "\n" : path + "\n";
    for (size_t i = 0; i < rows.size(); ++i) {
        const std::string line = "  " + aligned(rows, i);
        text += colour && i == 0 ? kDim + line + kPlain + "\n" : line + "\n";
    }
    return text;
}

std::string json(const std::vector<Track>& tracks) {
    Json list = Json::array();
    for (const Track& track : tracks)
        list.push_back(trackFields(track));
    return jsonLine({{"tracks", list}});
}

}  // namespace

CLI::App* ProbeCommand::define(CLI::App& app) {
    CLI::App* probe = app.add_subcommand("probe", "Show the tracks of a file");
    probe->add_option("INPUT", mInput, "A media file")->required()->type_name("");
    return probe;
}

ExitCode ProbeCommand::run(const CommonOptions& common) {
    Report report("probe", common, STDOUT_FILENO);
    ProbeResult result = probe(mInput);
    const std::vector<Track>& tracks = result.tracks;
    if (result.ok() &&
        !writeFully(STDOUT_FILENO,
                    common.json ? json(tracks)
                                : table(mInput == "-" ? "standard input" : mInput, tracks))) {
        result.failure = {FailureKind::kOutput,
                          std::string("cannot write to standard output: ") + strerror(errno)};
    }
    if (!result.ok()) report.error(result.failure);
    return exitCodeOf(result.failure.kind);
}

}  // namespace oxaplayer
