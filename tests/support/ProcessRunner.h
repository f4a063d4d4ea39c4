// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <sys/resource.h>
#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace oxa::test {

struct ProcessResult {
    int exitCode = -1;  // -1 when it did not exit by itself
    int signal = 0;     // the signal that ended it, 0 if none
    bool timedOut = false;
    std::string out;
    std::string err;
    std::chrono::milliseconds duration{0};
    int64_t maxResidentKiB = 0;

    bool ok() const { return exitCode == 0; }
};

// Runs one program and waits for its end. Standard input is empty; standard output and error are
// captured. A program that outlives its time limit is killed. It gets a process group of
// its own, as if started in a terminal, so that signals reach its children too.
class ProcessRunner {
  public:
    // The first element is the program, looked up in PATH.
    explicit ProcessRunner(std::vector<std::string> command) : mCommand(std::move(command)) {}

    ProcessRunner& setTimeLimit(std::chrono::milliseconds limit);
    ProcessRunner& setEnvironment(const std::string& name, const std::string& value);
    // For a program that leaves hanging threads alone by design: the thread sanitizer, if it is
    // there, does not complain of them.
    ProcessRunner& leavesThreads();
    // Largest file that it may write (RLIMIT_FSIZE).
    ProcessRunner& setFileSizeLimit(int64_t bytes);
    // Largest address space (RLIMIT_AS).
    ProcessRunner& setMemoryLimit(int64_t bytes);
    // Closes the reading end of its standard output after so many bytes: a pipe that breaks.
    ProcessRunner& closeOutputAfter(int64_t bytes);

    // Sends `signal` so long after the former signal of this list, or after the start.
    ProcessRunner& signalAfter(int signal, std::chrono::milliseconds delay);
    // Sends `signal` once `text` was written to standard output or error (counted from the former
    // signal of this list): preferred to a delay, since it does not depend on the machine's speed.
    ProcessRunner& signalOnText(int signal, std::string text);

    ProcessResult run();

  private:
    struct PlannedSignal {
        int signal;
        std::chrono::milliseconds delay;
        std::string text;  // empty: after the delay
    };

    void runChild(int out, int err);
    void converse(pid_t child, int* out, int* err, ProcessResult* result) const;

    const std::vector<std::string> mCommand;
    std::chrono::milliseconds mTimeLimit{120000};
    std::vector<std::pair<std::string, std::string>> mEnvironment;
    std::vector<std::pair<__rlimit_resource, rlim_t>> mLimits;
    int64_t mOutputLimit = -1;
    std::vector<PlannedSignal> mSignals;
};

// Runs a command that must succeed; aborts the test program with its output if it does not.
ProcessResult runOrDie(const std::vector<std::string>& command);

std::vector<std::string> joined(std::vector<std::string> first,
                                const std::vector<std::string>& more);
// The words of a text, for arguments that have no spaces in them.
std::vector<std::string> words(const std::string& text);
// The `ffmpeg` command, which replaces its output and says nothing but errors.
std::vector<std::string> ffmpeg(const std::vector<std::string>& arguments);

}  // namespace oxa::test
