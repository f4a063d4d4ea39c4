// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/ProcessRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>

#include "support/Deadline.h"

namespace oxa::test {

namespace {

using std::chrono::duration_cast;
using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kPollMs = 5;
constexpr int kExecFailed = 127;

void closeEnd(int* end) {
    if (*end >= 0) close(*end);
    *end = -1;
}

void limitResource(int resource, int64_t value) {
    if (value < 0) return;
    const rlimit limit = {static_cast<rlim_t>(value), static_cast<rlim_t>(value)};
    setrlimit(static_cast<__rlimit_resource>(resource), &limit);
}

// Takes what there is; closes the end at the end of the file.
void drain(int* end, std::string* text) {
    std::array<char, 65536> block;
    while (*end >= 0) {
        const ssize_t got = read(*end, block.data(), block.size());
        if (got > 0) {
            text->append(block.data(), static_cast<size_t>(got));
        } else if (got == 0 || (errno != EAGAIN && errno != EINTR)) {
            closeEnd(end);
        } else {
            return;
        }
    }
}

}  // namespace

// How far the list of signals has been worked off.
struct ProcessRunner::SignalPlan {
    size_t next = 0;
    steady_clock::time_point last = steady_clock::now();
    size_t seenOut = 0;
    size_t seenErr = 0;
};

struct ProcessRunner::Pipes {
    // [0] is read, [1] is written.
    int in[2] = {-1, -1};
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};

    bool open() {
        return pipe2(in, O_CLOEXEC) == 0 && pipe2(out, O_CLOEXEC) == 0 &&
               pipe2(err, O_CLOEXEC) == 0;
    }
    void keepParentEnds() {
        closeEnd(&in[0]);
        closeEnd(&out[1]);
        closeEnd(&err[1]);
        for (int end : {in[1], out[0], err[0]})
            fcntl(end, F_SETFL, O_NONBLOCK);
    }
    ~Pipes() {
        for (int* ends : {in, out, err}) {
            closeEnd(&ends[0]);
            closeEnd(&ends[1]);
        }
    }
};

ProcessRunner& ProcessRunner::setTimeLimit(milliseconds limit) {
    mTimeLimit = limit;
    return *this;
}

ProcessRunner& ProcessRunner::setInput(std::string input) {
    mInput = std::move(input);
    return *this;
}

ProcessRunner& ProcessRunner::setWorkingDirectory(std::string directory) {
    mDirectory = std::move(directory);
    return *this;
}

ProcessRunner& ProcessRunner::setEnvironment(const std::string& name, const std::string& value) {
    mEnvironment.emplace_back(name, value);
    return *this;
}

ProcessRunner& ProcessRunner::leavesThreads() {
    const char* options = getenv("TSAN_OPTIONS");
    if (options == nullptr) return *this;
    return setEnvironment("TSAN_OPTIONS", std::string(options) + ":report_thread_leaks=0");
}

ProcessRunner& ProcessRunner::setFileSizeLimit(int64_t bytes) {
    mFileSizeLimit = bytes;
    return *this;
}

ProcessRunner& ProcessRunner::setMemoryLimit(int64_t bytes) {
    mMemoryLimit = bytes;
    return *this;
}

ProcessRunner& ProcessRunner::closeOutputAfter(int64_t bytes) {
    mOutputLimit = bytes;
    return *this;
}

ProcessRunner& ProcessRunner::signalAfter(int signal, milliseconds delay) {
    mSignals.push_back({signal, delay, ""});
    return *this;
}

ProcessRunner& ProcessRunner::signalOnText(int signal, std::string text) {
    mSignals.push_back({signal, milliseconds(0), std::move(text)});
    return *this;
}

ProcessResult ProcessRunner::run() {
    ProcessResult result;
    Pipes pipes;
    if (mCommand.empty() || !pipes.open()) return result;
    const auto start = steady_clock::now();
    const pid_t child = fork();
    if (child < 0) return result;
    if (child == 0) runChild(pipes);
    setpgid(child, child);  // also done by the child: whoever comes first
    pipes.keepParentEnds();
    converse(child, &pipes, &result);
    result.duration = duration_cast<milliseconds>(steady_clock::now() - start);
    return result;
}

