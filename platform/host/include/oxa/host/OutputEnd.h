// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>

namespace oxa::host {

// How a writer ends its file. All calls are thread-safe and count for the caller's
// session (oxa/host/Session.h).
enum class OutputEnd {
    kAll,       // with all samples that came
    kTogether,  // where the track ends that has come least far: for a job that was interrupted
};

// kAll until set. Counts for writers that are stopped from now on; what has been written stays.
void setOutputEnd(OutputEnd end);
OutputEnd outputEnd();

// The longest that an output may become.
struct OutputLength {
    int64_t us = 0;       // of the samples' times; the last one of each track ends there
    int64_t earlyUs = 0;  // a picture that begins so little before counts as one that is behind
};

// What begins there or later is taken and dropped; the last unit of sound stays whole. Nothing, the
// default: all is written. Counts for writers that are started from now on. Of one whose output is
// not wanted all the time (oxa/host/OutputFiles.h) it counts what is in files.
void setOutputLength(const std::optional<OutputLength>& length);
std::optional<OutputLength> outputLength();

// What a writer has left in its file. Times are those of the samples, in microseconds.
struct OutputFigures {
    uint64_t pictures = 0;
    int64_t pictureEndUs = 0;  // of the last one
    uint64_t soundUnits = 0;
    int64_t soundStartUs = 0;
    int64_t soundEndUs = 0;
};

// Those of the writer that was stopped last; nothing when none was since the call before.
std::optional<OutputFigures> takeOutputFigures();

// For the platform.
void reportOutputFigures(const OutputFigures& figures);

}  // namespace oxa::host
