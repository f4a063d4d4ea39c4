// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "DataSourceStream"

#include "ffmpeg/DataSourceStream.h"

#include <errno.h>
#include <log/log.h>

extern "C" {
#include <libavutil/error.h>
#include <libavutil/mem.h>
}

namespace android {

namespace {

constexpr int kBufferSize = 65536;
constexpr int kMaxErrno = 4095;

int refuseToOpen(AVFormatContext* /*context*/, AVIOContext** /*stream*/, const char* url,
                 int /*flags*/, AVDictionary** /*options*/) {
    ALOGW("the file refers to '%s', which is not opened", url);
    return AVERROR(EACCES);
}

}  // namespace

DataSourceStream::DataSourceStream(const sp<DataSource>& source) : mSource(source) {
    off64_t size = 0;
    if (source->getSize(&size) == OK) mSize = size;
    mContext.reset(avio_alloc_context(static_cast<unsigned char*>(av_malloc(kBufferSize)),
                                      kBufferSize, 0, this, readPacket, nullptr,
                                      mSize >= 0 ? seek : nullptr));
}

void DataSourceStream::feed(AVFormatContext* context) {
    context->pb = mContext;
    context->io_open = refuseToOpen;
    // For those demuxers that open files by themselves.
    context->protocol_whitelist = av_strdup("none");
}

int DataSourceStream::readPacket(void* opaque, uint8_t* buffer, int size) {
    auto* self = static_cast<DataSourceStream*>(opaque);
    const ssize_t count = self->mSource->readAt(self->mPosition, buffer, size);
    if (count == 0) return AVERROR_EOF;
    if (count < 0) {
        const int error = -count <= kMaxErrno ? static_cast<int>(-count) : EIO;
        if (self->mError == 0) self->mError = error;
        return AVERROR(error);
    }
    self->mScrambling.watch(self->mPosition, buffer, static_cast<size_t>(count));
    self->mPosition += count;
    return static_cast<int>(count);
}

int64_t DataSourceStream::seek(void* opaque, int64_t offset, int whence) {
    auto* self = static_cast<DataSourceStream*>(opaque);
    switch (whence & ~AVSEEK_FORCE) {
        case AVSEEK_SIZE:
            return self->mSize;
        case SEEK_SET:
            break;
        case SEEK_CUR:
            offset += self->mPosition;
            break;
        case SEEK_END:
            offset += self->mSize;
            break;
        default:
            return AVERROR(EINVAL);
    }
    if (offset < 0) return AVERROR(EINVAL);
    self->mPosition = offset;
    return offset;
}

}  // namespace android
