// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace oxa::host {

// What a file is to say of itself. MP4 has all of it but tags that it does not know; MPEG-TS has
// languages, and the title as the name of its programme.
struct OutputTags {
    std::vector<std::pair<std::string, std::string>> metadata;  // FFmpeg's names: "title"
    std::string pictureLanguage;                                // three letters; empty: not told
    std::string soundLanguage;
    struct Chapter {
        int64_t startUs = 0;
        int64_t endUs = 0;
        std::string title;
    };
    std::vector<Chapter> chapters;
};

// Of writers that are started from now on in the caller's session (oxa/host/Session.h); nothing
// until set. Thread-safe.
void setOutputTags(const OutputTags& tags);
OutputTags outputTags();

}  // namespace oxa::host
