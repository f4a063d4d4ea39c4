// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "faults/FaultPlan.h"

#include <cstdio>
#include <cstdlib>
#include <map>

namespace oxa::test {

namespace {

FaultPlan parse(const std::string& text) {
    static const std::map<std::string, FaultKind> kKinds = {
            {"read-error", FaultKind::kReadError},
            {"short-reads", FaultKind::kShortReads},
            {"write-error", FaultKind::kWriteError},
            {"disk-full", FaultKind::kDiskFull},
            {"short-writes", FaultKind::kShortWrites},
            {"slow-writes", FaultKind::kSlowWrites},
            {"sync-error", FaultKind::kSyncError},
            {"early-sync-error", FaultKind::kEarlySyncError},
            {"encoder-error", FaultKind::kEncoderError},
            {"silent-decoder", FaultKind::kSilentDecoder},
            {"camera-lost", FaultKind::kCameraLost},
            {"camera-stalls", FaultKind::kCameraStalls},
            {"microphone-lost", FaultKind::kMicrophoneLost},
    };
    const size_t at = text.find('@');
    const auto kind = kKinds.find(text.substr(0, at));
    if (kind == kKinds.end()) {
        std::fprintf(stderr, "no such fault: '%s'\n", text.c_str());
        std::abort();
    }
    return {kind->second, at == std::string::npos ? 0 : std::atoll(text.c_str() + at + 1)};
}

}  // namespace

const FaultPlan& plannedFault() {
    static const FaultPlan kPlan = [] {
        const char* text = std::getenv(kFaultVariable);
        return text != nullptr ? parse(text) : FaultPlan{};
    }();
    return kPlan;
}

}  // namespace oxa::test
