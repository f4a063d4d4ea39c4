// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// The calls by which the platform reads its inputs and writes its outputs, with the planned fault
// in them. The definitions in a program come before those of the C library, also for the libraries
// that it loads.

#include <dlfcn.h>
#include <oxa/host/Cameras.h>
#include <oxa/host/Microphones.h>
#include <system/audio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cerrno>

#include "faults/FaultPlan.h"

namespace oxa::test {
namespace {

constexpr size_t kLittle = 1000;

template <typename Function>
Function* original(const char* name) {
    return reinterpret_cast<Function*>(dlsym(RTLD_NEXT, name));
}

void loseDevices(int64_t written) {
    static std::atomic<bool> lost{false};
    const FaultPlan& plan = plannedFault();
    if (written < plan.number || lost.exchange(true)) return;
    if (plan.kind == FaultKind::kCameraLost) host::loseCamera(0, true);
    if (plan.kind == FaultKind::kCameraStalls) host::stallCamera(0, true);
    if (plan.kind == FaultKind::kMicrophoneLost) host::loseMicrophone(AUDIO_SOURCE_DEFAULT, true);
}

// How much of a write is still tried; 0: none, with errno set.
size_t writable(size_t size, off64_t position) {
    const FaultPlan& plan = plannedFault();
    const off64_t end = position + static_cast<off64_t>(size);
    switch (plan.kind) {
        case FaultKind::kWriteError:
        case FaultKind::kDiskFull:
            if (end <= plan.number) return size;
            errno = plan.kind == FaultKind::kDiskFull ? ENOSPC : EIO;
            return position < plan.number ? plan.number - position : 0;
        case FaultKind::kShortWrites:
            return std::min(size, kLittle);
        case FaultKind::kSlowWrites:
            usleep(static_cast<useconds_t>(plan.number));
            return size;
        case FaultKind::kCameraLost:
        case FaultKind::kCameraStalls:
        case FaultKind::kMicrophoneLost:
            loseDevices(end);
            return size;
        default:
            return size;
    }
}

}  // namespace
}  // namespace oxa::test

extern "C" {

using namespace oxa::test;

__attribute__((visibility("default"))) ssize_t pread64(int fd, void* data, size_t size,
                                                       off64_t position) {
    static const auto next = original<decltype(pread64)>("pread64");
    const FaultPlan& plan = plannedFault();
    if (plan.kind == FaultKind::kReadError && position + static_cast<off64_t>(size) > plan.number) {
        errno = EIO;
        return -1;
    }
    if (plan.kind == FaultKind::kShortReads) size = std::min(size, kLittle);
    return next(fd, data, size, position);
}

__attribute__((visibility("default"))) ssize_t pwrite64(int fd, const void* data, size_t size,
                                                        off64_t position) {
    static const auto next = original<decltype(pwrite64)>("pwrite64");
    const size_t rest = writable(size, position);
    return rest > 0 ? next(fd, data, rest, position) : -1;
}

__attribute__((visibility("default"))) int fsync(int fd) {
    static const auto next = original<decltype(fsync)>("fsync");
    if (plannedFault().kind != FaultKind::kSyncError) return next(fd);
    errno = EIO;
    return -1;
}

__attribute__((visibility("default"))) int fdatasync(int fd) {
    static const auto next = original<decltype(fdatasync)>("fdatasync");
    if (plannedFault().kind != FaultKind::kEarlySyncError) return next(fd);
    errno = EIO;
    return -1;
}

}  // extern "C"
