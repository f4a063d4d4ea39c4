// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace oxa::test {

// Files whose times are difficult, made of ordinary ones byte by byte. Each call gives the path of
// a new file in the process's temporary directory.

// A packet of an FLV file.
struct FlvTag {
    bool isVideo;
    int index;  // among those of its kind; the first one of AVC and of AAC is its codec data
    int64_t timeMs;
};

// A copy of an FLV file in which each sound and picture tag has the time that `newTimeMs` says.
std::string editFlvTimes(const std::string& path,
                         const std::function<int64_t(const FlvTag&)>& newTimeMs);

// One FLV file behind the other, as a recorder that was restarted writes them.
std::string appendFlv(const std::string& first, const std::string& second);

// Two transport streams of one programme each, packet by packet, in one with both programmes. Their
// numbers and all their PIDs must differ.
std::string weavePrograms(const std::string& first, const std::string& second);

}  // namespace oxa::test
