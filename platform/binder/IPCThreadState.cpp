// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <binder/IPCThreadState.h>

#include <unistd.h>

namespace android {

// static
IPCThreadState* IPCThreadState::self() {
    thread_local IPCThreadState state;
    return &state;
}

IPCThreadState::IPCThreadState() : mCallingPid(getpid()), mCallingUid(getuid()) {}

int64_t IPCThreadState::clearCallingIdentity() {
    int64_t token = (static_cast<int64_t>(mCallingUid) << 32) | static_cast<uint32_t>(mCallingPid);
    mCallingPid = getpid();
    mCallingUid = getuid();
    return token;
}

void IPCThreadState::restoreCallingIdentity(int64_t token) {
    mCallingPid = static_cast<pid_t>(token);
    mCallingUid = static_cast<uid_t>(token >> 32);
}

}  // namespace android
