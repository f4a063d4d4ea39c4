// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/OutputWait.h>

#include <atomic>

namespace oxa::host {

namespace {

std::atomic<int64_t> gLimitUs{-1};

}  // namespace

void setOutputWaitLimit(int64_t limitUs) {
    gLimitUs = limitUs;
}

int64_t outputWaitLimit() {
    return gLimitUs;
}

}  // namespace oxa::host
