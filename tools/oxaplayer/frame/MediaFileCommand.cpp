// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "frame/MediaFileCommand.h"

#include <nlohmann/json.hpp>

#include "arguments/Arguments.h"
#include "arguments/OutputName.h"
#include "report/ProgressText.h"

namespace oxaplayer {

namespace {

// Whether there is a file that has the output's name, or would have it.
bool hasFile(const Result& result) {
    const bool isGood = result.ok() || result.failure.kind == FailureKind::kCancelled;
    return isGood && !result.files.empty();
}

}  // namespace

std::optional<Failure> MediaFileCommand::check() {
    const bool isTs = mTarget.container == Container::kMpeg2Ts;
    if (auto failure = nameInFolder(input(), isTs ? ".ts" : ".mp4", &mTarget.output)) {
        return failure;
    }
    return refuseTerminal(mTarget.output);
}

void MediaFileCommand::onStart(const JobStart& start) {
    announceStart(
            {{"input", input()}, {"output", output()}, {"format", containerName(start.container)}});
    announceTracks(input(), start.tracks);
    announceLeftBehind(start.leftBehind);
}

void MediaFileCommand::onCancelling() {
    mReport->note("interrupted, finishing the output (once more to end at once)");
}

// "out.mp4: 5.1 s, 150 pictures, 812 kB (took 2.1 s, 2.4x)"
std::string MediaFileCommand::summaryOf(const Result& result) const {
    if (!hasFile(result)) return {};
    const Progress& total = result.total;
    char text[64];
    snprintf(text, sizeof(text), ": %.1f s", result.durationSec);
    std::string summary = shownName(result.files.front()) + text;
    if (total.pictures > 0) summary += ", " + formatCount(total.pictures, "picture");
    if (total.bytes) summary += ", " + formatBytes(*total.bytes);
    snprintf(text, sizeof(text), " (took %.1f s, %.1fx)", total.elapsedSec, total.speed);
    return summary + text;
}

std::string MediaFileCommand::causeOf(const Result& result) const {
    if (result.failure.kind != FailureKind::kCancelled) return JobCommand::causeOf(result);
    if (!hasFile(result)) return "interrupted, nothing was written";
    return "interrupted; what was written until then is '" + result.files.front() + "'";
}

Json MediaFileCommand::fieldsOf(const Result& result) const {
    Json fields = {{"damaged", result.damaged}};
    if (result.verified) fields["verified"] = true;
    if (hasFile(result)) {
        fields["output"] = result.files.front();
        fields["duration_s"] = rounded(result.durationSec, 1000);
        const Json numbers = progressFields(result.total);
        for (const char* key : {"frames", "elapsed_s", "fps", "speed", "bytes"}) {
            if (numbers.contains(key)) fields[key] = numbers[key];
        }
    }
    return fields;
}

}  // namespace oxaplayer
