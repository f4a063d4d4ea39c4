// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/CodecConfig.h>

#include <atomic>

namespace oxa::host {

namespace {

std::atomic<bool> gWanted{false};

}  // namespace

void setCodecConfigOutput(bool wanted) {
    gWanted = wanted;
}

bool codecConfigOutput() {
    return gWanted;
}

}  // namespace oxa::host
