// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <stdio.h>
#include <sys/types.h>

#include <string>

#include "library/CallSequence.h"

namespace oxa::test {

// A child process that plays one sequence after another, this program itself: a player that aborts,
// crashes or hangs is seen from outside. After a finding another process goes on.
class SequenceProcess {
  public:
    // `clips`: as SequencePlayer's.
    explicit SequenceProcess(const std::string& clips);
    ~SequenceProcess();
    SequenceProcess(const SequenceProcess&) = delete;
    SequenceProcess& operator=(const SequenceProcess&) = delete;

    // What is wrong, empty: nothing.
    std::string play(const Sequence& sequence);

    // What the child does. Its arguments are the program's.
    static bool isChild(int argc, char** argv);
    static int runChild(char** argv);

  private:
    void start();
    // The name of the signal that ended it, if one did.
    std::string end();

    const std::string mClips;
    const std::string mErrors;
    pid_t mChild = -1;
    FILE* mLink = nullptr;  // its input and output; null: there is none
};

}  // namespace oxa::test
