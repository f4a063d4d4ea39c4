// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "oxa/jobs/LiveSource.h"

#include <oxa/host/Session.h>

#include <sstream>

#include "record/CameraTrial.h"
#include "record/CaptureSource.h"

namespace oxa::jobs {

namespace {

// Keys and values of "key=value;key=value".
std::vector<std::pair<std::string, std::string>> pairsOf(const std::string& text) {
    std::vector<std::pair<std::string, std::string>> pairs;
    std::istringstream stream(text);
    for (std::string entry; std::getline(stream, entry, ';');) {
        const size_t equals = entry.find('=');
        if (equals == std::string::npos) continue;
        pairs.emplace_back(entry.substr(0, equals), entry.substr(equals + 1));
    }
    return pairs;
}

}  // namespace

CameraDescription describeCamera(const LiveSource& source) {
    const host::Session session;
    const host::SessionScope scope(session);
    CameraDescription description;
    CaptureSource capture;
    android::CameraParameters parameters;
    auto failure = checkSource(source, Only::kVideo);
    if (!failure) failure = capture.open(source, Only::kVideo);
    if (!failure) failure = readCameraParameters(capture, &parameters);
    if (failure) {
        description.failure = *failure;
    } else {
        description.parameters = pairsOf(parameters.flatten().c_str());
    }
    return description;
}

}  // namespace oxa::jobs
