// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>

namespace oxaplayer {

// Ctrl-C, SIGTERM and SIGHUP during a job: the first one asks it to end properly, a second one ends
// the process at once (exit 130), wherever the job is; SIGHUP does not count for that. SIGUSR1 is
// for what a command does with it.
class Signals {
  public:
    struct Handlers {
        std::function<void()> onFirst;
        std::function<void()> beforeExit;
        std::function<void()> onUserSignal;  // empty: it ends the process, as it does by default
    };

    // A closed pipe or a file that is too large becomes an ordinary error of write().
    static void ignoreWriteSignals();

    static bool isIgnored(int number);

    // From now on the signals go to a thread of their own, which calls the handlers. Once in a
    // process, before it has other threads.
    static void takeOver(Handlers handlers);
};

}  // namespace oxaplayer
