// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "MetaData"

#include <inttypes.h>
#include <log/log.h>
#include <media/stagefright/MetaDataBase.h>
#include <string.h>

#include "foundation/HexDump.h"

namespace android {

namespace {

struct Rect {
    int32_t left, top, right, bottom;
};

// Larger items show only their size in a text.
constexpr size_t kMaxDumpedBytes = 48;

// Up to the first NUL.
String8 codeText(uint32_t code) {
    const char text[] = {static_cast<char>(code >> 24), static_cast<char>(code >> 16),
                         static_cast<char>(code >> 8), static_cast<char>(code), '\0'};
    return String8(text);
}

template <typename T>
T valueAt(const void* data) {
    T value;
    memcpy(&value, data, sizeof(value));
    return value;
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
    *value = valueAt<T>(found->second.bytes.data());
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

String8 MetaDataBase::itemText(const Item& item) const {
    const void* const data = item.bytes.data();
    switch (item.type) {
        case TYPE_NONE:
            return String8::format("no type, size %zu)", item.bytes.size());
        case TYPE_C_STRING:
            return String8::format("(char*) %s", item.bytes.c_str());
        case TYPE_INT32:
            return String8::format("(int32_t) %d", valueAt<int32_t>(data));
        case TYPE_INT64:
            return String8::format("(int64_t) %" PRId64, valueAt<int64_t>(data));
        case TYPE_FLOAT:
            return String8::format("(float) %f", valueAt<float>(data));
        case TYPE_POINTER:
            return String8::format("(void*) 0x%" PRIxPTR, valueAt<uintptr_t>(data));
        case TYPE_RECT: {
            const auto rect = valueAt<Rect>(data);
            return String8::format("Rect(%d, %d, %d, %d)", rect.left, rect.top, rect.right,
                                   rect.bottom);
        }
        default: {
            const size_t size = item.bytes.size();
            String8 text = String8::format("(unknown type %d, size %zu)",
                                           static_cast<int32_t>(item.type), size);
            if (size > kMaxDumpedBytes) return text;
            text.append("\n");
            text.append(hexDump(data, size, 0).c_str());
            return text;
        }
    }
}

String8 MetaDataBase::toString() const {
    String8 text;
    for (auto item = mItems.rbegin(); item != mItems.rend(); ++item) {
        if (item != mItems.rbegin()) text.append(", ");
        text.append(codeText(item->first) + ": " + itemText(item->second));
    }
    return text;
}

void MetaDataBase::dumpToLog() const {
    for (auto item = mItems.rbegin(); item != mItems.rend(); ++item)
        ALOGI("%s: %s", codeText(item->first).c_str(), itemText(item->second).c_str());
}

}  // namespace android
