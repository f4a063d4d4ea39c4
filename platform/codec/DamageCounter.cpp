// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "codec/DamageCounter.h"

#include "ffmpeg/AvError.h"

extern "C" {
#include <libavutil/error.h>
}

namespace android {

void DamageCounter::start(const std::string& object) {
    mObject = object;
    mLastError = 0;
    mCount = 0;
    mReported = 0;
    mAtLastUse = 0;
    mComplaints.takeNew();
    mNextReport = 1;
}

void DamageCounter::add(int error) {
    // Decoders that know no better say -1, which reads as a lack of permission.
    mLastError = error == -1 ? AVERROR_INVALIDDATA : error;
    if (++mCount < mNextReport) return;
    mNextReport *= 10;
    report();
}

void DamageCounter::addRepaired() {
    // What it has refused is counted already.
    if (mComplaints.takeNew() && mCount == mAtLastUse) add(AVERROR_INVALIDDATA);
    mAtLastUse = mCount;
}

void DamageCounter::finish() {
    if (mCount > mReported) report();
}

void DamageCounter::report() {
    mReported = mCount;
    oxa::host::Fault fault;
    fault.source = mSource;
    fault.object = mObject;
    fault.cause = mWhat;
    if (mLastError < 0) {
        fault.cause += ": " + avErrorText(mLastError);
    }
    fault.count = mCount;
    oxa::host::reportFault(fault);
}

}  // namespace android
