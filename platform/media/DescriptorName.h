// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace android {

// What a descriptor refers to, for people: its path, else "fd N".
std::string descriptorName(int fd);

}  // namespace android
