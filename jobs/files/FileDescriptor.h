// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <unistd.h>

#include <cstddef>
#include <utility>

namespace oxa::jobs {

// Owns a file descriptor and closes it.
class FileDescriptor {
  public:
    explicit FileDescriptor(int descriptor = -1) : mDescriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept
        : mDescriptor(std::exchange(other.mDescriptor, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(mDescriptor, other.mDescriptor);
        return *this;
    }
    ~FileDescriptor() {
        if (mDescriptor >= 0) close(mDescriptor);
    }

    int get() const { return mDescriptor; }
    bool isOpen() const { return mDescriptor >= 0; }

  private:
    int mDescriptor;
};

// All of it, however often the kernel takes only a part. False with errno set when it cannot be
// written.
bool writeFully(int descriptor, const void* data, size_t size);

}  // namespace oxa::jobs
