// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>

#include "files/FileDescriptor.h"
#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// A media file that was opened for reading, at any place of it.
class InputFile {
  public:
    // Nothing when it is open; otherwise why not (kInput).
    std::optional<Failure> open(const std::string& path);

    const std::string& path() const { return mPath; }
    // Stays this object's.
    int descriptor() const { return mDescriptor.get(); }
    int64_t size() const { return mSize; }
    // Whether `path` leads to this very file, under whatever name.
    bool isSameFileAs(const std::string& path) const;

  private:
    std::string mPath;
    FileDescriptor mDescriptor;
    int64_t mSize = 0;
    dev_t mDevice = 0;
    ino_t mInode = 0;
};

}  // namespace oxa::jobs
