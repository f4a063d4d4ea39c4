// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>
#include <vector>

namespace android {

// Collects the platform log of the whole process while it lives; one at a time. Thread-safe.
class LogCapture {
  public:
    struct Line {
        int priority;
        std::string tag;
        std::string text;
    };

    LogCapture();
    ~LogCapture();

    std::vector<Line> lines() const;
    // How many lines under `tag` contain `text`.
    int count(const std::string& tag, const std::string& text) const;
    bool contains(const std::string& tag, const std::string& text) const {
        return count(tag, text) > 0;
    }
};

}  // namespace android
