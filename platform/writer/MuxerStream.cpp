// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "writer/MuxerStream.h"

#include <errno.h>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace android {

namespace {

constexpr int kBufferSize = 65536;

}  // namespace

template <typename Byte>
int MuxerStream::writePacket(void* opaque, Byte* buffer, int size) {
    auto* self = static_cast<MuxerStream*>(opaque);
    const int error = self->mSink(self->mPosition, buffer, size);
    if (error != 0) return AVERROR(error);
    self->mPosition += size;
    return size;
}

MuxerStream::MuxerStream(bool seekable, Sink sink) : mSink(std::move(sink)) {
    mContext.reset(avio_alloc_context(static_cast<unsigned char*>(av_malloc(kBufferSize)),
                                      kBufferSize, 1, this, nullptr, writePacket,
                                      seekable ? seek : nullptr));
}

int64_t MuxerStream::seek(void* opaque, int64_t offset, int whence) {
    if (whence != SEEK_SET || offset < 0) return AVERROR(EINVAL);
    static_cast<MuxerStream*>(opaque)->mPosition = offset;
    return offset;
}

AvMuxerOwner newMuxer(const char* format, MuxerStream* stream) {
    AvMuxerOwner context;
    if (avformat_alloc_output_context2(context.address(), nullptr, format, nullptr) < 0) return {};
    context->pb = stream->context();
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    // Times are written as they come: a shift would move one track against what its source says.
    context->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    return context;
}

}  // namespace android
