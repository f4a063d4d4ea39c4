// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/InputChoice.h>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

SessionValue<InputChoice> gChoice;

}  // namespace

void setInputChoice(const InputChoice& choice) {
    gChoice.set(choice);
}

InputChoice inputChoice() {
    return gChoice.get();
}

}  // namespace oxa::host
