// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/FaultListener.h>

#include <cstdint>
#include <string>

#include "ffmpeg/AvLog.h"

namespace android {

// Counts what a component had to skip and tells the fault listeners: at 1, 10, 100, ... and once
// more at the end, so that a stream of nothing else does not flood them. Thread-bound.
class DamageCounter {
  public:
    // `what` is the cause for people, e.g. "damaged picture data skipped".
    DamageCounter(oxa::host::FaultSource source, const char* what) : mSource(source), mWhat(what) {}

    // Counts from 0 on again; `object` is what it happens to.
    void start(const std::string& object);
    // `error` is an AVERROR, 0 where there is none.
    void add(int error = 0);
    // Listens to a decoder that is about to be opened; it must be closed before the counter goes.
    void listenTo(AVCodecContext* codec) { mComplaints.listenTo(codec); }
    // To be called after each use of the decoder: adds damage that it has repaired by itself.
    void addRepaired();
    // Tells the final count, unless add() just did.
    void finish();

    uint64_t count() const { return mCount; }

  private:
    void report();

    const oxa::host::FaultSource mSource;
    const std::string mWhat;
    AvComplaints mComplaints;
    std::string mObject;
    int mLastError = 0;
    uint64_t mCount = 0;
    uint64_t mReported = 0;
    uint64_t mAtLastUse = 0;
    uint64_t mNextReport = 1;
};

}  // namespace android
