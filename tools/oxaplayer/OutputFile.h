// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/types.h>

#include <memory>
#include <optional>
#include <string>

#include "ExitCode.h"
#include "files/FileDescriptor.h"

namespace oxaplayer {

// What a job writes. An ordinary file is either written under a temporary name beside its final one
// and takes that name when it is complete, so that under the final name there is never half a file;
// or in place, since what was recorded cannot be had again. A device, a named pipe and standard
// output are written as they are. One output at a time; calls come from one thread, except
// removeTemporary.
class OutputFile {
  public:
    OutputFile() = default;
    OutputFile(const OutputFile&) = delete;
    // An output that was neither finished nor kept is taken away.
    ~OutputFile();

    // Opens `path` ("-" is `standardOutput`, which stays the caller's). Without `force` a file that
    // exists is refused. Nothing when it is open; otherwise why not (exit 4).
    std::optional<Failure> open(const std::string& path, bool force, int standardOutput);

    // The same, but an ordinary file has its final name at once. One that it replaces is moved
    // aside until keep(), and comes back when this one is discarded before.
    std::optional<Failure> openInPlace(const std::string& path, bool force, int standardOutput);
    // Of a file in place: there is something in it that must not be lost. Harmless otherwise.
    void keep();
    bool isKept() const { return mInPlace && !mTemporary; }

    // Stays this object's; readable and writable for an ordinary file.
    int descriptor() const { return mDescriptor; }
    bool isSeekable() const;
    // How much is there; nothing where it has no size.
    std::optional<int64_t> bytes() const;

    // Makes the complete file durable and gives it its final name. Without force a file that has
    // taken that name meanwhile is not replaced: the complete one stays beside it (exit 4).
    std::optional<Failure> finish();
    // The same for a file that is shorter than asked: it takes the final name only if nothing is
    // there, force or not, and otherwise stays beside it.
    std::optional<Failure> keepShortened();
    // Takes the file away, nothing is left. Harmless when there is none.
    void discard();

    // As the user wrote it.
    const std::string& path() const { return mPath; }
    // Where what was written is now; empty for standard output and after discard.
    const std::string& currentName() const { return mCurrentName; }

    // For the last moment of the process, from any thread: removes the temporary file, or the one
    // in place that was not kept, if there is one.
    static void removeTemporary();
    // From now on a fatal assertion of the platform or the library does that, too, before it ends
    // the process.
    static void removeAtFatalError();

  private:
    std::optional<Failure> openAny(const std::string& path, bool force, int standardOutput);
    std::optional<Failure> openFile(bool force);
    std::optional<Failure> openTemporary();
    std::optional<Failure> createInPlace(bool force);
    std::optional<Failure> openDirectly(bool isPipe);
    std::optional<Failure> failure(const std::string& cause) const;
    bool takeFinalName(bool replace);
    std::optional<Failure> sync() const;

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

}  // namespace oxaplayer
