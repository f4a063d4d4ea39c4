// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "process/Signals.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "report/ExitCode.h"

namespace oxaplayer {

void Signals::ignoreWriteSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

void Signals::takeOver(std::function<void()> onFirst, std::function<void()> beforeExit) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    // Threads inherit the mask, so none but the one below ever sees them.
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals, onFirst = std::move(onFirst), beforeExit = std::move(beforeExit)] {
        int number = 0;
        sigwait(&signals, &number);
        onFirst();
        sigwait(&signals, &number);
        beforeExit();
        _exit(static_cast<int>(ExitCode::kInterrupted));
    }).detach();
}

}  // namespace oxaplayer
