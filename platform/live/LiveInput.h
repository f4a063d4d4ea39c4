// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <memory>
#include <string>

#include "live/LiveReader.h"

extern "C" {
#include <libavutil/frame.h>
}

namespace android {

// What a LiveReader reads from: decoded frames of one stream. Thread-bound.
class LiveInput {
  public:
    virtual ~LiveInput() = default;

    virtual LiveInfo info() const = 0;

    // The next frame; its `pts` is in microseconds, of a device on the monotonic clock, else since
    // the source's beginning. 0, AVERROR(EAGAIN) when a device has nothing yet, AVERROR_EOF, or
    // another AVERROR.
    virtual int read(AVFrame* frame) = 0;

    // Begins again at the end of a file, with times that go on. False when it cannot.
    virtual bool rewind() { return false; }
};

// Null, with the reason in `error`.
std::unique_ptr<LiveInput> openFormatInput(const LiveSource& source, const LiveOptions& options,
                                           std::string* error);

// Why there is no input: "cannot open 'x.mp4': No such file or directory".
std::string liveOpenError(const LiveSource& source, int averror);

}  // namespace android
