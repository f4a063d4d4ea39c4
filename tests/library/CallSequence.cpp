// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/CallSequence.h"

#include <OxaMediaCodecPlayerCommon.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "support/ProcessRunner.h"

namespace oxa::test {

namespace {

// By Call::Name: the call's word, and those of its values.
const char* const kWords[] = {
        "create both sound-only picture-only",
        "initiate play-file transcode-file idle-file preview-usb record-usb "
        "record-short-usb preview-hdmi record-hdmi record-silent-hdmi nameless record-nameless",
        "setDataSource short-clip short-clip-descriptor long-clip silent-clip",
        "setCameraSource number shared",
        "setAudioSource",
        "setSurface",
        "setMuxer mp4 ts mp4-descriptor ts-descriptor default-mp4 default-ts full-device "
        "no-such-folder long-name memory no-container",
        "setTargetFormat usual half-rate double-rate",
        "setPlayback nothing picture sound both",
        "setTranscode off on",
        "setTunneledPlayback off on",
        "setFreeRun off on",
        "setCalculateFPS",
        "setWritebackSource",
        "prepare",
        "start",
        "stop",
        "drain",
        "cleanup",
        "getCameraParameters",
        "getProgress null all",
        "waitTime",
        "second-player",
        "until-recorded",
        "until-ended",
        "until-finished",
        "pause 1ms 10ms 50ms",
        "camera-lost",
        "camera-stalled",
        "microphone-lost",
        "service-ended",
        "unplugged",
        "plugged",
        "disk-full",
        "late-wakers",
};
static_assert(std::size(kWords) == Call::kCount);

// By Job.
const JobKind kKinds[] = {
        {android::SourceTypeFile, true, false, Call::kDataSource},
        {android::SourceTypeFile, false, true, Call::kDataSource},
        {android::SourceTypeFile, false, false, Call::kDataSource},
        {android::SourceTypeUsbCamera, true, false, Call::kCameraSource},
        {android::SourceTypeUsbCamera, true, true, Call::kCameraSource},
        {android::SourceTypeUsbCamera, true, true, Call::kCameraSource},
        {android::SourceTypeHdmiRx, true, false, Call::kCameraSource},
        {android::SourceTypeHdmiRx, true, true, Call::kCameraSource},
        {android::SourceTypeHdmiRx, true, true, Call::kCameraSource},
        {3, true, false, Call::kMuxer},
        {4, true, true, Call::kMuxer},
};

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

bool Call::happensTo(Job job) const {
    if (name == kDiskFull) return true;
    if (name == kCameraLost) return isLive(job) && !isHdmi(job);
    return name <= kMicrophoneLost ? isLive(job) : isHdmi(job);
}

const JobKind& kindOf(Job job) {
    return kKinds[job];
}

const Sequence& allCalls() {
    static const Sequence kAll = [] {
        Sequence all;
        for (int name = 0; name < Call::kCount; ++name) {
            const int values = std::max<int>(1, words(kWords[name]).size() - 1);
            for (int value = 0; value < values; ++value)
                all.push_back({static_cast<Call::Name>(name), value});
        }
        return all;
    }();
    return kAll;
}

std::string textOf(const Call& call) {
    const std::vector<std::string> all = words(kWords[call.name]);
    const std::string value = all.size() > 1 ? " " + all[1 + call.value] : "";
    return all[0] + value + (call.aside ? " &" : "");
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
