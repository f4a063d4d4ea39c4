// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <string>

namespace oxa::test {

// The environment variable that tells a program with faults what shall go wrong: "name" or
// "name@number", see plannedFault().
constexpr char kFaultVariable[] = "OXA_FAULT";

enum class FaultKind {
    kNone,
    kReadError,       // read-error@BYTE: what lies behind that byte of an input cannot be read
    kShortReads,      // short-reads: an input gives little at a time
    kWriteError,      // write-error@BYTE: an output cannot be written behind that byte
    kDiskFull,        // disk-full@BYTE: the same, for want of room
    kShortWrites,     // short-writes: an output takes little at a time
    kSlowWrites,      // slow-writes@MICROSECONDS: each write takes so long
    kSyncError,       // sync-error: at the end what was written does not reach the disk
    kEarlySyncError,  // early-sync-error: the same, while it is still being written
    kEncoderError,    // encoder-error@N: the picture's encoder fails instead of its Nth result;
                      // 0: when it is started
    kSilentDecoder,   // silent-decoder@N: decoders give no picture behind the Nth, nor their end
    kCameraLost,      // camera-lost@BYTES: the camera goes once the output has so many bytes
    kCameraStalls,    // camera-stalls@BYTES: it gives no more pictures
    kMicrophoneLost,  // microphone-lost@BYTES
};

struct FaultPlan {
    FaultKind kind = FaultKind::kNone;
    int64_t number = 0;
};

// What the environment asks for, read once. A text that is none of the above ends the process.
const FaultPlan& plannedFault();

}  // namespace oxa::test
