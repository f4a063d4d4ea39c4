// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <string>

#include "files/FileDescriptor.h"

namespace oxa::jobs {

// All of standard input as something that can be read at any place: itself if it is a file, of
// which nothing was read yet, otherwise a copy in a file without a name. Blocks until its end;
// `cancelled` (may be null) ends that. Not open, with the reason in `error`, when it fails.
FileDescriptor spoolStandardInput(const std::atomic<bool>* cancelled, std::string* error);

}  // namespace oxa::jobs
