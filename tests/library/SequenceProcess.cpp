// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/SequenceProcess.h"

#include <android/log.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <iostream>

#include "library/SequencePlayer.h"
#include "support/Deadline.h"
#include "support/TempDir.h"

namespace oxa::test {

namespace {

constexpr char kChildOption[] = "--play-sequences";
// Far more than a call or a wait may take.
constexpr std::chrono::seconds kHang{40};
constexpr size_t kErrorBytes = 600;
constexpr int kRounds = 3;
constexpr std::chrono::milliseconds kSoon{200};
constexpr std::chrono::seconds kAtLast{3};

struct Use {
    int descriptors = 0;
    int threads = 0;
};

int entriesOf(const char* folder) {
    int count = 0;
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        std::error_code gone;
        count += std::filesystem::exists(entry.symlink_status(gone));
    }
    return count;
}

Use currentUse() {
    return {entriesOf("/proc/self/fd"), entriesOf("/proc/self/task")};
}

std::string playOnce(const std::string& clips, const Sequence& sequence) {
    SequencePlayer player(clips, [](size_t index) { std::cout << "@" << index << std::endl; });
    return player.play(sequence);
}

// What a process opens once it may keep: only a sequence that leaves something each time is wrong.
std::string playAndCompare(const std::string& clips, const Sequence& sequence) {
    Use left;
    for (int round = 0; round < kRounds; ++round) {
        const Use before = currentUse();
        const std::string finding = playOnce(clips, sequence);
        if (!finding.empty()) return finding;
        // The kernel may list a thread for a moment after it was joined.
        const bool nothingLeft = waitFor(
                [&] {
                    const Use now = currentUse();
                    left = {now.descriptors - before.descriptors, now.threads - before.threads};
                    return left.descriptors <= 0 && left.threads <= 0;
                },
                round + 1 < kRounds ? kSoon : kAtLast);
        if (nothingLeft) return "";
    }
    return std::to_string(left.descriptors) + " descriptors and " + std::to_string(left.threads) +
           " threads are left";
}

}  // namespace

bool SequenceProcess::isChild(int argc, char** argv) {
    return argc == 3 && strcmp(argv[1], kChildOption) == 0;
}

int SequenceProcess::runChild(char** argv) {
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    ticks();
    std::string line;
    while (std::getline(std::cin, line)) {
        const std::string finding = playAndCompare(argv[2], parseSequence(line));
        std::cout << "=" << finding << std::endl;
    }
    return 0;
}

SequenceProcess::SequenceProcess(const std::string& clips)
    : mClips(clips), mErrors(TempDir::ofProcess().file("sequence-errors")) {
    signal(SIGPIPE, SIG_IGN);
}

SequenceProcess::~SequenceProcess() {
    if (mChild > 0) end();
}

void SequenceProcess::start() {
    int in[2], out[2];
    if (pipe2(in, O_CLOEXEC) != 0 || pipe2(out, O_CLOEXEC) != 0) abort();
    mChild = fork();
    if (mChild == 0) {
        const int errors = open(mErrors.c_str(), O_RDWR | O_CREAT | O_APPEND, 0600);
        dup2(in[0], STDIN_FILENO);
        dup2(out[1], STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        execl("/proc/self/exe", "call_sequence_test", kChildOption, mClips.c_str(), nullptr);
        _exit(127);
    }
    close(in[0]);
    close(out[1]);
    mIn = in[1];
    mOut = out[0];
    mRead.clear();
}

std::string SequenceProcess::end() {
    close(mIn);
    close(mOut);
    kill(mChild, SIGKILL);
    int status = 0;
    waitpid(mChild, &status, 0);
    mChild = -1;
    if (!WIFSIGNALED(status) || WTERMSIG(status) == SIGKILL) return "";
    return strsignal(WTERMSIG(status));
}

bool SequenceProcess::readLine(std::string* line, bool* hangs) {
    size_t newline;
    while ((newline = mRead.find('\n')) == std::string::npos) {
        pollfd readable = {mOut, POLLIN, 0};
        const auto limit = std::chrono::milliseconds(kHang).count();
        *hangs = poll(&readable, 1, static_cast<int>(limit)) == 0;
        if (*hangs) return false;
        char buffer[4096];
        const ssize_t size = read(mOut, buffer, sizeof(buffer));
        if (size <= 0) return false;
        mRead.append(buffer, size);
    }
    *line = mRead.substr(0, newline);
    mRead.erase(0, newline + 1);
    return true;
}

std::string SequenceProcess::lastErrors() const {
    const std::string errors = readFile(mErrors);
    return errors.size() > kErrorBytes ? errors.substr(errors.size() - kErrorBytes) : errors;
}

std::string SequenceProcess::play(const Sequence& sequence) {
    if (mChild < 0) start();
    truncate(mErrors.c_str(), 0);
    const std::string text = textOf(sequence) + "\n";
    if (write(mIn, text.data(), text.size()) < 0) return "the process does not listen";
    std::string line;
    std::string last = "the beginning";
    bool hangs = false;
    while (readLine(&line, &hangs)) {
        if (line[0] == '=') {
            const std::string finding = line.substr(1);
            if (!finding.empty()) end();
            return finding;
        }
        const size_t index = line[0] == '@' ? std::stoul(line.substr(1)) : sequence.size();
        last = index < sequence.size() ? textOf(sequence[index]) : "the end";
    }
    const std::string how = end();
    return (hangs ? "hangs" : "ends (" + how + ")") + std::string(" at ") + last + ": " +
           lastErrors();
}

}  // namespace oxa::test
