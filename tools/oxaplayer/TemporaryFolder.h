// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace oxaplayer {

// A folder of our own for the time of a job, taken away with all that is in it.
class TemporaryFolder {
  public:
    TemporaryFolder() = default;
    TemporaryFolder(const TemporaryFolder&) = delete;
    ~TemporaryFolder();

    // Once. False, with errno set, when it cannot be made.
    bool create();
    const std::string& path() const { return mPath; }

    // For the last moment of the process, from any thread: removes the one that there is.
    static void removeAtExit();

  private:
    std::string mPath;
};

}  // namespace oxaplayer