void ProcessRunner::runChild(const Pipes& pipes) {
    setpgid(0, 0);
    dup2(pipes.in[0], STDIN_FILENO);
    dup2(pipes.out[1], STDOUT_FILENO);
    dup2(pipes.err[1], STDERR_FILENO);
    limitResource(RLIMIT_FSIZE, mFileSizeLimit);
    limitResource(RLIMIT_AS, mMemoryLimit);
    for (const auto& [name, value] : mEnvironment)
        setenv(name.c_str(), value.c_str(), 1);
    // What a test program ignores, its children would otherwise ignore as well.
    for (int number : {SIGINT, SIGTERM, SIGPIPE, SIGXFSZ, SIGHUP})
        signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    if (mDirectory.empty() || chdir(mDirectory.c_str()) == 0) {
        std::vector<char*> arguments;
        for (const std::string& argument : mCommand) {
            arguments.push_back(const_cast<char*>(argument.c_str()));
        }
        arguments.push_back(nullptr);
        execvp(arguments[0], arguments.data());
    }
    fprintf(stderr, "cannot run %s: %m\n", mCommand[0].c_str());
    _exit(kExecFailed);
}

void ProcessRunner::converse(pid_t child, Pipes* pipes, ProcessResult* result) {
    const Deadline deadline(mTimeLimit);
    // A test program must survive a child that does not read its input.
    struct sigaction ignore = {};
    struct sigaction former = {};
    ignore.sa_handler = SIG_IGN;
    sigaction(SIGPIPE, &ignore, &former);
    size_t written = 0;
    SignalPlan plan;
    for (bool running = true; running;) {
        pollfd ends[] = {{pipes->out[0], POLLIN, 0}, {pipes->err[0], POLLIN, 0}};
        poll(ends, 2, kPollMs);
        writeInput(pipes, &written);
        // Asked before the pipes are read: what an ended program has written is all there.
        running = !hasEnded(child, result);
        drain(&pipes->out[0], &result->out);
        drain(&pipes->err[0], &result->err);
        if (mOutputLimit >= 0 && static_cast<int64_t>(result->out.size()) >= mOutputLimit) {
            closeEnd(&pipes->out[0]);
        }
        if (!running) break;
        if (deadline.passed()) {
            result->timedOut = true;
            kill(-child, SIGKILL);
        } else {
            sendDueSignal(child, *result, &plan);
        }
    }
    sigaction(SIGPIPE, &former, nullptr);
}

void ProcessRunner::writeInput(Pipes* pipes, size_t* written) const {
    if (pipes->in[1] < 0) return;
    const ssize_t put = write(pipes->in[1], mInput.data() + *written, mInput.size() - *written);
    if (put > 0) *written += static_cast<size_t>(put);
    const bool broken = put < 0 && errno != EAGAIN && errno != EINTR;
    if (*written == mInput.size() || broken) closeEnd(&pipes->in[1]);
}

bool ProcessRunner::hasEnded(pid_t child, ProcessResult* result) {
    int status = 0;
    rusage usage = {};
    if (wait4(child, &status, WNOHANG, &usage) == 0) return false;
    if (WIFEXITED(status)) result->exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result->signal = WTERMSIG(status);
    result->maxResidentKiB = usage.ru_maxrss;
    return true;
}

void ProcessRunner::sendDueSignal(pid_t child, const ProcessResult& result,
                                  SignalPlan* plan) const {
    if (plan->next >= mSignals.size()) return;
    const PlannedSignal& planned = mSignals[plan->next];
    const bool due =
            planned.text.empty()
                    ? steady_clock::now() - plan->last >= planned.delay
                    : result.out.find(planned.text, plan->seenOut) != std::string::npos ||
                              result.err.find(planned.text, plan->seenErr) != std::string::npos;
    if (!due) return;
    kill(-child, planned.signal);
    *plan = {plan->next + 1, steady_clock::now(), result.out.size(), result.err.size()};
}

ProcessResult runOrDie(const std::vector<std::string>& command) {
    ProcessResult result = ProcessRunner(command).run();
    if (result.ok()) return result;
    for (const std::string& argument : command)
        fprintf(stderr, "%s ", argument.c_str());
    fprintf(stderr, "\nended with %d, signal %d:\n%s\n", result.exitCode, result.signal,
            result.err.c_str());
    abort();
}

}  // namespace oxa::test
