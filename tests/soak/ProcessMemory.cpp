// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "soak/ProcessMemory.h"

#include <malloc.h>
#include <unistd.h>

#include <fstream>

namespace oxa::test {

int64_t allocatedBytes() {
    const struct mallinfo2 info = mallinfo2();
    return static_cast<int64_t>(info.uordblks + info.hblkhd);
}

int64_t residentBytes() {
    int64_t totalPages = 0;
    int64_t residentPages = 0;
    std::ifstream("/proc/self/statm") >> totalPages >> residentPages;
    return residentPages * sysconf(_SC_PAGESIZE);
}

}  // namespace oxa::test
