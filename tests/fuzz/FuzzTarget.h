// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

// What every target defines: does something with any bytes. It ends the process when that shows a
// fault. The name is libFuzzer's.
extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

// Ends the process, which libFuzzer and the replay take for a finding.
#define FUZZ_CHECK(condition)                                                         \
    do {                                                                              \
        if (!(condition)) {                                                           \
            fprintf(stderr, "%s:%d: not true: %s\n", __FILE__, __LINE__, #condition); \
            abort();                                                                  \
        }                                                                             \
    } while (false)

namespace oxa::fuzz {

// Takes values from the front of an input; behind its end all are zero or empty.
class ByteReader {
  public:
    ByteReader(const uint8_t* data, size_t size) : mData(data), mSize(size) {}

    bool empty() const { return mPosition == mSize; }
    uint8_t byte() { return empty() ? 0 : mData[mPosition++]; }

    template <typename Integer>
    Integer integer() {
        uint64_t value = 0;
        for (size_t i = 0; i < sizeof(Integer); ++i)
            value = value << 8 | byte();
        return static_cast<Integer>(value);
    }

    // Up to the next line end or the end.
    std::string line() {
        std::string result;
        while (!empty()) {
            const char letter = static_cast<char>(byte());
            if (letter == '\n') break;
            result += letter;
        }
        return result;
    }

  private:
    const uint8_t* const mData;
    const size_t mSize;
    size_t mPosition = 0;
};

}  // namespace oxa::fuzz
