// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/RefBase.h>

namespace android {

// Protected content is not supported on Linux; codecs are configured without one.
struct ICrypto : public RefBase {};

}  // namespace android
