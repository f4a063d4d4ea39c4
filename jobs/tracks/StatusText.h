// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>

#include <string>

namespace oxa::jobs {

// A platform status for people: "No space left on device".
std::string statusText(android::status_t status);

}  // namespace oxa::jobs
