// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "jobs/JobKit.h"

namespace oxa::jobs {

TranscodeOptions quickTranscode(const std::string& input, const std::string& output) {
    TranscodeOptions options;
    options.input = input;
    options.output = output;
    options.container = Container::kMp4;
    options.size = Size{160, 120};
    options.preset = "ultrafast";
    return options;
}

RecordOptions quickRecord(const std::string& output, const LiveSource& source) {
    RecordOptions options;
    options.source = source;
    options.output = output;
    options.preset = "ultrafast";
    return options;
}

std::unique_ptr<Job> makeJob(JobKind kind, const std::string& input, const std::string& output,
                             bool replaceOutput, JobListener* listener) {
    if (kind == JobKind::kTranscode) {
        TranscodeOptions options = quickTranscode(input, output);
        options.replaceOutput = replaceOutput;
        return std::make_unique<Transcode>(options, listener);
    }
    if (kind == JobKind::kRemux) {
        RemuxOptions options;
        options.input = input;
        options.output = output;
        options.container = Container::kMp4;
        options.replaceOutput = replaceOutput;
        return std::make_unique<Remux>(options, listener);
    }
    if (kind == JobKind::kContactSheet) {
        ContactSheetOptions options;
        options.input = input;
        options.output = output;
        options.replaceOutput = replaceOutput;
        return std::make_unique<ContactSheet>(options, listener);
    }
    if (kind == JobKind::kPlay) {
        PlayOptions options;
        options.input = input;
        options.display.kind = DisplayChoice::Kind::kNull;
        options.sound.kind = SoundChoice::Kind::kNull;
        return std::make_unique<Play>(options, listener);
    }
    RecordOptions options = quickRecord(output);
    options.container = Container::kMp4;
    options.replaceOutput = replaceOutput;
    if (!input.empty()) options.source.name = input;
    return std::make_unique<Record>(options, listener);
}

}  // namespace oxa::jobs
