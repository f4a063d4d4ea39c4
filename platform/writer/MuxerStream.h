// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <stdint.h>

#include <functional>

#include "ffmpeg/AvOwner.h"

namespace android {

// Takes the bytes that a muxer of libavformat writes. Not locked.
class MuxerStream {
  public:
    // Where `data` belongs in the muxer's file, and the bytes; returns 0 or an errno.
    using Sink = std::function<int(int64_t position, const uint8_t* data, int size)>;

    MuxerStream(bool seekable, Sink sink);

    // Valid as long as this object.
    AVIOContext* context() { return mContext; }

  private:
    DISALLOW_EVIL_CONSTRUCTORS(MuxerStream);

    // What is written is constant from FFmpeg 7 on.
    template <typename Byte>
    static int writePacket(void* opaque, Byte* buffer, int size);
    static int64_t seek(void* opaque, int64_t offset, int whence);

    const Sink mSink;
    int64_t mPosition = 0;
    AvStreamOwner mContext;
};

// A muxer that writes into `stream`, with no streams yet; null without memory.
AvMuxerOwner newMuxer(const char* format, MuxerStream* stream);

}  // namespace android
