// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/OutputEnd.h>

#include <atomic>
#include <mutex>
#include <utility>

namespace oxa::host {

namespace {

std::atomic<OutputEnd> gEnd{OutputEnd::kAll};
std::mutex gFiguresLock;
std::optional<OutputFigures> gFigures;  // guarded by gFiguresLock

}  // namespace

void setOutputEnd(OutputEnd end) {
    gEnd = end;
}

OutputEnd outputEnd() {
    return gEnd;
}

std::optional<OutputFigures> takeOutputFigures() {
    std::lock_guard<std::mutex> lock(gFiguresLock);
    return std::exchange(gFigures, std::nullopt);
}

void reportOutputFigures(const OutputFigures& figures) {
    std::lock_guard<std::mutex> lock(gFiguresLock);
    gFigures = figures;
}

}  // namespace oxa::host
