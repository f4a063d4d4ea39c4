// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

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

// Runs one program and waits for its end. Standard input is empty unless set; standard output and
// error are captured. A program that outlives its time limit is killed. It gets a process group of
// its own, as if started in a terminal, so that signals reach its children too.
class ProcessRunner {
  public:
    // The first element is the program, looked up in PATH.
    explicit ProcessRunner(std::vector<std::string> command) : mCommand(std::move(command)) {}

    ProcessRunner& setTimeLimit(std::chrono::milliseconds limit);
    ProcessRunner& setInput(std::string input);
    ProcessRunner& setWorkingDirectory(std::string directory);
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
    struct Pipes;
    struct SignalPlan;

    void runChild(const Pipes& pipes);
    void converse(pid_t child, Pipes* pipes, ProcessResult* result);
    void writeInput(Pipes* pipes, size_t* written) const;
    static bool hasEnded(pid_t child, ProcessResult* result);
    void sendDueSignal(pid_t child, const ProcessResult& result, SignalPlan* plan) const;

    const std::vector<std::string> mCommand;
    std::chrono::milliseconds mTimeLimit{120000};
    std::string mInput;
    std::string mDirectory;
    std::vector<std::pair<std::string, std::string>> mEnvironment;
    int64_t mFileSizeLimit = -1;
    int64_t mMemoryLimit = -1;
    int64_t mOutputLimit = -1;
    std::vector<PlannedSignal> mSignals;
};

// Runs a command that must succeed; aborts the test program with its output if it does not.
ProcessResult runOrDie(const std::vector<std::string>& command);

}  // namespace oxa::test
