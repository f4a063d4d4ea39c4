// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdint.h>
#include <sys/types.h>
#include <utils/Errors.h>

namespace android {

// Random access to the bytes of a medium.
class DataSourceBase {
  public:
    enum Flags {
        kWantsPrefetching = 1,
        kStreamedFromLocalHost = 2,
        kIsCachingDataSource = 4,
        kIsHTTPBasedSource = 8,
        kIsLocalFileSource = 16,
    };

    // OK, or why nothing can be read (NO_INIT).
    virtual status_t initCheck() const = 0;

    // Reads up to `size` bytes at `offset` and returns how many came: fewer only before the end,
    // 0 at or after the end; a negative error otherwise. Blocks.
    virtual ssize_t readAt(off64_t offset, void* data, size_t size) = 0;

    // ERROR_UNSUPPORTED when the size is not known; reading is then sequential only.
    virtual status_t getSize(off64_t* size);

    // How many bytes from `offset` on can be read without waiting.
    virtual status_t getAvailableSize(off64_t offset, off64_t* size);

    virtual uint32_t flags() { return 0; }
    virtual void close() {}

  protected:
    virtual ~DataSourceBase() = default;
};

}  // namespace android
