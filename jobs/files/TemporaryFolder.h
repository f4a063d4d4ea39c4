// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace oxa::jobs {

// A folder of our own for the time of a job, taken away with all that is in it.
class TemporaryFolder {
  public:
    TemporaryFolder() = default;
    TemporaryFolder(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    // Once. False, with errno set, when it cannot be made.
    bool create();
    const std::string& path() const { return mPath; }

    // For the last moment of the process, from any thread: removes all that there are.
    static void removeAll();

  private:
    std::string mPath;
};

}  // namespace oxa::jobs
