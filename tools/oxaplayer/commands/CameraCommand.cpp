// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/CameraCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>

#include "report/Advice.h"
#include "report/Console.h"
#include "report/Events.h"
#include "report/Report.h"

namespace oxaplayer {

namespace {

std::string table(const std::string& source, const Json& fields) {
    std::string text = source + "\n";
    for (const auto& [key, value] : fields.items()) {
        text += "  " + key + ": " + value.get<std::string>() + "\n";
    }
    return text;
}

std::optional<Failure> readFields(const SourceChoice& choice, Json* fields) {
    LiveSource source;
    if (auto failure = chooseSource(choice, Only::kVideo, &source)) return failure;
    const CameraDescription camera = describeCamera(source);
    if (camera.failure.kind != FailureKind::kNone) return camera.failure;
    *fields = Json::object();
    for (const auto& [key, value] : camera.parameters)
        (*fields)[key] = value;
    return std::nullopt;
}

}  // namespace

CLI::App* CameraCommand::define(CLI::App& app) {
    CLI::App* camera = app.add_subcommand("camera", "Show the parameters of a camera");
    addSourceOptions(*camera, &mChoice);
    return camera;
}

ExitCode CameraCommand::run(const CommonOptions& common) {
    Report report("camera", common, STDOUT_FILENO);
    Json fields;
    auto failure = readFields(mChoice, &fields);
    if (!failure) {
        const std::string text =
                common.json ? jsonLine({{"parameters", fields}}) : table(mChoice.name(), fields);
        if (writeFully(STDOUT_FILENO, text)) return ExitCode::kDone;
        failure = Failure{FailureKind::kOutput,
                          std::string("cannot write to standard output: ") + strerror(errno)};
    }
    report.error({failure->kind, adviceFor(*failure)});
    return exitCodeOf(failure->kind);
}

}  // namespace oxaplayer
