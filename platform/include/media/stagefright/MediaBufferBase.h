// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>

namespace android {

class MediaBufferBase;
class MetaDataBase;

// Gets a buffer back when the last user has released it.
class MediaBufferObserver {
  public:
    virtual ~MediaBufferObserver() = default;

    // Called by the last release(), on its thread.
    virtual void signalBufferReturned(MediaBufferBase* buffer) = 0;
};

// A piece of memory with a range in use, metadata and a count of users. The count is atomic,
// everything else belongs to whoever holds the buffer.
class MediaBufferBase {
  public:
    // A buffer of its own memory.
    static MediaBufferBase* Create(size_t size);

    // Without observer: deletes the buffer, whose count must be 0. With observer: one user less;
    // after the last one the observer gets the buffer.
    virtual void release() = 0;
    virtual void add_ref() = 0;

    virtual void* data() const = 0;
    virtual size_t size() const = 0;

    virtual size_t range_offset() const = 0;
    virtual size_t range_length() const = 0;
    // A range beyond size() is fatal.
    virtual void set_range(size_t offset, size_t length) = 0;

    virtual MetaDataBase& meta_data() = 0;

    // Clears the metadata and makes the range the whole memory.
    virtual void reset() = 0;

    // Replacing an observer by another one is fatal.
    virtual void setObserver(MediaBufferObserver* observer) = 0;

    virtual int refcount() const = 0;
    virtual int localRefcount() const = 0;
    virtual int remoteRefcount() const = 0;

    virtual ~MediaBufferBase() = default;

  protected:
    MediaBufferBase() = default;

  private:
    MediaBufferBase(const MediaBufferBase&) = delete;
    MediaBufferBase& operator=(const MediaBufferBase&) = delete;
};

}  // namespace android
