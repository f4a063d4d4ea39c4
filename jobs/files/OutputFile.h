// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <atomic>
#include <optional>
#include <string>

#include "files/FileDescriptor.h"
#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// What a job writes. An ordinary file is either written under a temporary name beside its final one
// and takes that name when it is complete, so that under the final name there is never half a file;
// or in place, since what was recorded cannot be had again. A device, a named pipe and standard
// output are written as they are. Calls come from one thread, except removeAll.
class OutputFile {
  public:
    // `cancelled` (may be null; outlives the object) ends the wait for the reader of a named pipe.
    explicit OutputFile(const std::atomic<bool>* cancelled = nullptr) : mCancelled(cancelled) {}
    OutputFile(const OutputFile&) = delete;
    // An output that was neither finished nor kept is taken away.
    ~OutputFile();

    // Opens `path`, or takes `descriptor` if that is not negative: it stays the caller's, and
    // `path` is its name in texts. Without `force` a file that exists is refused. Nothing when it
    // is open; otherwise why not (kOutputExists, kOutput, kCancelled).
    std::optional<Failure> open(const std::string& path, bool force, int descriptor);

    // The same, but an ordinary file has its final name at once. One that it replaces is moved
    // aside until keep(), and comes back when this one is discarded before.
    std::optional<Failure> openInPlace(const std::string& path, bool force, int descriptor);
    // Of a file in place: there is something in it that must not be lost. Harmless otherwise.
    void keep();
    bool isKept() const { return mInPlace && !mTemporary; }

    // Stays this object's; readable and writable for an ordinary file.
    int descriptor() const { return mDescriptor; }
    bool isSeekable() const;
    // How much is there; nothing where it has no size.
    std::optional<int64_t> bytes() const;

    // Makes the complete file durable and gives it its final name. Without force a file that has
    // taken that name meanwhile is not replaced: the complete one stays beside it (kOutput).
    std::optional<Failure> finish();
    // The same for a file that is shorter than asked: it takes the final name only if nothing is
    // there, force or not, and otherwise stays beside it.
    std::optional<Failure> keepShortened();
    // Takes the file away, nothing is left. Harmless when there is none.
    void discard();

    // As the user wrote it.
    const std::string& path() const { return mPath; }
    // Where what was written is now; the given one for a descriptor, empty after discard.
    const std::string& currentName() const { return mCurrentName; }

    // For the last moment of the process, from any thread: removes all temporary files, and those
    // in place that were not kept. `forGood`: none can be opened any more.
    static void removeAll(bool forGood);

  private:
    std::optional<Failure> openAny(const std::string& path, bool force, int descriptor);
    std::optional<Failure> openFile(bool force);
    std::optional<Failure> openTemporary();
    std::optional<Failure> createInPlace(bool force);
    std::optional<Failure> openDirectly(bool isPipe);
    std::optional<Failure> failure(const std::string& cause) const;
    bool takeFinalName(bool replace);
    std::optional<Failure> sync() const;

    const std::atomic<bool>* const mCancelled;
    std::string mPath;
    std::string mFinalName;  // mPath, through symbolic links when it replaces a file
    std::string mCurrentName;
    FileDescriptor mOwned;
    int mDescriptor = -1;
    bool mForce = false;
    bool mInPlace = false;
    bool mTemporary = false;  // under a name that is not the final one, or in place and not kept
};

// Name and pattern of a temporary file beside `path`: "film.part-XXXXXX.mp4" for "film.mp4".
std::string temporaryPattern(const std::string& path, int* suffixLength,
                             const std::string& mark = ".part-XXXXXX");

// The file that a symbolic link leads to, or `path` itself.
std::string resolvedPath(const std::string& path);

// Gives a file another name in its file system, durably; one that is there only if it is to be
// replaced. False, with errno set, when it cannot.
bool moveFile(const std::string& from, const std::string& to, bool replace);

}  // namespace oxa::jobs
