// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <string>

#include "oxa/jobs/Input.h"

namespace oxa::jobs {

constexpr char kStandardInput[] = "-";

// Why inputPath() has none for a name other than standard input's.
std::string whyNoPath(const std::string& name);

}  // namespace oxa::jobs
