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
#include <iosfwd>
#include <iterator>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace android {

namespace hidl::base::V1_0 {
struct IBase;
}

namespace hardware {

// The values that cross a service's interface. They are plain values here: services live in this
// process. None is thread-safe.

// A text. Comparisons are those of strcmp.
struct hidl_string {
    hidl_string() = default;
    hidl_string(const char* text) : mText(text != nullptr ? text : "") {}
    hidl_string(const char* text, size_t length) : mText(text, length) {}
    hidl_string(const std::string& text) : mText(text) {}
    hidl_string(const hidl_string& other) : mText(other.c_str(), other.size()) {}
    hidl_string(hidl_string&& other) noexcept { *this = std::move(other); }
    hidl_string& operator=(const hidl_string& other);
    hidl_string& operator=(hidl_string&& other) noexcept;
    ~hidl_string() = default;

    const char* c_str() const { return mExternal != nullptr ? mExternal : mText.c_str(); }
    size_t size() const { return mExternal != nullptr ? mExternalSize : mText.size(); }
    bool empty() const { return size() == 0; }
    void clear() { *this = hidl_string(); }
    operator std::string() const { return std::string(c_str(), size()); }

    // Refers to characters that the caller keeps, with a NUL behind the last one, which is
    // asserted. Copies have characters of their own.
    void setToExternal(const char* data, size_t size);

    friend bool operator==(const hidl_string& a, const hidl_string& b) { return a.compare(b) == 0; }
    friend bool operator!=(const hidl_string& a, const hidl_string& b) { return a.compare(b) != 0; }
    friend bool operator<(const hidl_string& a, const hidl_string& b) { return a.compare(b) < 0; }
    friend bool operator<=(const hidl_string& a, const hidl_string& b) { return a.compare(b) <= 0; }
    friend bool operator>(const hidl_string& a, const hidl_string& b) { return a.compare(b) > 0; }
    friend bool operator>=(const hidl_string& a, const hidl_string& b) { return a.compare(b) >= 0; }

  private:
    int compare(const hidl_string& other) const;

    std::string mText;
    const char* mExternal = nullptr;  // in place of mText
    size_t mExternalSize = 0;
};

std::ostream& operator<<(std::ostream& stream, const hidl_string& text);

// A list; not of bool.
template <typename T>
struct hidl_vec {
    using value_type = T;

    hidl_vec() = default;
    hidl_vec(std::initializer_list<T> list) : mItems(list) {}
    hidl_vec(const std::vector<T>& items) : mItems(items) {}
    hidl_vec(size_t size) : mItems(size) {}
    template <typename Iterator, typename = typename std::enable_if_t<std::is_convertible_v<
                                         typename std::iterator_traits<Iterator>::iterator_category,
                                         std::input_iterator_tag>>>
    hidl_vec(Iterator first, Iterator last) : mItems(first, last) {}

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
    // end() when it is not there.
    auto find(const T& item) { return std::find(begin(), end(), item); }
    auto find(const T& item) const { return std::find(begin(), end(), item); }
    bool contains(const T& item) const { return find(item) != end(); }
    operator std::vector<T>() const { return mItems; }

    friend bool operator==(const hidl_vec& a, const hidl_vec& b) { return a.mItems == b.mItems; }
    friend bool operator!=(const hidl_vec& a, const hidl_vec& b) { return !(a == b); }

  private:
    std::vector<T> mItems;
};

// A group of descriptors. One made from a pointer refers to it; a copy has duplicates of the
// descriptors, and closes them. A copy that could not be made is null.
struct hidl_handle {
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
struct hidl_memory {
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
