// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/SequenceProcess.h"

#include <android/log.h>
#include <fcntl.h>
#include <signal.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <iostream>

#include "library/SequencePlayer.h"

namespace oxa::test {

namespace {

constexpr char kChildOption[] = "--play-sequences";
// Far more than a call or a wait may take.
constexpr timeval kHang = {90, 0};
constexpr size_t kErrorBytes = 600;
constexpr int kRounds = 3;
constexpr std::chrono::milliseconds kSoon{200};
constexpr std::chrono::seconds kAtLast{10};

std::string playOnce(const std::string& clips, const Sequence& sequence) {
    SequencePlayer player(clips, [](size_t index) { std::cout << "@" << index << std::endl; });
    return player.play(sequence);
}

// What a process opens once it may keep: only a sequence that leaves something each time is wrong.
std::string playAndCompare(const std::string& clips, const Sequence& sequence) {
    int descriptors = 0;
    int threads = 0;
    for (int round = 0; round < kRounds; ++round) {
        const int descriptorsBefore = entriesOf("/proc/self/fd");
        const int threadsBefore = entriesOf("/proc/self/task");
        const std::string finding = playOnce(clips, sequence);
        if (!finding.empty()) return finding;
        const auto isNothingLeft = [&] {
            descriptors = entriesOf("/proc/self/fd") - descriptorsBefore;
            threads = entriesOf("/proc/self/task") - threadsBefore;
            return descriptors <= 0 && threads <= 0;
        };
        // The kernel may list a thread for a moment after it was joined.
        if (waitFor(isNothingLeft, round + 1 < kRounds ? kSoon : kAtLast)) return "";
    }
    return std::to_string(descriptors) + " descriptors and " + std::to_string(threads) +
           " threads are left";
}

}  // namespace

bool SequenceProcess::isChild(int argc, char** argv) {
    return argc == 3 && strcmp(argv[1], kChildOption) == 0;
}

int SequenceProcess::runChild(char** argv) {
    __android_log_set_minimum_priority(ANDROID_LOG_ERROR);
    std::string line;
    while (std::getline(std::cin, line)) {
        const std::string finding = playAndCompare(argv[2], parseSequence(line));
        std::cout << "=" << finding << std::endl;
    }
    return 0;
}

SequenceProcess::SequenceProcess(const std::string& clips)
    : mClips(clips), mErrors(TempDir::ofProcess().file("sequence-errors")) {}

SequenceProcess::~SequenceProcess() {
    if (mLink != nullptr) end();
}

void SequenceProcess::start() {
    int link[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, link) != 0) abort();
    mChild = fork();
    if (mChild == 0) {
        const int errors = open(mErrors.c_str(), O_RDWR | O_CREAT | O_APPEND, 0600);
        dup2(link[1], STDIN_FILENO);
        dup2(link[1], STDOUT_FILENO);
        dup2(errors, STDERR_FILENO);
        execl("/proc/self/exe", "call_sequence_test", kChildOption, mClips.c_str(), nullptr);
        _exit(127);
    }
    close(link[1]);
    setsockopt(link[0], SOL_SOCKET, SO_RCVTIMEO, &kHang, sizeof(kHang));
    mLink = fdopen(link[0], "r");
}

std::string SequenceProcess::end() {
    fclose(mLink);
    mLink = nullptr;
    kill(mChild, SIGKILL);
    int status = 0;
    waitpid(mChild, &status, 0);
    const bool ended = !WIFSIGNALED(status) || WTERMSIG(status) == SIGKILL;
    return ended ? "" : strsignal(WTERMSIG(status));
}

std::string SequenceProcess::play(const Sequence& sequence) {
    if (mLink == nullptr) start();
    truncate(mErrors.c_str(), 0);
    const std::string text = textOf(sequence) + "\n";
    send(fileno(mLink), text.data(), text.size(), MSG_NOSIGNAL);
    size_t index = 0;
    char line[4096];
    while (fgets(line, sizeof(line), mLink) != nullptr) {
        if (line[0] == '@') index = atoi(line + 1);
        if (line[0] != '=') continue;
        const std::string finding(line + 1, strcspn(line + 1, "\n"));
        if (!finding.empty()) end();
        return finding;
    }
    const bool hangs = feof(mLink) == 0;
    const std::string how = hangs ? "hangs" : "ends";
    const std::string signal = end();
    const std::string errors = readFile(mErrors);
    const std::string last = index < sequence.size() ? textOf(sequence[index]) : "the end";
    return how + (signal.empty() ? "" : " (" + signal + ")") + " at " + last + ": " +
           errors.substr(errors.size() - std::min(errors.size(), kErrorBytes));
}

}  // namespace oxa::test
