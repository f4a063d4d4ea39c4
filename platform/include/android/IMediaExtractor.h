// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace android {

class IMediaExtractor {
  public:
    // Who asked for an extractor; only statistics would look at it.
    enum class EntryPoint {
        SDK = 1,
        NDK_WITH_JVM = 2,
        NDK_NO_JVM = 3,
        OTHER = 4,
    };
};

}  // namespace android
