// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/ExitCode.h"

namespace oxaplayer {

ExitCode exitCodeOf(FailureKind kind) {
    switch (kind) {
        case FailureKind::kNone:
            return ExitCode::kDone;
        case FailureKind::kOptions:
            return ExitCode::kUsage;
        case FailureKind::kInput:
            return ExitCode::kInput;
        case FailureKind::kOutputExists:
        case FailureKind::kOutput:
            return ExitCode::kOutput;
        case FailureKind::kCancelled:
            return ExitCode::kInterrupted;
        case FailureKind::kFailed:
        case FailureKind::kSourceEnded:
        case FailureKind::kStalled:
            break;
    }
    return ExitCode::kFailed;
}

}  // namespace oxaplayer
