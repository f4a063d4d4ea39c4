// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

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
