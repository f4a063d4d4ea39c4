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

int waitForEndSignal(const sigset_t& signals, const Signals::Handlers& handlers) {
    for (;;) {
        int number = 0;
        sigwait(&signals, &number);
        if (number != SIGUSR1) return number;
        handlers.onUserSignal();
    }
}

}  // namespace

void Signals::ignoreWriteSignals() {
    signal(SIGPIPE, SIG_IGN);
    signal(SIGXFSZ, SIG_IGN);
}

bool Signals::isIgnored(int number) {
    struct sigaction action = {};
    return sigaction(number, nullptr, &action) == 0 && action.sa_handler == SIG_IGN;
}

void Signals::takeOver(Handlers handlers) {
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGTERM);
    // nohup ignores it, and means that.
    if (!isIgnored(SIGHUP)) sigaddset(&signals, SIGHUP);
    if (handlers.onUserSignal) sigaddset(&signals, SIGUSR1);
    // Threads inherit the mask, so none but the one below ever sees them.
    pthread_sigmask(SIG_BLOCK, &signals, nullptr);
    std::thread([signals, handlers = std::move(handlers)] {
        int asked = waitForEndSignal(signals, handlers) == SIGHUP ? 0 : 1;
        handlers.onFirst();
        // A terminal that is closed sends more than one, with others and in any order: nobody has
        // asked twice by that.
        while (asked < 2) {
            if (waitForEndSignal(signals, handlers) != SIGHUP) asked++;
        }
        handlers.beforeExit();
        _exit(static_cast<int>(ExitCode::kInterrupted));
    }).detach();
}

}  // namespace oxaplayer
