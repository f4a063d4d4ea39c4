// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/DataSource.h>
#include <media/stagefright/foundation/ABase.h>

#include "ffmpeg/AvOwner.h"
#include "ffmpeg/TsScrambling.h"

namespace android {

// Lets libavformat read a data source. Not locked: one reader.
class DataSourceStream {
  public:
    explicit DataSourceStream(const sp<DataSource>& source);

    // Valid as long as this object.
    AVIOContext* context() { return mContext; }

    // Makes it all that `context`, which is about to be opened, reads: nothing that a file refers
    // to is opened, neither another file nor an address.
    void feed(AVFormatContext* context);

    // -1 when it is not known: a pipe.
    off64_t size() const { return mSize; }

    // What was read of it.
    const TsScrambling& scrambling() const { return mScrambling; }

    // The errno of the first read that failed, else 0. libavformat takes such a read for the end.
    int error() const { return mError; }

  private:
    DISALLOW_EVIL_CONSTRUCTORS(DataSourceStream);

    static int readPacket(void* opaque, uint8_t* buffer, int size);
    static int64_t seek(void* opaque, int64_t offset, int whence);

    const sp<DataSource> mSource;
    off64_t mSize = -1;
    off64_t mPosition = 0;
    int mError = 0;
    TsScrambling mScrambling;
    AvStreamOwner mContext;
};

}  // namespace android
