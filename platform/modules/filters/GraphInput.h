// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "live/LiveInput.h"

namespace android {

// Null, with the reason in `error`.
std::unique_ptr<LiveInput> openGraphInput(const LiveSource& source, const LiveOptions& options,
                                          std::string* error);

}  // namespace android
