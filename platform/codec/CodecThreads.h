// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>

namespace android {

// How many threads work on pictures of this size: the processors, `most` at most, and as many as
// the session allows. Tiny pictures take less time than the threads would need to hand them over.
int codecThreads(int32_t width, int32_t height, unsigned most);

}  // namespace android
