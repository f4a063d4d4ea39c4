// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "process/Signals.h"

#include <pthread.h>
#include <unistd.h>

#include <csignal>
#include <thread>

#include "report/ExitCode.h"

namespace oxaplayer {

namespace {

void waitForEndSignal(const sigset_t& signals, const Signals::Handlers& handlers) {
    for (;;) {
        int number = 0;
        sigwait(&signals, &number);
        if (number != SIGUSR1) return;
        handlers.onUserSignal();
    }
}

}  // namespace

void Signals::ignoreWriteSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

void Signals::takeOver(Handlers handlers) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    if (handlers.onUserSignal) sigaddset(&signals, SIGUSR1);
    // Threads inherit the mask, so none but the one below ever sees them.
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals, handlers = std::move(handlers)] {
        waitForEndSignal(signals, handlers);
        handlers.onFirst();
        waitForEndSignal(signals, handlers);
        handlers.beforeExit();
        _exit(static_cast<int>(ExitCode::kInterrupted));
    }).detach();
}

}  // namespace oxaplayer
