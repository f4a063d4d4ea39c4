// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "MetaData"

#include <inttypes.h>
#include <log/log.h>
#include <media/stagefright/MetaDataBase.h>
#include <string.h>

namespace android {

namespace {

struct Rect {
    int32_t left, top, right, bottom;
};

String8 codeText(uint32_t code) {
    char text[5] = {};
    for (int i = 0; i < 4; ++i) {
        const char c = static_cast<char>(code >> (24 - 8 * i));
        text[i] = c >= 0x20 && c < 0x7F ? c : '?';
    }
    return String8(text);
}

}  // namespace

bool MetaDataBase::setData(uint32_t key, uint32_t type, const void* data, size_t size) {
    std::string bytes(static_cast<const char*>(data), size);
    return !mItems.insert_or_assign(key, Item{type, std::move(bytes)}).second;
}

bool MetaDataBase::findData(uint32_t key, uint32_t* type, const void** data, size_t* size) const {
    auto found = mItems.find(key);
    if (found == mItems.end()) return false;
    *type = found->second.type;
    *data = found->second.bytes.data();
    *size = found->second.bytes.size();
    return true;
}

template <typename T>
bool MetaDataBase::setValue(uint32_t key, uint32_t type, const T& value) {
    return setData(key, type, &value, sizeof(value));
}

template <typename T>
bool MetaDataBase::findValue(uint32_t key, uint32_t type, T* value) const {
    auto found = mItems.find(key);
    if (found == mItems.end() || found->second.type != type) return false;
    memcpy(value, found->second.bytes.data(), sizeof(T));
    return true;
}

bool MetaDataBase::setCString(uint32_t key, const char* value) {
    return setData(key, TYPE_C_STRING, value, strlen(value) + 1);
}

bool MetaDataBase::setInt32(uint32_t key, int32_t value) {
    return setValue(key, TYPE_INT32, value);
}

bool MetaDataBase::setInt64(uint32_t key, int64_t value) {
    return setValue(key, TYPE_INT64, value);
}

bool MetaDataBase::setFloat(uint32_t key, float value) {
    return setValue(key, TYPE_FLOAT, value);
}

bool MetaDataBase::setPointer(uint32_t key, void* value) {
    return setValue(key, TYPE_POINTER, value);
}

bool MetaDataBase::setRect(uint32_t key, int32_t left, int32_t top, int32_t right, int32_t bottom) {
    return setValue(key, TYPE_RECT, Rect{left, top, right, bottom});
}

bool MetaDataBase::findCString(uint32_t key, const char** value) const {
    auto found = mItems.find(key);
    if (found == mItems.end() || found->second.type != TYPE_C_STRING) return false;
    *value = found->second.bytes.c_str();
    return true;
}

bool MetaDataBase::findInt32(uint32_t key, int32_t* value) const {
    return findValue(key, TYPE_INT32, value);
}

bool MetaDataBase::findInt64(uint32_t key, int64_t* value) const {
    return findValue(key, TYPE_INT64, value);
}

bool MetaDataBase::findFloat(uint32_t key, float* value) const {
    return findValue(key, TYPE_FLOAT, value);
}

bool MetaDataBase::findPointer(uint32_t key, void** value) const {
    return findValue(key, TYPE_POINTER, value);
}

bool MetaDataBase::findRect(uint32_t key, int32_t* left, int32_t* top, int32_t* right,
                            int32_t* bottom) const {
    Rect rect;
    if (!findValue(key, TYPE_RECT, &rect)) return false;
    *left = rect.left;
    *top = rect.top;
    *right = rect.right;
    *bottom = rect.bottom;
    return true;
}

String8 MetaDataBase::toString() const {
    String8 text;
    for (const auto& [key, item] : mItems) {
        if (!text.isEmpty()) text.append(", ");
        text.appendFormat("%s: ", codeText(key).c_str());
        int32_t int32 = 0;
        int64_t int64 = 0;
        float number = 0;
        Rect rect;
        const char* string = nullptr;
        if (findInt32(key, &int32)) {
            text.appendFormat("%d", int32);
        } else if (findInt64(key, &int64)) {
            text.appendFormat("%" PRId64, int64);
        } else if (findFloat(key, &number)) {
            text.appendFormat("%f", number);
        } else if (findCString(key, &string)) {
            text.appendFormat("'%s'", string);
        } else if (findValue(key, TYPE_RECT, &rect)) {
            text.appendFormat("[%d, %d, %d, %d]", rect.left, rect.top, rect.right, rect.bottom);
        } else {
            text.appendFormat("%s (%zu bytes)", codeText(item.type).c_str(), item.bytes.size());
        }
    }
    return text;
}

void MetaDataBase::dumpToLog() const {
    ALOGI("%s", toString().c_str());
}

}  // namespace android
