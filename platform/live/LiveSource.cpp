// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/LiveSource.h"

namespace android {

namespace {

struct NamedScheme {
    const char* prefix;
    LiveScheme scheme;
};

constexpr NamedScheme kSchemes[] = {
        {"v4l2:", LiveScheme::kV4l2},
        {"alsa:", LiveScheme::kAlsa},
        {"pulse:", LiveScheme::kPulse},
        {"lavfi:", LiveScheme::kLavfi},
};

}  // namespace

bool parseLiveSource(const std::string& text, LiveSource* source, std::string* error) {
    source->scheme = LiveScheme::kFile;
    source->name = text;
    for (const NamedScheme& named : kSchemes) {
        const std::string prefix = named.prefix;
        if (text.compare(0, prefix.size(), prefix) != 0) continue;
        source->scheme = named.scheme;
        source->name = text.substr(prefix.size());
    }
    if (!source->name.empty()) return true;
    *error = text.empty() ? "no source is named" : "nothing is named after '" + text + "'";
    return false;
}

}  // namespace android
