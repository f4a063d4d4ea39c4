// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace oxa::test {

// A sample without what belongs to its container: AVC as its units, each behind its length, without
// parameter sets and delimiters; AAC without headers.
struct StoredSample {
    int64_t timeUs;  // of the file's own clock
    int64_t decodingTimeUs;
    bool isSync;
    std::string data;
};

// Those of the first picture or sound of a file, in its order.
std::vector<StoredSample> pictureSamples(const std::string& path);
std::vector<StoredSample> soundSamples(const std::string& path);

}  // namespace oxa::test
