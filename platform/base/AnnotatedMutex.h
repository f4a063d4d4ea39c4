// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Mutex.h>

#include <condition_variable>
#include <mutex>

namespace android {

// std::mutex, its lock and its condition variable in a form whose use clang checks
// (-Wthread-safety): members say GUARDED_BY(mLock), functions that expect the lock
// REQUIRES(mLock). These words come from the platform's <utils/Mutex.h>.

class CAPABILITY("mutex") AnnotatedMutex {
  public:
    void lock() ACQUIRE() { mMutex.lock(); }
    void unlock() RELEASE() { mMutex.unlock(); }

  private:
    friend class AnnotatedCondition;

    std::mutex mMutex;
};

// Holds the mutex as long as it lives, but between unlock() and lock().
class SCOPED_CAPABILITY AnnotatedLock {
  public:
    explicit AnnotatedLock(AnnotatedMutex& mutex) ACQUIRE(mutex) : mMutex(mutex) { mMutex.lock(); }
    ~AnnotatedLock() RELEASE() {
        if (mHeld) mMutex.unlock();
    }
    AnnotatedLock(const AnnotatedLock&) = delete;
    AnnotatedLock& operator=(const AnnotatedLock&) = delete;

    void lock() ACQUIRE() {
        mMutex.lock();
        mHeld = true;
    }
    void unlock() RELEASE() {
        mHeld = false;
        mMutex.unlock();
    }

  private:
    AnnotatedMutex& mMutex;
    bool mHeld = true;
};

// Waits with a mutex that the caller holds, and holds again when the call returns. A condition that
// is given as a lambda says REQUIRES, too: [this]() REQUIRES(mLock) { return mQuit; }
class AnnotatedCondition {
  public:
    void notify_one() { mCondition.notify_one(); }
    void notify_all() { mCondition.notify_all(); }

    void wait(AnnotatedMutex& mutex) REQUIRES(mutex) {
        const Held held(mutex);
        mCondition.wait(held.lock);
    }
    template <typename Ready>
    void wait(AnnotatedMutex& mutex, Ready ready) REQUIRES(mutex) {
        const Held held(mutex);
        mCondition.wait(held.lock, ready);
    }
    template <typename Time>
    void wait_until(AnnotatedMutex& mutex, const Time& time) REQUIRES(mutex) {
        const Held held(mutex);
        mCondition.wait_until(held.lock, time);
    }
    // What `ready` answers in the end.
    template <typename Time, typename Ready>
    bool wait_until(AnnotatedMutex& mutex, const Time& time, Ready ready) REQUIRES(mutex) {
        const Held held(mutex);
        return mCondition.wait_until(held.lock, time, ready);
    }
    template <typename Duration, typename Ready>
    bool wait_for(AnnotatedMutex& mutex, const Duration& duration, Ready ready) REQUIRES(mutex) {
        const Held held(mutex);
        return mCondition.wait_for(held.lock, duration, ready);
    }

  private:
    // Lends the caller's hold to a standard lock.
    struct Held {
        explicit Held(AnnotatedMutex& mutex) : lock(mutex.mMutex, std::adopt_lock) {}
        ~Held() { lock.release(); }

        mutable std::unique_lock<std::mutex> lock;
    };

    std::condition_variable mCondition;
};

}  // namespace android
