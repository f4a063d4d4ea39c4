// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>

#include <cstdint>
#include <string>

namespace oxa::jobs {

// A platform status for people: "No space left on device".
std::string statusText(android::status_t status);

// A time for people: "1.250 s".
std::string secondsText(int64_t us);

}  // namespace oxa::jobs
