// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "live/LiveSource.h"

#include "base/Module.h"
#include "live/DeviceOptions.h"
#include "live/GraphModule.h"
#include "live/LiveInput.h"

namespace android {

namespace {

std::unique_ptr<LiveInput> openGraph(const LiveSource& source, const LiveOptions& options,
                                     std::string* error) {
    const auto* module = loadModule<GraphModule>(error);
    return module != nullptr ? module->openInput(source, options, error) : nullptr;
}

// The last row takes what no other does.
constexpr LiveScheme kSchemes[] = {
        // A camera or capture card of the kernel's, by the path of its device.
        {"v4l2:", "v4l2", true, v4l2Options, openFormatInput},
        // A sound card, by its name.
        {"alsa:", "alsa", false, soundDeviceOptions, openFormatInput},
        // A source of the sound server.
        {"pulse:", "pulse", false, soundDeviceOptions, openFormatInput},
        // A filter graph that makes pictures, sound, or both.
        {"lavfi:", nullptr, false, nullptr, openGraph},
        // A media file, played in real time.
        {"", nullptr, false, nullptr, openFormatInput},
};

}  // namespace

bool parseLiveSource(const std::string& text, LiveSource* source, std::string* error) {
    for (const LiveScheme& scheme : kSchemes) {
        const std::string prefix = scheme.prefix;
        if (text.compare(0, prefix.size(), prefix) != 0) continue;
        source->scheme = &scheme;
        source->name = text.substr(prefix.size());
        break;
    }
    if (!source->name.empty()) return true;
    *error = text.empty() ? "no source is named" : "nothing is named after '" + text + "'";
    return false;
}

}  // namespace android
