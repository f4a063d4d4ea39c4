// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

namespace android {

class LiveInput;
struct DeviceOptions;
struct LiveOptions;
struct LiveSource;

// One kind of source, and all in which it differs from others.
struct LiveScheme {
    const char* prefix;  // of the texts that name such sources; "": what has none of the others
    const char* device;  // libavdevice's name; null: not a device
    bool tellsModes;     // sizes and rates can be asked before it is opened
    // What is wanted of a device, in libavdevice's words. 0 or a negative AVERROR.
    int (*ask)(const std::string& name, const LiveOptions& options, DeviceOptions* result);
    // Null, with the reason in `error`.
    std::unique_ptr<LiveInput> (*open)(const LiveSource& source, const LiveOptions& options,
                                       std::string* error);
};

// Where live pictures and sound come from.
struct LiveSource {
    const LiveScheme* scheme = nullptr;  // set by parseLiveSource()
    std::string name;                    // what follows the scheme

    // Whether it keeps the time by itself. Others are paced by their times.
    bool isDevice() const { return scheme->device != nullptr; }
};

// Takes "v4l2:PATH", "alsa:DEVICE", "pulse:DEVICE", "lavfi:GRAPH", and anything else as a file.
// False, with the reason, when nothing is named.
bool parseLiveSource(const std::string& text, LiveSource* source, std::string* error);

}  // namespace android
