// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/ALooperRoster.h>

namespace android {

// The roster of this process.
extern ALooperRoster& gLooperRoster;

}  // namespace android
