// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "oxa/jobs/Progress.h"

namespace oxa::jobs {

// Why a job has not done what it was asked for.
enum class FailureKind {
    kNone,
    kOptions,       // options that make no sense, or that this source cannot do
    kInput,         // the input cannot be read, or has nothing to decode
    kOutputExists,  // there is a file already, and it was not to be replaced
    kOutput,        // the output cannot be written, also when the disk fills up
    kFailed,        // a codec or a device failed while the job ran
    kSourceEnded,   // a live source ended before the duration that was asked for
    kStalled,       // nothing moved for 30 s: what hangs stays behind, with its threads and memory
    kCancelled,
};

// What a caller could change, where that is one option.
enum class Hint {
    kNone,
    kOtherValue,       // of the option with whose name the text begins: "size '640x360': ..."
    kNameContainer,    // EncodeOptions::container
    kTransportStream,  // EncodeOptions::container, for an output that cannot be moved in
    kOnlySound,        // EncodeOptions::only
    kNameSound,        // LiveSource::sound
    kNoSound,          // LiveSource::sound, as "none"
    kAsCamera,         // LiveSource::kind
};

struct Failure {
    FailureKind kind = FailureKind::kNone;
    std::string text;  // one line for people, with the path or the device it is about
    Hint hint = Hint::kNone;
};

// What a job has done, also when it failed or was cancelled.
struct Result {
    Failure failure;

    // What was written and is kept, under its present name. A cancelled job keeps what makes a
    // whole, shorter file; a failed recording what was recorded. "-" for a descriptor of the
    // caller's.
    std::vector<std::string> files;
    // Length of what was written, or how far a playback came; in seconds.
    double durationSec = 0;
    double soundSec = 0;    // of sound that was written, or heard
    uint64_t damaged = 0;   // pieces of the input that were skipped or repaired
    bool verified = false;  // the output was compared with the input
    // Of a recording that lost pictures: a preset with which it loses fewer, if there is one.
    std::string fasterPreset;
    Progress total;  // pictures, bytes and dropped pictures; rates over the whole job

    bool ok() const { return failure.kind == FailureKind::kNone; }
};

}  // namespace oxa::jobs
