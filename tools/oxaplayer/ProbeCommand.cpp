// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "ProbeCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <vector>

#include "Console.h"
#include "Events.h"
#include "InputFile.h"
#include "Report.h"
#include "SourceTracks.h"

namespace oxaplayer {

namespace {

std::string seconds(int64_t durationUs) {
    char text[32];
    snprintf(text, sizeof(text), "%.3f s", durationUs / 1e6);
    return text;
}

std::string table(const std::string& path, const std::vector<SourceTrack>& tracks) {
    std::string text = path + "\n";
    for (const SourceTrack& track : tracks) {
        text += "  track " + std::to_string(track.index) + ": " +
                (track.isVideo ? "video, " : "audio, ") + describeTrack(track) + ", " +
                (track.durationUs ? seconds(*track.durationUs) : "unknown duration") + "\n";
    }
    return text;
}

std::string json(const std::vector<SourceTrack>& tracks) {
    Json list = Json::array();
    for (const SourceTrack& track : tracks)
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
    InputFile input;
    std::vector<SourceTrack> tracks;
    auto failure = input.open(mInput);
    if (!failure) failure = readTracks(input, &tracks);
    if (!failure &&
        !writeFully(STDOUT_FILENO, common.json ? json(tracks) : table(mInput, tracks))) {
        failure = Failure{ExitCode::kOutput,
                          std::string("cannot write to standard output: ") + strerror(errno)};
    }
    if (!failure) return ExitCode::kDone;
    report.error(*failure);
    return failure->code;
}

}  // namespace oxaplayer
