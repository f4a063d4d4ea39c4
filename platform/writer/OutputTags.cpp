// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/OutputTags.h>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

SessionValue<OutputTags> gTags;

}  // namespace

void setOutputTags(const OutputTags& tags) {
    gTags.set(tags);
}

OutputTags outputTags() {
    return gTags.get();
}

}  // namespace oxa::host
