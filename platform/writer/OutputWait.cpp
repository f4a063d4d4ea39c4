// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/OutputWait.h>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

SessionValue<int64_t> gLimitUs(-1);
SessionValue<bool> gOfFiles(false);

}  // namespace

void setOutputWaitLimit(int64_t limitUs) {
    gLimitUs.set(limitUs);
}

int64_t outputWaitLimit() {
    return gLimitUs.get();
}

void setOutputOfFiles(bool ofFiles) {
    gOfFiles.set(ofFiles);
}

bool isOutputOfFiles() {
    return gOfFiles.get();
}

}  // namespace oxa::host
