// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>

namespace oxa::jobs {

// What jobs take as the name of a media file: a path, "file://" with a path (percent-encoded), or
// "-": standard input, which is read to its end first and kept in a file without a name in TMPDIR
// meanwhile. Other URLs are refused.

// The path that a name means; nothing where it means none: standard input, another URL, or a
// "file://" of another computer or that is badly encoded.
std::optional<std::string> inputPath(const std::string& name);

}  // namespace oxa::jobs
