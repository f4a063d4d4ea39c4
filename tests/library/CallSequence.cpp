// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/CallSequence.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

namespace oxa::test {

namespace {

struct Words {
    const char* name;
    std::vector<std::string> values;  // none: the call has no variants
};

// By Call::Name.
const Words kWords[] = {
        {"create", {"both", "sound-only", "picture-only"}},
        {"initiate",
         {"play-file", "transcode-file", "idle-file", "preview-usb", "record-usb",
          "record-short-usb", "preview-hdmi", "record-hdmi", "record-silent-hdmi", "nameless",
          "record-nameless"}},
        {"setDataSource", {"short-clip", "short-clip-descriptor", "long-clip", "silent-clip"}},
        {"setCameraSource", {"number", "shared"}},
        {"setAudioSource", {}},
        {"setSurface", {}},
        {"setMuxer",
         {"mp4", "ts", "mp4-descriptor", "ts-descriptor", "default-mp4", "default-ts",
          "full-device", "no-such-folder", "long-name", "memory", "no-container"}},
        {"setTargetFormat", {"usual", "half-rate", "double-rate"}},
        {"setPlayback", {"nothing", "picture", "sound", "both"}},
        {"setTranscode", {"off", "on"}},
        {"setTunneledPlayback", {"off", "on"}},
        {"setFreeRun", {"off", "on"}},
        {"setCalculateFPS", {}},
        {"setWritebackSource", {}},
        {"prepare", {}},
        {"start", {}},
        {"stop", {}},
        {"drain", {}},
        {"cleanup", {}},
        {"getCameraParameters", {}},
        {"getProgress", {"null", "all"}},
        {"waitTime", {}},
        {"second-player", {}},
        {"until-recorded", {}},
        {"until-ended", {}},
        {"until-finished", {}},
        {"pause", {"1ms", "10ms", "50ms"}},
        {"camera-lost", {}},
        {"camera-stalled", {}},
        {"microphone-lost", {}},
        {"service-ended", {}},
        {"unplugged", {}},
        {"plugged", {}},
        {"disk-full", {}},
        {"late-wakers", {}},
};
static_assert(std::size(kWords) == Call::kCount);

Call parseCall(const std::string& text) {
    for (Call call : allCalls()) {
        const std::string usual = textOf(call);
        if (text != usual && text != usual + " &") continue;
        call.aside = text != usual;
        return call;
    }
    std::fprintf(stderr, "no such call: '%s'\n", text.c_str());
    std::abort();
}

}  // namespace

const Sequence& allCalls() {
    static const Sequence kAll = [] {
        Sequence all;
        for (int name = 0; name < Call::kCount; ++name) {
            const int values = std::max<int>(1, static_cast<int>(kWords[name].values.size()));
            for (int value = 0; value < values; ++value)
                all.push_back({static_cast<Call::Name>(name), value});
        }
        return all;
    }();
    return kAll;
}

std::string textOf(const Call& call) {
    const Words& words = kWords[call.name];
    std::string text = words.name;
    if (!words.values.empty()) text += " " + words.values[call.value];
    return call.aside ? text + " &" : text;
}

std::string textOf(const Sequence& sequence) {
    std::string text;
    for (const Call& call : sequence)
        text += (text.empty() ? "" : "; ") + textOf(call);
    return text;
}

Sequence parseSequence(const std::string& text) {
    Sequence sequence;
    size_t begin = 0;
    while (begin < text.size()) {
        const size_t end = std::min(text.find(';', begin), text.size());
        const size_t first = text.find_first_not_of(' ', begin);
        if (first < end) sequence.push_back(parseCall(text.substr(first, end - first)));
        begin = end + 1;
    }
    return sequence;
}

}  // namespace oxa::test
