// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "report/Advice.h"

namespace oxaplayer {

std::string adviceFor(const Failure& failure) {
    if (failure.kind == FailureKind::kOutputExists) return failure.text + " (--force replaces it)";
    switch (failure.hint) {
        case Hint::kNone:
            break;
        case Hint::kOtherValue:
            return "--" + failure.text;
        case Hint::kNameContainer:
            return failure.text + ", or --format";
        case Hint::kTransportStream:
            return failure.text + ", --format ts goes through a pipe";
        case Hint::kOnlySound:
            return failure.text + ": use --only audio";
        case Hint::kNameSound:
            return failure.text + ": use --audio SOURCE";
        case Hint::kNoSound:
            return failure.text + " (--audio none records without sound)";
        case Hint::kAsCamera:
            return failure.text + ": use it with --usb";
    }
    return failure.text;
}

}  // namespace oxaplayer
