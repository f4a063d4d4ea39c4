// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "HidlStatus"

#include <hidl/Status.h>

#include <hidl/HidlTransportSupport.h>
#include <log/log.h>
#include <string.h>
#include <unistd.h>

namespace android::hardware {

std::string Status::description() const {
    if (isOk()) return "No error";
    return "Status(EX_TRANSACTION_FAILED): " + std::string(strerror(-mError));
}

void details::return_status::endProcess() const {
    LOG_ALWAYS_FATAL("Failed HIDL return status not checked: transport error, %s",
                     description().c_str());
}

void joinRpcThreadpool() {
    for (;;)
        pause();
}

void configureRpcThreadpool(size_t maxThreads, bool /*callerWillJoin*/) {
    LOG_ALWAYS_FATAL_IF(maxThreads == 0, "a pool without threads");
}

}  // namespace android::hardware
