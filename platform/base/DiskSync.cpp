// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "base/DiskSync.h"

#include <pthread.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>

namespace android {

namespace {

constexpr std::chrono::seconds kInterval{1};

}  // namespace

DiskSync::DiskSync(int fd) : mFd(fd), mThread([this] { run(); }) {}

DiskSync::~DiskSync() {
    {
        AnnotatedLock lock(mLock);
        mQuit = true;
    }
    mChanged.notify_all();
    mThread.join();
}

void DiskSync::wrote() {
    AnnotatedLock lock(mLock);
    mWrote = true;
}

int DiskSync::error() const {
    AnnotatedLock lock(mLock);
    return mError;
}

void DiskSync::run() {
    pthread_setname_np(pthread_self(), "DiskSync");
    AnnotatedLock lock(mLock);
    while (!mChanged.wait_for(mLock, kInterval, [this]() REQUIRES(mLock) { return mQuit; })) {
        if (!mWrote || mError != 0) continue;
        mWrote = false;
        lock.unlock();
        const int error = fdatasync(mFd) == 0 ? 0 : errno;
        lock.lock();
        mError = error;
    }
}

}  // namespace android
