// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/OutputEnd.h>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

SessionValue<OutputEnd> gEnd(OutputEnd::kAll);
SessionValue<std::optional<OutputLength>> gLength;
SessionValue<std::optional<OutputFigures>> gFigures;

}  // namespace

void setOutputEnd(OutputEnd end) {
    gEnd.set(end);
}

OutputEnd outputEnd() {
    return gEnd.get();
}

void setOutputLength(const std::optional<OutputLength>& length) {
    gLength.set(length);
}

std::optional<OutputLength> outputLength() {
    return gLength.get();
}

std::optional<OutputFigures> takeOutputFigures() {
    return gFigures.take();
}

void reportOutputFigures(const OutputFigures& figures) {
    gFigures.set(figures);
}

}  // namespace oxa::host
