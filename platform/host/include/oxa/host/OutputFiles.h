// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/OutputEnd.h>

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
    std::function<int()> next = nullptr;
    // A file is whole, on the disk and closed; in the order in which they began, with times as they
    // are in the file. One that failed is told as a fault instead, and one without a sample not at
    // all. On a thread of its own, or for the last one on that which stops the writer.
    std::function<void(const OutputFigures&)> finished = nullptr;

    // Where it is given, the writer's own output stays empty. While this says no, no file is
    // written, and the last keepUs stay in memory, or rather all from the last key frame before
    // them; when it says yes, next() gives a file that begins with those, and the file ends when it
    // says no again. Asked with each sample, by the writer's threads, one at a time.
    std::function<bool()> isWanted = nullptr;
    int64_t keepUs = 0;
    // With isWanted, whose files setOutputLength() limits together: they have become longer by so
    // many microseconds, as long as the one of their tracks that has come furthest; and all tracks
    // are as long as they may become. On the writer's threads, one at a time.
    std::function<void(int64_t us)> grown = nullptr;
    std::function<void()> full = nullptr;
};

// Counts for writers that begin in the caller's session (oxa/host/Session.h) from now on.
// Thread-safe.
void setOutputFiles(const OutputFiles& files);
OutputFiles outputFiles();

}  // namespace oxa::host
