// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

namespace oxa::jobs {

enum class Container { kMpeg2Ts, kMp4 };

// Where a job writes a media file.
struct OutputOptions {
    // A file, a device or a named pipe. The name of a file is free or `replaceOutput` is set; under
    // it there is never half a file, except of a recording.
    std::string output;
    // Not negative: this descriptor is written instead, and `output` only names it in texts. Stays
    // the caller's, open until run() returns.
    int outputDescriptor = -1;
    bool replaceOutput = false;
    // Not given: by the extension of `output`, which may not be another one's either.
    std::optional<Container> container;
    // Of an MP4 file that is made of files: its index comes before its samples, for players that
    // get it bit by bit. Costs to read and write the complete file once more. kOptions with another
    // container, and of a recording.
    bool indexFirst = false;
};

}  // namespace oxa::jobs
