// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AString.h>
#include <stddef.h>
#include <stdint.h>

namespace android {

// Lines of 16 bytes, each behind `indent` blanks: offset, bytes in two groups, characters.
AString hexDump(const void* data, size_t size, int32_t indent);

}  // namespace android
