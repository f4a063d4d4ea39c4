// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

namespace oxa::test {

// What this process has allocated and not freed, in bytes.
int64_t allocatedBytes();
// Its resident memory, in bytes.
int64_t residentBytes();

}  // namespace oxa::test
