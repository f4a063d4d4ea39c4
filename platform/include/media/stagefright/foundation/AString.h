// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stddef.h>
#include <sys/types.h>

#include <string>

namespace android {

class String8;

// A string of bytes with value semantics; always NUL-terminated, may contain NULs. A null
// `const char*` counts as the empty string and is logged. Ranges outside the string are fatal.
struct AString {
    AString();
    AString(const char* s);  // implicit by design
    AString(const char* s, size_t size);
    AString(const String8& from);  // implicit by design
    AString(const AString& from);
    AString(const AString& from, size_t offset, size_t n);
    ~AString();

    AString& operator=(const AString& from);
    void setTo(const char* s);
    void setTo(const char* s, size_t size);
    // Not of the string itself, which is fatal.
    void setTo(const AString& from, size_t offset, size_t n);

    size_t size() const { return mString.size(); }
    const char* c_str() const { return mString.c_str(); }
    bool empty() const { return mString.empty(); }
    void clear();

    // Removes white space at both ends.
    void trim();
    // From inside the string, also when nothing is erased.
    void erase(size_t start, size_t n);

    // Numbers in decimal, floating point with six digits, pointers in hexadecimal.
    void append(char c);
    void append(const char* s);
    void append(const char* s, size_t size);
    void append(const AString& from);
    void append(const AString& from, size_t offset, size_t n);
    void append(int x);
    void append(unsigned x);
    void append(long x);
    void append(unsigned long x);
    void append(long long x);
    void append(unsigned long long x);
    void append(float x);
    void append(double x);
    void append(void* x);

    void insert(const AString& from, size_t insertionPos);
    void insert(const char* from, size_t size, size_t insertionPos);

    // Index of the first occurrence at or after `start`, or -1. What lies behind a NUL is not
    // found.
    ssize_t find(const char* substring, size_t start = 0) const;

    // The characters as digits to the base 31.
    size_t hash() const;

    bool operator==(const AString& other) const;
    bool operator!=(const AString& other) const { return !(*this == other); }
    bool operator<(const AString& other) const { return compare(other) < 0; }
    bool operator>(const AString& other) const { return compare(other) > 0; }

    // As strcmp and strcasecmp.
    int compare(const AString& other) const;
    int compareIgnoreCase(const AString& other) const;

    bool equalsIgnoreCase(const AString& other) const;
    bool startsWith(const char* prefix) const;
    bool endsWith(const char* suffix) const;
    bool startsWithIgnoreCase(const char* prefix) const;
    bool endsWithIgnoreCase(const char* suffix) const;

    void tolower();

  private:
    std::string mString;
};

AString AStringPrintf(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace android
