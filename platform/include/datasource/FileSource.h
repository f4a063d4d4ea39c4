// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/DataSource.h>
#include <media/stagefright/foundation/ABase.h>
#include <utils/Mutex.h>

namespace android {

// A file, a part of one, or a pipe. Reading never moves the descriptor's offset, except on a pipe,
// which can only be read from front to back. All calls may come from any thread.
class FileSource : public DataSource {
  public:
    // Opens the file read-only. A failure is logged and seen as initCheck() == NO_INIT.
    FileSource(const char* filename);

    // Takes the descriptor over and closes it. Negative values count as 0; the part is clipped to
    // the file. Offset and length mean nothing for a pipe.
    FileSource(int fd, int64_t offset, int64_t length);

    status_t initCheck() const override;

    // A negative errno when reading failed; -ESPIPE for a step back on a pipe.
    ssize_t readAt(off64_t offset, void* data, size_t size) override;

    status_t getSize(off64_t* size) override;
    uint32_t flags() override { return kIsLocalFileSource; }

    // The path, or "fd N" for a descriptor without one.
    String8 toString() override;

  protected:
    ~FileSource() override;

  private:
    DISALLOW_EVIL_CONSTRUCTORS(FileSource);

    void inspect(int64_t offset, int64_t length);
    ssize_t readPipeLocked(off64_t offset, void* data, size_t size) REQUIRES(mPipeLock);

    int mFd;
    String8 mName;
    bool mSeekable = true;
    off64_t mOffset = 0;
    off64_t mLength = 0;  // of a seekable file

    Mutex mPipeLock;
    off64_t mPipePosition GUARDED_BY(mPipeLock) = 0;
};

}  // namespace android
