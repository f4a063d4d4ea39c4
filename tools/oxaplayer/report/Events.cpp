// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/Events.h"

#include <cerrno>
#include <cmath>
#include <nlohmann/json.hpp>

#include "report/Console.h"

namespace oxaplayer {

std::string jsonLine(const Json& value) {
    return value.dump(-1, ' ', false, Json::error_handler_t::replace) + "\n";
}

double rounded(double value, double scale) {
    return std::round(value * scale) / scale;
}

void EventWriter::write(const std::string& name, const Json& fields) {
    if (mDescriptor < 0 || mError != 0) return;
    Json event = {{"event", name}};
    event.update(fields);
    if (!writeFully(mDescriptor, jsonLine(event))) mError = errno;
}

}  // namespace oxaplayer
