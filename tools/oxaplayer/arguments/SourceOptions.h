// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/jobs/LiveSource.h>
#include <oxa/jobs/Track.h>

#include <optional>
#include <string>

#include "report/ExitCode.h"

namespace CLI {
class App;
}

namespace oxaplayer {

// What a user says of a live source.
struct SourceChoice {
    std::optional<std::string> hdmi;
    std::optional<std::string> usb;
    std::optional<std::string> audio;

    const std::string& name() const { return hdmi ? *hdmi : *usb; }
};

// --hdmi and --usb.
void addSourceOptions(CLI::App& app, SourceChoice* choice);

// Nothing when it names one source, and leaves something of it; otherwise what is wrong.
std::optional<Failure> chooseSource(const SourceChoice& choice, Only only, LiveSource* source);

}  // namespace oxaplayer
