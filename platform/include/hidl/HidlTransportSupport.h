// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

namespace android::hardware {

// Services live in this process and call back on threads of their own, so there is no pool of
// threads to be configured: both calls of a process that serves do what is left of them. Waits
// forever.
[[noreturn]] void joinRpcThreadpool();

// Accepted for any number of threads above 0; aborts otherwise.
void configureRpcThreadpool(size_t maxThreads, bool callerWillJoin);

}  // namespace android::hardware
