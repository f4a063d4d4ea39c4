// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "process/TerminalKeys.h"

#include <poll.h>
#include <sys/eventfd.h>
#include <termios.h>
#include <unistd.h>

#include <atomic>
#include <csignal>
#include <utility>

#include "process/Signals.h"

namespace oxaplayer {

namespace {

constexpr int kEndingSignals[] = {SIGHUP, SIGQUIT, SIGABRT, SIGSEGV, SIGBUS, SIGFPE, SIGILL};

termios gFormer = {};  // set before gIsSet
termios gSingleKeys = {};
std::atomic<bool> gIsSet{false};

// A process in the background may not: it would be stopped for it.
void set(const termios& settings) {
    sigset_t background;
    sigset_t former;
    sigemptyset(&background);
    sigaddset(&background, SIGTTOU);
    pthread_sigmask(SIG_BLOCK, &background, &former);
    tcsetattr(STDIN_FILENO, TCSANOW, &settings);
    pthread_sigmask(SIG_SETMASK, &former, nullptr);
}

// Handled once, then as if there had been no handler.
void endBySignal(int number) {
    TerminalKeys::restore();
    raise(number);
}

void stopBySignal(int /*number*/) {
    if (gIsSet) set(gFormer);
    raise(SIGSTOP);
}

// In the foreground again, or still in the background.
void goOnBySignal(int /*number*/) {
    if (gIsSet && tcgetpgrp(STDIN_FILENO) == getpgrp()) set(gSingleKeys);
}

void handle(int number, void (*handler)(int), int flags) {
    struct sigaction action = {};
    action.sa_handler = handler;
    action.sa_flags = flags;
    sigaction(number, &action, nullptr);
}

// The bytes of a key come together.
std::string nextKey(const std::string& bytes, size_t* position) {
    const size_t begin = *position;
    const bool isSequence = bytes[begin] == '\033' && begin + 2 < bytes.size() &&
                            (bytes[begin + 1] == '[' || bytes[begin + 1] == 'O');
    const size_t length = isSequence ? 3 : 1;
    *position += length;
    return bytes.substr(begin, length);
}

}  // namespace

bool TerminalKeys::isPossible() {
    return isatty(STDIN_FILENO) != 0 && tcgetpgrp(STDIN_FILENO) == getpgrp();
}

void TerminalKeys::restore() {
    if (gIsSet.exchange(false)) set(gFormer);
}

TerminalKeys::TerminalKeys(std::function<void(const std::string& key)> onKey)
    : mOnKey(std::move(onKey)), mWakeUp(eventfd(0, EFD_CLOEXEC)) {
    if (mWakeUp < 0 || tcgetattr(STDIN_FILENO, &gFormer) != 0) return;
    gSingleKeys = gFormer;
    gSingleKeys.c_lflag &= ~static_cast<tcflag_t>(ICANON | ECHO);
    gSingleKeys.c_cc[VMIN] = 1;
    gSingleKeys.c_cc[VTIME] = 0;
    gIsSet = true;
    for (const int number : kEndingSignals) {
        if (!Signals::isIgnored(number)) {
            handle(number, endBySignal, static_cast<int>(SA_RESETHAND));
        }
    }
    handle(SIGTSTP, stopBySignal, SA_RESTART);
    handle(SIGCONT, goOnBySignal, SA_RESTART);
    set(gSingleKeys);
    mThread = std::thread([this] { read(); });
}

TerminalKeys::~TerminalKeys() {
    if (mThread.joinable()) {
        eventfd_write(mWakeUp, 1);
        mThread.join();
    }
    if (mWakeUp >= 0) close(mWakeUp);
    restore();
}

void TerminalKeys::read() const {
    for (;;) {
        pollfd ready[] = {{STDIN_FILENO, POLLIN, 0}, {mWakeUp, POLLIN, 0}};
        if (poll(ready, 2, -1) < 0) continue;
        if (ready[1].revents != 0) return;
        char buffer[64];
        const ssize_t size = ::read(STDIN_FILENO, buffer, sizeof(buffer));
        if (size <= 0) return;
        const std::string bytes(buffer, static_cast<size_t>(size));
        for (size_t position = 0; position < bytes.size();)
            mOnKey(nextKey(bytes, &position));
    }
}

}  // namespace oxaplayer
