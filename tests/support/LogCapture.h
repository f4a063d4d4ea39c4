// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace android {

// Collects the platform log of the whole process while it lives; one at a time. Errors also go to
// standard error. Thread-safe.
class LogCapture {
  public:
    LogCapture();
    ~LogCapture();

    // How many lines under `tag` contain `text`.
    int count(const std::string& tag, const std::string& text) const;
    bool contains(const std::string& tag, const std::string& text) const {
        return count(tag, text) > 0;
    }
};

}  // namespace android
