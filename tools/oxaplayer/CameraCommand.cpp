// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "CameraCommand.h"

#include <unistd.h>

#include <CLI/CLI.hpp>
#include <cerrno>
#include <cstring>
#include <nlohmann/json.hpp>
#include <sstream>

#include "CameraTrial.h"
#include "Console.h"
#include "Events.h"
#include "Report.h"

namespace oxaplayer {

namespace {

// Keys and values of "key=value;key=value".
Json fieldsOf(const android::CameraParameters& parameters) {
    Json fields = Json::object();
    std::istringstream stream(parameters.flatten().string());
    for (std::string entry; std::getline(stream, entry, ';');) {
        const size_t equals = entry.find('=');
        if (equals != std::string::npos) {
            fields[entry.substr(0, equals)] = entry.substr(equals + 1);
        }
    }
    return fields;
}

std::string table(const std::string& source, const Json& fields) {
    std::string text = source + "\n";
    for (const auto& [key, value] : fields.items()) {
        text += "  " + key + ": " + value.get<std::string>() + "\n";
    }
    return text;
}

std::optional<Failure> readFields(const CaptureChoice& choice, Json* fields) {
    if (auto failure = checkChoice(choice, Only::kVideo)) return failure;
    CaptureSource source;
    android::CameraParameters parameters;
    if (auto failure = source.open(choice, Only::kVideo)) return failure;
    if (auto failure = readCameraParameters(source, &parameters)) return failure;
    *fields = fieldsOf(parameters);
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
                common.json ? jsonLine({{"parameters", fields}}) : table(mChoice.source(), fields);
        if (writeFully(STDOUT_FILENO, text)) return ExitCode::kDone;
        failure = Failure{FailureKind::kOutput,
                          std::string("cannot write to standard output: ") + strerror(errno)};
    }
    report.error(*failure);
    return exitCodeOf(failure->kind);
}

}  // namespace oxaplayer
