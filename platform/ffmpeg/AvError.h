// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

namespace android {

// What an AVERROR means, in one line for people.
std::string avErrorText(int averror);

}  // namespace android
