// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "hdmi/EventThread.h"

#include <pthread.h>

#include <utility>

namespace android {

EventThread::EventThread() : mThread([this] { run(); }) {}

EventThread::~EventThread() {
    {
        AnnotatedLock lock(mLock);
        mQuit = true;
    }
    mChanged.notify_all();
    mThread.join();
}

void EventThread::post(std::function<void()> call) {
    AnnotatedLock lock(mLock);
    mCalls.push_back(std::move(call));
    mChanged.notify_all();
}

void EventThread::run() {
    pthread_setname_np(pthread_self(), "HwBinder:1");
    AnnotatedLock lock(mLock);
    for (;;) {
        mChanged.wait(mLock, [this]() REQUIRES(mLock) { return mQuit || !mCalls.empty(); });
        if (mCalls.empty()) return;
        const std::function<void()> call = std::move(mCalls.front());
        mCalls.pop_front();
        lock.unlock();
        call();
        lock.lock();
    }
}

}  // namespace android
