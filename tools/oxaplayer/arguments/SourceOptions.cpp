// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "arguments/SourceOptions.h"

#include <CLI/CLI.hpp>

namespace oxaplayer {

namespace {

constexpr char kNoSound[] = "none";

}  // namespace

void addSourceOptions(CLI::App& app, SourceChoice* choice) {
    const std::string played = "lavfi:GRAPH or a file, played in real time";
    app.add_option("--hdmi", choice->hdmi, "What the HDMI receiver gets: " + played)
            ->type_name("SOURCE");
    app.add_option("--usb", choice->usb, "A camera: v4l2:PATH, " + played)->type_name("SOURCE");
}

std::optional<Failure> chooseSource(const SourceChoice& choice, Only only, LiveSource* source) {
    const auto wrongUsage = [](const char* text) { return Failure{FailureKind::kOptions, text}; };
    if (choice.hdmi.has_value() == choice.usb.has_value()) {
        return wrongUsage("expected either --hdmi SOURCE or --usb SOURCE");
    }
    if (only == Only::kAudio && choice.audio == kNoSound) {
        return wrongUsage("--only audio and --audio none leave nothing");
    }
    if (only == Only::kVideo && choice.audio && *choice.audio != kNoSound) {
        return wrongUsage("--only video leaves out what --audio asks for");
    }
    source->kind = choice.hdmi ? LiveSource::Kind::kHdmi : LiveSource::Kind::kCamera;
    source->name = choice.name();
    source->sound = choice.audio;
    return std::nullopt;
}

}  // namespace oxaplayer
