// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AString"

#include <media/stagefright/foundation/AString.h>

#include <ctype.h>
#include <inttypes.h>
#include <media/stagefright/foundation/ADebug.h>
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>
#include <utils/String8.h>

#include <algorithm>
#include <numeric>
#include <utility>

namespace android {

namespace {

const char* orEmpty(const char* s) {
    if (s != nullptr) return s;
    ALOGW("a null pointer is taken as the empty string");
    return "";
}

bool isSpace(char c) {
    return isspace(static_cast<unsigned char>(c)) != 0;
}

}  // namespace

AString::AString() = default;
AString::AString(const char* s) : mString(orEmpty(s)) {}
AString::AString(const char* s, size_t size) {
    setTo(s, size);
}
AString::AString(const String8& from) : mString(from.c_str(), from.length()) {}
AString::AString(const AString& from) = default;
AString::AString(const AString& from, size_t offset, size_t n) {
    setTo(from, offset, n);
}
AString::~AString() = default;

AString& AString::operator=(const AString& from) = default;

void AString::setTo(const char* s) {
    mString = orEmpty(s);
}

void AString::setTo(const char* s, size_t size) {
    if (s == nullptr) {
        mString = orEmpty(s);
    } else {
        mString.assign(s, size);
    }
}

void AString::setTo(const AString& from, size_t offset, size_t n) {
    CHECK(&from != this);
    CHECK_LE(offset, from.size());
    CHECK_LE(n, from.size() - offset);
    mString = from.mString.substr(offset, n);
}

void AString::clear() {
    mString.clear();
}

void AString::trim() {
    auto first = std::find_if_not(mString.begin(), mString.end(), isSpace);
    auto last = std::find_if_not(mString.rbegin(), mString.rend(), isSpace).base();
    mString = first < last ? std::string(first, last) : std::string();
}

void AString::erase(size_t start, size_t n) {
    CHECK_LT(start, size());
    CHECK_LE(n, size() - start);
    mString.erase(start, n);
}

void AString::append(char c) {
    mString.push_back(c);
}

void AString::append(const char* s) {
    mString.append(orEmpty(s));
}

void AString::append(const char* s, size_t size) {
    if (size > 0) mString.append(s, size);
}

void AString::append(const AString& from) {
    mString.append(from.mString);
}

void AString::append(const AString& from, size_t offset, size_t n) {
    append(AString(from, offset, n));
}

void AString::append(int x) {
    mString.append(std::to_string(x));
}

void AString::append(unsigned x) {
    mString.append(std::to_string(x));
}

void AString::append(long x) {
    mString.append(std::to_string(x));
}

void AString::append(unsigned long x) {
    mString.append(std::to_string(x));
}

void AString::append(long long x) {
    mString.append(std::to_string(x));
}

void AString::append(unsigned long long x) {
    mString.append(std::to_string(x));
}

void AString::append(float x) {
    mString.append(std::to_string(x));
}

void AString::append(double x) {
    mString.append(std::to_string(x));
}

void AString::append(void* x) {
    append(AStringPrintf("0x%" PRIxPTR, reinterpret_cast<uintptr_t>(x)));
}

void AString::insert(const AString& from, size_t insertionPos) {
    insert(from.c_str(), from.size(), insertionPos);
}

void AString::insert(const char* from, size_t size, size_t insertionPos) {
    CHECK_LE(insertionPos, mString.size());
    mString.insert(insertionPos, from, size);
}

ssize_t AString::find(const char* substring, size_t start) const {
    CHECK_LE(start, size());
    const char* const found = strstr(c_str() + start, substring);
    return found == nullptr ? -1 : found - c_str();
}

size_t AString::hash() const {
    return std::accumulate(mString.begin(), mString.end(), size_t{0},
                           [](size_t hash, char c) { return hash * 31 + static_cast<size_t>(c); });
}

bool AString::operator==(const AString& other) const {
    return mString == other.mString;
}

int AString::compare(const AString& other) const {
    return strcmp(c_str(), other.c_str());
}

int AString::compareIgnoreCase(const AString& other) const {
    return strcasecmp(c_str(), other.c_str());
}

bool AString::equalsIgnoreCase(const AString& other) const {
    return compareIgnoreCase(other) == 0;
}

bool AString::startsWith(const char* prefix) const {
    return strncmp(c_str(), prefix, strlen(prefix)) == 0;
}

bool AString::endsWith(const char* suffix) const {
    size_t length = strlen(suffix);
    return length <= size() && strcmp(c_str() + size() - length, suffix) == 0;
}

bool AString::startsWithIgnoreCase(const char* prefix) const {
    return strncasecmp(c_str(), prefix, strlen(prefix)) == 0;
}

bool AString::endsWithIgnoreCase(const char* suffix) const {
    size_t length = strlen(suffix);
    return length <= size() && strcasecmp(c_str() + size() - length, suffix) == 0;
}

void AString::tolower() {
    std::transform(mString.begin(), mString.end(), mString.begin(),
                   [](unsigned char c) { return static_cast<char>(::tolower(c)); });
}

AString AStringPrintf(const char* format, ...) {
    va_list args;
    va_start(args, format);
    char* text = nullptr;
    int length = vasprintf(&text, format, args);
    va_end(args);
    if (length < 0) return AString();
    AString result(text, static_cast<size_t>(length));
    free(text);
    return result;
}

}  // namespace android
