// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <stddef.h>
#include <stdint.h>
#include <sys/types.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "base/DiskSync.h"

namespace android {

// Where a writer's bytes go: a file, a pipe, or a function. After the first error nothing more is
// written and every call answers that error, until recover(). One thread writes; limitWaits() may
// come from another one.
//
// All calls that write return 0 or an errno.
class WriterOutput {
  public:
    // The bytes taken, or a negative errno.
    using WriteFunction = std::function<ssize_t(const void* data, size_t size)>;

    // Duplicates the descriptor. One that cannot be written to is an error from the start.
    explicit WriterOutput(int fd);
    explicit WriterOutput(WriteFunction function);
    ~WriterOutput();

    // Whether bytes can be changed later. Such a file is written from its beginning.
    bool isSeekable() const { return mSeekable; }
    // For people: a path where one is known.
    const std::string& name() const { return mName; }
    // The errno that ended writing, else 0.
    int error() const { return mError; }
    // The same for people; empty without an error.
    std::string cause() const;

    // Behind everything written so far. Waits for a reader who does not read on, as long as
    // oxa::host::setOutputWaitLimit allows.
    int append(const void* data, size_t size);

    // For seekable outputs only.
    int writeAt(off64_t position, const void* data, size_t size);
    int sync();
    // Forgets an error, and what was written behind `size`.
    int recover(off64_t size);

    // Nothing is written any more: gives the descriptor back before the object goes.
    void close();

    // From now on a reader who does not read on is waited for at most a second in all.
    void limitWaits();

  private:
    DISALLOW_EVIL_CONSTRUCTORS(WriterOutput);

    ssize_t writeSome(const void* data, size_t size);
    bool waitUntilWritable() const;

    int mFd = -1;
    const WriteFunction mFunction;
    std::string mName;
    bool mSeekable = false;
    bool mRegular = false;
    bool mSocket = false;
    off64_t mPosition = 0;  // of a seekable output
    int mError = 0;
    std::unique_ptr<DiskSync> mDiskSync;          // of a file, from the first write on
    std::atomic<int64_t> mWaitsEndNs{INT64_MAX};  // on the monotonic clock
};

}  // namespace android
