// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ABase.h>
#include <stdint.h>
#include <sys/types.h>
#include <utils/RefBase.h>

namespace android {

struct AMessage;

// A piece of memory with a range that is in use. Not locked: whoever shares a buffer between
// threads hands it over, for example in a message.
struct ABuffer : public RefBase {
    // Owns uninitialised memory; if there is none, base() is null and capacity() 0.
    explicit ABuffer(size_t capacity);
    // Refers to the caller's memory, which must outlive the buffer and is never freed by it.
    ABuffer(void* data, size_t capacity);

    // A buffer of its own with the same bytes; null without memory.
    static sp<ABuffer> CreateAsCopy(const void* data, size_t capacity);

    uint8_t* base() { return static_cast<uint8_t*>(mData); }
    uint8_t* data() { return base() + mRangeOffset; }
    size_t capacity() const { return mCapacity; }
    size_t size() const { return mRangeLength; }
    size_t offset() const { return mRangeOffset; }

    // A range beyond the capacity is fatal.
    void setRange(size_t offset, size_t size);

    // Made at the first call, the same message for the buffer's whole life.
    sp<AMessage> meta();

    // A number that the buffer carries along, 0 at first.
    void setInt32Data(int32_t data) { mInt32Data = data; }
    int32_t int32Data() const { return mInt32Data; }

  protected:
    ~ABuffer() override;

  private:
    DISALLOW_EVIL_CONSTRUCTORS(ABuffer);

    sp<AMessage> mMeta;
    void* const mData;
    const size_t mCapacity;
    size_t mRangeOffset = 0;
    size_t mRangeLength;
    int32_t mInt32Data = 0;
    const bool mOwnsData;
};

}  // namespace android
