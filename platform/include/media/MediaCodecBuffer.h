// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>
#include <utils/RefBase.h>

#include <cstddef>
#include <cstdint>

namespace android {

struct ABuffer;
struct AMessage;

// One input or output buffer of a MediaCodec: memory, the range in use, and the format that
// applies to it. The memory belongs to the client from the callback that offers the index until the
// index is queued or released; afterwards the object lives on, but its memory must not be touched.
class MediaCodecBuffer : public RefBase {
  public:
    // Shares both; neither may be null.
    MediaCodecBuffer(const sp<AMessage>& format, const sp<ABuffer>& buffer);
    ~MediaCodecBuffer() override;

    uint8_t* base();
    uint8_t* data();  // base() + offset()
    size_t capacity() const;
    size_t size() const;
    size_t offset() const;

    // Sets the range in use, which must lie within the capacity (asserted). Returns OK.
    virtual status_t setRange(size_t offset, size_t size);

    // One message for the life of the buffer. "mediaBufferHolder" (object) in an input keeps what
    // the input refers to until the codec has taken it.
    sp<AMessage> meta();
    // Shared with the codec: read only.
    sp<AMessage> format();

  private:
    MediaCodecBuffer(const MediaCodecBuffer&) = delete;
    MediaCodecBuffer& operator=(const MediaCodecBuffer&) = delete;

    const sp<AMessage> mMeta;
    const sp<AMessage> mFormat;
    const sp<ABuffer> mBuffer;
};

}  // namespace android
