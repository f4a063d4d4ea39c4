// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/MediaBufferBase.h>
#include <media/stagefright/MetaDataBase.h>
#include <stdint.h>
#include <utils/RefBase.h>

#include <atomic>

namespace android {

struct ABuffer;
class IMemory;

// A new buffer has no user (count 0), no observer, and all of its memory as range. Deleted by
// release() only.
class MediaBuffer : public MediaBufferBase {
  public:
    // Refers to the caller's memory, which must outlive the buffer.
    MediaBuffer(void* data, size_t size);
    // Owns uninitialised memory.
    explicit MediaBuffer(size_t size);
    // Refers to the range that the other buffer has now, and keeps that buffer.
    explicit MediaBuffer(const sp<ABuffer>& buffer);
    // Refers to shared memory and keeps it.
    MediaBuffer(const sp<IMemory>& mem);

    void release() override;
    void add_ref() override;

    void* data() const override { return mData; }
    size_t size() const override { return mSize; }
    size_t range_offset() const override { return mRangeOffset; }
    size_t range_length() const override { return mRangeLength; }
    void set_range(size_t offset, size_t length) override;

    MetaDataBase& meta_data() override { return mMetaData; }
    void reset() override;
    void setObserver(MediaBufferObserver* observer) override;

    int refcount() const override { return mRefCount; }
    int localRefcount() const override { return mRefCount; }
    int remoteRefcount() const override { return 0; }

  protected:
    ~MediaBuffer() override;

  private:
    std::atomic<int> mRefCount{0};
    MediaBufferObserver* mObserver = nullptr;
    sp<RefBase> mKeeper;  // what owns the memory, if that is an object
    bool mOwnsData = false;
    void* mData;
    size_t mSize;
    size_t mRangeOffset = 0;
    size_t mRangeLength;
    MetaDataBase mMetaData;
};

}  // namespace android
