// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/TrackEnd.h"

#include <map>

#include "base/AnnotatedMutex.h"

namespace android {

namespace {

AnnotatedMutex gLock;
int64_t gNext GUARDED_BY(gLock) = 1;
std::map<int64_t, const wp<TrackEnd>> gEnds GUARDED_BY(gLock);

int64_t nextNumber() {
    AnnotatedLock lock(gLock);
    return gNext++;
}

}  // namespace

TrackEnd::TrackEnd() : mNumber(nextNumber()) {
    AnnotatedLock lock(gLock);
    gEnds.emplace(mNumber, this);
}

TrackEnd::~TrackEnd() {
    AnnotatedLock lock(gLock);
    gEnds.erase(mNumber);
}

sp<TrackEnd> TrackEnd::find(int64_t number) {
    sp<TrackEnd> end;
    {
        AnnotatedLock lock(gLock);
        const auto found = gEnds.find(number);
        if (found != gEnds.end()) end = found->second.promote();
    }
    return end;
}

}  // namespace android
