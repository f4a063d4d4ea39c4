// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <optional>
#include <string>
#include <vector>

#include "files/FileDescriptor.h"
#include "oxa/jobs/Result.h"

namespace oxa::jobs {

// The folder "OUTPUT.parts" in which a film's parts are kept until the film has its name. At any
// moment the process may end: a file in it that has its name is complete, and the list of parts
// (PartList) is there before any of them. One process at a time has it.
//
// The film grows in it, too, so that taking its name is one step. From then on the list has another
// name, so that a process that goes on knows that nothing is left to do but to clean up.
class PartFolder {
  public:
    // `output` is the film's name, which it takes in place of another file only if it may.
    PartFolder(std::string output, bool mayReplace);
    PartFolder(const PartFolder&) = delete;
    // The folder stays if there is a complete part in it.
    ~PartFolder();

    // Makes it if it is not there, and locks it. Nothing, or why it cannot be used (kOutput,
    // kOutputExists, kOptions).
    std::optional<Failure> open();
    // The list of parts as it was left; nothing in a new folder.
    const std::optional<std::string>& list() const { return mList; }
    // Whether the film has its name already, and only the folder is left.
    bool isOver() const { return mIsOver; }

    // Writes the list of a new folder.
    std::optional<Failure> begin(const std::string& list);

    const std::string& path() const { return mPath; }
    std::string pathOf(const std::string& name) const { return mPath + "/" + name; }
    bool has(const std::string& name) const;
    // What was written as `work` is complete, on the disk, and has this name from now on.
    std::optional<Failure> keep(const std::string& work, const std::string& name);
    // Gives the complete film `name` its own name, and takes the folder away.
    std::optional<Failure> finish(const std::string& name);
    // Takes the folder away with all that is in it.
    void remove();

  private:
    std::optional<Failure> lock();
    std::optional<Failure> failure(const std::string& cause) const;
    std::optional<Failure> refuseFilm() const;
    static bool hasFilm(const std::vector<std::string>& all);
    std::vector<std::string> names() const;
    void removeWork() const;

    const std::string mOutput;
    const std::string mPath;
    const bool mMayReplace;
    FileDescriptor mFolder;
    std::optional<std::string> mList;
    bool mIsOver = false;
    bool mIsForeign = false;
};

}  // namespace oxa::jobs
