// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace oxa::jobs {

// What a file has that is not in what is made of it, as far as it was asked for.
struct LeftBehind {
    int pictures = 0;  // tracks, covers too
    int sounds = 0;
    int subtitles = 0;
    int data = 0;  // other streams
    int chapters = 0;
    std::vector<std::string> tags;  // "album"

    bool isNothing() const {
        return pictures + sounds + subtitles + data + chapters == 0 && tags.empty();
    }
};

}  // namespace oxa::jobs
