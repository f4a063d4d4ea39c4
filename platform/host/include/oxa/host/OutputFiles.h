// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <functional>

namespace oxa::host {

// A recording in several files, one behind the other. Each begins with a key frame (of sound alone,
// with any sample) at time 0 and can be played by itself; together they hold every sample once: a
// sample is in the file in whose time it begins.
struct OutputFiles {
    // Every so many microseconds a new file begins, with the first key frame that is due. 0: all is
    // one file.
    int64_t lengthUs = 0;
    // Gives the descriptor of the next file, which stays the caller's and is duplicated; negative:
    // there is none now, and what is recorded goes on in the same file for another length. Called
    // on a thread of the writer, which waits for the answer and must not be stopped in it.
    std::function<int()> next;
    // A file that is not the last one is whole, on the disk and closed, in the order in which they
    // began. One that failed is told as a fault instead. On a thread of its own.
    std::function<void()> finished;
};

// Counts for writers that begin in the caller's session (oxa/host/Session.h) from now on.
// Thread-safe.
void setOutputFiles(const OutputFiles& files);
OutputFiles outputFiles();

}  // namespace oxa::host
