// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "commands/CameraCommand.h"

#include <oxa/jobs/Devices.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "report/Advice.h"
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

std::optional<Failure> describe(const SourceChoice& choice, bool asJson, std::string* text) {
    LiveSource source;
    if (auto failure = chooseSource(choice, Only::kVideo, &source)) return failure;
    const CameraDescription camera = describeCamera(source);
    if (camera.failure.kind != FailureKind::kNone) return camera.failure;
    Json fields = Json::object();
    for (const auto& [key, value] : camera.parameters)
        fields[key] = value;
    *text = asJson ? jsonLine({{"parameters", fields}}) : table(choice.name(), fields);
    return std::nullopt;
}

const char* kindName(Device::Kind kind) {
    switch (kind) {
        case Device::Kind::kCamera:
            return "camera";
        case Device::Kind::kReceiver:
            return "receiver";
        case Device::Kind::kSound:
            break;
    }
    return "sound";
}

// One line each, with the source in front.
std::string listed(const std::vector<Device>& devices, bool asJson) {
    std::string text;
    for (const Device& device : devices) {
        Json fields = {{"event", "device"},
                       {"kind", kindName(device.kind)},
                       {"source", device.source},
                       {"name", device.name}};
        if (!device.node.empty()) fields["node"] = device.node;
        const std::string node = device.node.empty() ? "" : " (" + device.node + ")";
        text += asJson ? jsonLine(fields)
                       : device.source + "  " + kindName(device.kind) + ": " + device.name + node +
                                 "\n";
    }
    return text;
}

}  // namespace

CLI::App* CameraCommand::define(CLI::App& app) {
    CLI::App* camera = app.add_subcommand(
            "camera", "Show the parameters of a camera, or the devices there are");
    addSourceOptions(*camera, &mChoice);
    camera->add_flag("--list", mList, "The cameras, receivers and microphones that are there")
            ->excludes("--hdmi")
            ->excludes("--usb");
    return camera;
}

ExitCode CameraCommand::run(const CommonOptions& common) {
    Report report("camera", common, STDOUT_FILENO);
    std::string text;
    auto failure = mList ? std::nullopt : describe(mChoice, common.json, &text);
    if (mList) text = listed(listDevices(), common.json);
    if (mList && text.empty()) report.note("there is no camera, receiver or microphone");
    if (!failure) failure = printAnswer(text);
    if (!failure) return ExitCode::kDone;
    report.error({failure->kind, adviceFor(*failure)});
    return exitCodeOf(failure->kind);
}

}  // namespace oxaplayer
