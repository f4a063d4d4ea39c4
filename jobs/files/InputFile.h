// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>

#include "files/FileDescriptor.h"
#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// A media file that was opened for reading, at any place of it.
class InputFile {
  public:
    // `cancelled` (may be null; outlives the object) ends the wait for the end of standard input.
    explicit InputFile(const std::atomic<bool>* cancelled = nullptr) : mCancelled(cancelled) {}

    // What `name` means as oxa/jobs/Input.h says. Nothing when it is open; otherwise why not
    // (kInput, kCancelled).
    std::optional<Failure> open(const std::string& name);
    // A path and nothing else.
    std::optional<Failure> openPath(const std::string& path);

    // As the user wrote it.
    const std::string& path() const { return mName; }
    // Stays this object's.
    int descriptor() const { return mDescriptor.get(); }
    int64_t size() const { return mSize; }
    // Whether `path` leads to this very file, under whatever name.
    bool isSameFileAs(const std::string& path) const;

  private:
    std::optional<Failure> take(FileDescriptor file);
    Failure failure(const std::string& cause) const;

    const std::atomic<bool>* const mCancelled;
    std::string mName;
    FileDescriptor mDescriptor;
    int64_t mSize = 0;
    dev_t mDevice = 0;
    ino_t mInode = 0;
};

}  // namespace oxa::jobs
