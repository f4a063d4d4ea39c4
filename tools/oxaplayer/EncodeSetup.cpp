// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "EncodeSetup.h"

#include <fcntl.h>
#include <oxa/host/EncoderPreset.h>
#include <unistd.h>

namespace oxaplayer {

namespace {

// Gives the descriptor of standard output for media, and has everything else that is printed there
// from now on go to standard error.
int takeStandardOutput() {
    const int media = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1);
    dup2(STDERR_FILENO, STDOUT_FILENO);
    return media;
}

}  // namespace

std::optional<Failure> setUpEncoding(const EncodeOptions& options, Container* container) {
    const auto chosen = chooseContainer(options);
    if (!chosen) {
        return Failure{FailureKind::kOptions,
                       "cannot tell the container of '" + options.output +
                               "' by its name: use .mp4, .m4v, .ts or .m2ts, "
                               "or --format"};
    }
    *container = *chosen;
    if (options.preset && !oxa::host::setEncoderPreset(*options.preset)) {
        return Failure{
                FailureKind::kOptions,
                "--preset '" + *options.preset + "': expected a name from ultrafast to placebo"};
    }
    return refuseTerminal(options.output);
}

std::optional<Failure> refuseTerminal(const std::string& output) {
    if (output != "-" || !isatty(STDOUT_FILENO)) return std::nullopt;
    return Failure{FailureKind::kOptions, "standard output is a terminal, which shows no media"};
}

std::optional<Failure> openOutput(const std::string& output, bool force, WriteWay way,
                                  OutputFile* file) {
    const int standardOutput = output == "-" ? takeStandardOutput() : -1;
    return way == WriteWay::kInPlace ? file->openInPlace(output, force, standardOutput)
                                     : file->open(output, force, standardOutput);
}

std::optional<Failure> openOutput(const EncodeOptions& options, Container container, WriteWay way,
                                  OutputFile* output) {
    if (auto failure = openOutput(options.output, options.replaceOutput, way, output))
        return failure;
    if (container == Container::kMp4 && !output->isSeekable()) {
        return Failure{FailureKind::kOutput, "cannot write '" + options.output +
                                                     "': MP4 needs a file, --format ts goes "
                                                     "through a pipe"};
    }
    return std::nullopt;
}

}  // namespace oxaplayer
