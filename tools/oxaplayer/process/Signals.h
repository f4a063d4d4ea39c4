// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <functional>

namespace oxaplayer {

// Ctrl-C and SIGTERM during a job: the first one asks it to end properly, a second one ends the
// process at once (exit 130), wherever the job is.
class Signals {
  public:
    // A closed pipe or a file that is too large becomes an ordinary error of write().
    static void ignoreWriteSignals();

    // From now on the two signals go to a thread of their own: the first calls `onFirst`, the
    // second `beforeExit`. Once in a process, before it has other threads.
    static void takeOver(std::function<void()> onFirst, std::function<void()> beforeExit);
};

}  // namespace oxaplayer
