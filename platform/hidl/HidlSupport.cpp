// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "HidlSupport"

#include <hidl/HidlSupport.h>

#include <errno.h>
#include <log/log.h>
#include <string.h>

#include <ostream>

namespace android::hardware {

hidl_string& hidl_string::operator=(const hidl_string& other) {
    if (this != &other) *this = hidl_string(other);
    return *this;
}

hidl_string& hidl_string::operator=(hidl_string&& other) noexcept {
    if (this == &other) return *this;
    mText = std::move(other.mText);
    mExternal = std::exchange(other.mExternal, nullptr);
    mExternalSize = std::exchange(other.mExternalSize, 0);
    other.mText.clear();
    return *this;
}

void hidl_string::setToExternal(const char* data, size_t size) {
    LOG_ALWAYS_FATAL_IF(data[size] != '\0', "a string that does not end where it says");
    clear();
    mExternal = data;
    mExternalSize = size;
}

int hidl_string::compare(const hidl_string& other) const {
    return strcmp(c_str(), other.c_str());
}

std::ostream& operator<<(std::ostream& stream, const hidl_string& text) {
    return stream << text.c_str();
}

hidl_handle::hidl_handle(const hidl_handle& other) {
    *this = other;
}

hidl_handle::hidl_handle(hidl_handle&& other) noexcept {
    *this = std::move(other);
}

hidl_handle& hidl_handle::operator=(const hidl_handle& other) {
    if (this == &other) return *this;
    release();
    if (other.mHandle == nullptr) return *this;
    mHandle = native_handle_clone(other.mHandle);
    mOwned = mHandle != nullptr;
    if (mHandle == nullptr) ALOGE("a handle cannot be copied: %s", strerror(errno));
    return *this;
}

hidl_handle& hidl_handle::operator=(hidl_handle&& other) noexcept {
    if (this == &other) return *this;
    release();
    mHandle = std::exchange(other.mHandle, nullptr);
    mOwned = std::exchange(other.mOwned, false);
    return *this;
}

hidl_handle& hidl_handle::operator=(const native_handle_t* handle) {
    release();
    mHandle = handle;
    return *this;
}

hidl_handle::~hidl_handle() {
    release();
}

void hidl_handle::setTo(native_handle_t* handle, bool shouldOwn) {
    release();
    mHandle = handle;
    mOwned = shouldOwn;
}

void hidl_handle::release() {
    if (mOwned) {
        auto* handle = const_cast<native_handle_t*>(mHandle);
        native_handle_close(handle);
        native_handle_delete(handle);
    }
    mHandle = nullptr;
    mOwned = false;
}

}  // namespace android::hardware
