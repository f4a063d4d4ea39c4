// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/ProcessRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <sstream>

#include "support/Deadline.h"

namespace oxa::test {

namespace {

using std::chrono::milliseconds;
using std::chrono::steady_clock;

constexpr int kPollMs = 5;
constexpr int kExecFailed = 127;

void closeEnd(int* end) {
    if (*end >= 0) close(*end);
    *end = -1;
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

ProcessRunner& ProcessRunner::setTimeLimit(milliseconds limit) {
    mTimeLimit = limit;
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
    mLimits.emplace_back(RLIMIT_FSIZE, bytes);
    return *this;
}

ProcessRunner& ProcessRunner::setMemoryLimit(int64_t bytes) {
    mLimits.emplace_back(RLIMIT_AS, bytes);
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
    int out[2] = {-1, -1};
    int err[2] = {-1, -1};
    int untilExec[2] = {-1, -1};
    const auto start = steady_clock::now();
    for (int(*ends)[2] : {&out, &err, &untilExec}) {
        if (pipe2(*ends, O_CLOEXEC) != 0) return result;
    }
    const pid_t child = fork();
    if (child == 0) runChild(out[1], err[1]);
    closeEnd(&out[1]);
    closeEnd(&err[1]);
    closeEnd(&untilExec[1]);
    // A signal that came before would meet what this process ignores.
    char none;
    while (read(untilExec[0], &none, 1) < 0 && errno == EINTR) {
    }
    closeEnd(&untilExec[0]);
    if (child > 0) {
        setpgid(child, child);  // also done by the child: whoever comes first
        converse(child, &out[0], &err[0], &result);
    }
    closeEnd(&out[0]);
    closeEnd(&err[0]);
    result.duration = std::chrono::duration_cast<milliseconds>(steady_clock::now() - start);
    return result;
}

void ProcessRunner::runChild(int out, int err) {
    setpgid(0, 0);
    dup2(open("/dev/null", O_RDONLY | O_CLOEXEC), STDIN_FILENO);
    dup2(out, STDOUT_FILENO);
    dup2(err, STDERR_FILENO);
    for (const auto& [resource, bytes] : mLimits) {
        const rlimit limit = {bytes, bytes};
        setrlimit(resource, &limit);
    }
    for (const auto& [name, value] : mEnvironment)
        setenv(name.c_str(), value.c_str(), 1);
    // What a test program ignores, its children would otherwise ignore as well.
    for (int number : {SIGINT, SIGTERM, SIGPIPE, SIGXFSZ, SIGHUP})
        signal(number, SIG_DFL);
    sigset_t none;
    sigemptyset(&none);
    sigprocmask(SIG_SETMASK, &none, nullptr);
    std::vector<char*> arguments;
    for (const std::string& argument : mCommand)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    fprintf(stderr, "cannot run %s: %m\n", mCommand[0].c_str());
    _exit(kExecFailed);
}

void ProcessRunner::converse(pid_t child, int* out, int* err, ProcessResult* result) const {
    const Deadline deadline(mTimeLimit);
    auto planned = mSignals.begin();
    auto last = steady_clock::now();
    size_t seenOut = 0;
    size_t seenErr = 0;
    const auto isSignalDue = [&] {
        if (planned == mSignals.end()) return false;
        if (planned->text.empty()) return steady_clock::now() - last >= planned->delay;
        return result->out.find(planned->text, seenOut) != std::string::npos ||
               result->err.find(planned->text, seenErr) != std::string::npos;
    };
    for (int end : {*out, *err})
        fcntl(end, F_SETFL, O_NONBLOCK);
    int status = 0;
    rusage usage = {};
    for (bool running = true; running;) {
        pollfd ends[] = {{*out, POLLIN, 0}, {*err, POLLIN, 0}};
        poll(ends, 2, kPollMs);
        // Asked before the pipes are read: what an ended program has written is all there.
        running = wait4(child, &status, WNOHANG, &usage) == 0;
        drain(out, &result->out);
        drain(err, &result->err);
        if (mOutputLimit >= 0 && static_cast<int64_t>(result->out.size()) >= mOutputLimit) {
            closeEnd(out);
        }
        if (!running) break;
        if (deadline.passed()) {
            result->timedOut = true;
            kill(-child, SIGKILL);
        } else if (isSignalDue()) {
            kill(-child, planned++->signal);
            last = steady_clock::now();
            seenOut = result->out.size();
            seenErr = result->err.size();
        }
    }
    if (WIFEXITED(status)) result->exitCode = WEXITSTATUS(status);
    if (WIFSIGNALED(status)) result->signal = WTERMSIG(status);
    result->maxResidentKiB = usage.ru_maxrss;
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

std::vector<std::string> joined(std::vector<std::string> first,
                                const std::vector<std::string>& more) {
    first.insert(first.end(), more.begin(), more.end());
    return first;
}

std::vector<std::string> words(const std::string& text) {
    std::istringstream stream(text);
    return {std::istream_iterator<std::string>(stream), std::istream_iterator<std::string>()};
}

std::vector<std::string> ffmpeg(const std::vector<std::string>& arguments) {
    return joined(words("ffmpeg -hide_banner -nostdin -v error -y"), arguments);
}

}  // namespace oxa::test
