// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cutils/native_handle.h>
#include <utils/RefBase.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <string>
#include <utility>
#include <vector>

namespace android {

namespace hidl::base::V1_0 {
struct IBase;
}

namespace hardware {

// The values that cross a service's interface. They are plain values here: services live in this
// process. None is thread-safe.

// A text.
class hidl_string {
  public:
    hidl_string() = default;
    hidl_string(const char* text) : mText(text != nullptr ? text : "") {}
    hidl_string(const char* text, size_t length) : mText(text, length) {}
    hidl_string(const std::string& text) : mText(text) {}

    const char* c_str() const { return mText.c_str(); }
    size_t size() const { return mText.size(); }
    bool empty() const { return mText.empty(); }
    void clear() { mText.clear(); }
    operator std::string() const { return mText; }

    friend bool operator==(const hidl_string& a, const hidl_string& b) {
        return a.mText == b.mText;
    }
    friend bool operator!=(const hidl_string& a, const hidl_string& b) { return !(a == b); }
    friend bool operator<(const hidl_string& a, const hidl_string& b) { return a.mText < b.mText; }

  private:
    std::string mText;
};

// A list; not of bool.
template <typename T>
class hidl_vec {
  public:
    using value_type = T;

    hidl_vec() = default;
    hidl_vec(std::initializer_list<T> list) : mItems(list) {}
    hidl_vec(const std::vector<T>& items) : mItems(items) {}
    explicit hidl_vec(size_t size) : mItems(size) {}

    size_t size() const { return mItems.size(); }
    // New items at the end are default-constructed.
    void resize(size_t size) { mItems.resize(size); }
    T* data() { return mItems.data(); }
    const T* data() const { return mItems.data(); }
    T& operator[](size_t index) { return mItems[index]; }
    const T& operator[](size_t index) const { return mItems[index]; }
    auto begin() { return mItems.begin(); }
    auto begin() const { return mItems.begin(); }
    auto end() { return mItems.end(); }
    auto end() const { return mItems.end(); }
    operator std::vector<T>() const { return mItems; }

    friend bool operator==(const hidl_vec& a, const hidl_vec& b) { return a.mItems == b.mItems; }
    friend bool operator!=(const hidl_vec& a, const hidl_vec& b) { return !(a == b); }

  private:
    std::vector<T> mItems;
};

// A group of descriptors. One made from a pointer refers to it; a copy has duplicates of the
// descriptors, and closes them. A copy that could not be made is null.
class hidl_handle {
  public:
    hidl_handle() = default;
    hidl_handle(const native_handle_t* handle) : mHandle(handle) {}
    hidl_handle(const hidl_handle& other);
    hidl_handle(hidl_handle&& other) noexcept;
    hidl_handle& operator=(const hidl_handle& other);
    hidl_handle& operator=(hidl_handle&& other) noexcept;
    hidl_handle& operator=(const native_handle_t* handle);
    ~hidl_handle();

    // With `shouldOwn` the descriptors are closed and the handle is deleted by this object.
    void setTo(native_handle_t* handle, bool shouldOwn = false);
    const native_handle_t* getNativeHandle() const { return mHandle; }
    const native_handle_t* operator->() const { return mHandle; }
    operator const native_handle_t*() const { return mHandle; }

  private:
    void release();

    const native_handle_t* mHandle = nullptr;
    bool mOwned = false;
};

// Shared memory: what kind it is, its descriptor and its size in bytes. Copies have descriptors of
// their own. mapMemory() of hidlmemory/mapping.h gives its bytes.
class hidl_memory {
  public:
    // No memory.
    hidl_memory() = default;
    // Refers to the handle.
    hidl_memory(const hidl_string& name, const native_handle_t* handle, size_t size)
        : mHandle(handle), mSize(size), mName(name) {}
    hidl_memory(const hidl_string& name, hidl_handle&& handle, size_t size)
        : mHandle(std::move(handle)), mSize(size), mName(name) {}

    const native_handle_t* handle() const { return mHandle; }
    const hidl_string& name() const { return mName; }
    uint64_t size() const { return mSize; }
    bool valid() const { return handle() != nullptr; }

  private:
    hidl_handle mHandle;
    uint64_t mSize = 0;
    hidl_string mName;
};

// Hears that a service has ended; see IBase::linkToDeath().
struct hidl_death_recipient : public virtual RefBase {
    // On a thread of the service's side. `cookie` is what the recipient was linked with.
    virtual void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) = 0;
};

}  // namespace hardware
}  // namespace android
