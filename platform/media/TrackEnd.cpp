// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "media/TrackEnd.h"

#include <map>
#include <mutex>

namespace android {

namespace {

std::mutex gLock;
int64_t gNext = 1;                            // guarded by gLock
std::map<int64_t, const wp<TrackEnd>> gEnds;  // guarded by gLock

int64_t nextNumber() {
    std::lock_guard<std::mutex> lock(gLock);
    return gNext++;
}

}  // namespace

TrackEnd::TrackEnd() : mNumber(nextNumber()) {
    std::lock_guard<std::mutex> lock(gLock);
    gEnds.emplace(mNumber, this);
}

TrackEnd::~TrackEnd() {
    std::lock_guard<std::mutex> lock(gLock);
    gEnds.erase(mNumber);
}

sp<TrackEnd> TrackEnd::find(int64_t number) {
    sp<TrackEnd> end;
    {
        std::lock_guard<std::mutex> lock(gLock);
        const auto found = gEnds.find(number);
        if (found != gEnds.end()) end = found->second.promote();
    }
    return end;
}

}  // namespace android
