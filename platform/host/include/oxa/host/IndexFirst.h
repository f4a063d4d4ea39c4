// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

namespace oxa::host {

// Moves the index of a complete MP4 file, which is written behind its samples, in front of them, so
// that a player that gets the file bit by bit can begin at once. Reads and writes all of it: blocks
// for that long. The descriptor, which can be read and written, stays the caller's. 0, or an errno:
// then the file is spoilt, unless that is EINVAL: it is no file with its index at the end.
int moveIndexToFront(int descriptor);

}  // namespace oxa::host
