// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "library/Disturbance.h"

#include <dlfcn.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <random>
#include <utility>

namespace oxa::test {

namespace {

std::atomic<bool> gHoldUp{false};
std::atomic<bool> gHoldUpBroadcaster{false};
std::atomic<bool> gDiskFull{false};

template <typename Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

// How often each place in the code has woken somebody; a few places share a counter.
std::array<std::atomic<uint32_t>, 4096> gWakings;

// The thread sanitizer has definitions of its own for what wakes a thread.
#ifndef __SANITIZE_THREAD__

constexpr int64_t kLongUs = 250'000;

thread_local const void* tHasWoken = nullptr;  // at which place
thread_local bool tMustStandStill = false;

// What happens all the time is held up ever more seldom, what happens once in a recording often.
int64_t pauseUs(const void* place, std::minstd_rand* random) {
    constexpr uint32_t kUsual = 8;
    constexpr int64_t kShortUs = 10'000;
    const uint32_t before = gWakings[reinterpret_cast<uintptr_t>(place) / 4 % gWakings.size()]++;
    const uint32_t chance = (*random)() % (32 * (1 + before / kUsual));
    // A long one, among many that are short, lets a whole life of a player pass.
    if (chance == 0) return kLongUs;
    return chance < 5 ? static_cast<int64_t>((*random)() % kShortUs) : 0;
}

bool isOfPlayer(const void* place) {
    Dl_info info;
    return dladdr(place, &info) != 0 && strstr(info.dli_fname, "libOxaMediaCodecPlayer") != nullptr;
}

void standStill(const void* place) {
    static std::atomic<unsigned> threads{0};
    thread_local std::minstd_rand random(++threads);
    const int64_t pause = pauseUs(place, &random);
    if (pause > 0) usleep(static_cast<useconds_t>(pause));
}

#endif

}  // namespace

void holdUpWakers(bool on) {
    for (auto& wakings : gWakings)
        wakings = 0;
    gHoldUp = on;
}

void holdUpNextBroadcaster() {
    gHoldUpBroadcaster = true;
}

void fillDisk(bool full) {
    gDiskFull = full;
}

}  // namespace oxa::test

// The definitions in a program come before those of the C library, also for the libraries that it
// loads.
extern "C" {

using namespace oxa::test;

__attribute__((visibility("default"))) ssize_t pwrite64(int fd, const void* data, size_t size,
                                                        off64_t position) {
    static const auto next = original<decltype(pwrite64)>("pwrite64");
    if (!gDiskFull) return next(fd, data, size, position);
    errno = ENOSPC;
    return -1;
}

#ifndef __SANITIZE_THREAD__

__attribute__((visibility("default"))) int pthread_cond_signal(pthread_cond_t* condition) {
    static const auto next = original<decltype(pthread_cond_signal)>("pthread_cond_signal");
    tHasWoken = __builtin_return_address(0);
    return next(condition);
}

__attribute__((visibility("default"))) int pthread_cond_broadcast(pthread_cond_t* condition) {
    static const auto next = original<decltype(pthread_cond_broadcast)>("pthread_cond_broadcast");
    tHasWoken = __builtin_return_address(0);
    if (gHoldUpBroadcaster && isOfPlayer(tHasWoken))
        tMustStandStill = gHoldUpBroadcaster.exchange(false);
    return next(condition);
}

__attribute__((visibility("default"))) int pthread_mutex_unlock(pthread_mutex_t* mutex) {
    static const auto next = original<decltype(pthread_mutex_unlock)>("pthread_mutex_unlock");
    const int result = next(mutex);
    // Whoever was woken needed this lock.
    const void* place = tHasWoken;
    tHasWoken = nullptr;
    if (std::exchange(tMustStandStill, false)) usleep(kLongUs);
    if (place != nullptr && gHoldUp) standStill(place);
    return result;
}

#endif

}  // extern "C"
