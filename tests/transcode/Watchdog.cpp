// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "transcode/Watchdog.h"

#include <cstdio>
#include <cstdlib>

namespace oxa::test {

Watchdog::Watchdog(std::string what, std::chrono::seconds limit)
    : mWhat(std::move(what)),
      mEnd(std::chrono::steady_clock::now() + limit),
      mThread([this] { watch(); }) {}

Watchdog::~Watchdog() {
    {
        std::lock_guard<std::mutex> lock(mLock);
        mOver = true;
    }
    mDone.notify_all();
    mThread.join();
}

void Watchdog::watch() {
    std::unique_lock<std::mutex> lock(mLock);
    if (mDone.wait_until(lock, mEnd, [this] { return mOver; })) return;
    fprintf(stderr, "\n%s did not end in time\n", mWhat.c_str());
    abort();
}

}  // namespace oxa::test
