// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/InputDescription.h>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

SessionValue<std::optional<InputDescription>> gDescription;
SessionValue<bool> gThorough;

}  // namespace

std::optional<InputDescription> inputDescription() {
    return gDescription.get();
}

void setThoroughInput(bool thorough) {
    gThorough.set(thorough);
}

bool isThoroughInput() {
    return gThorough.get();
}

void reportInputDescription(InputDescription description) {
    gDescription.set(std::move(description));
}

}  // namespace oxa::host
