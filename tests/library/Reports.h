// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>

#include <mutex>
#include <vector>

#include "OxaMediaCodecPlayerCommon.h"
#include "OxaMediaMuxer.h"

namespace android {

// Keeps the reports that it is sent: stands in for the facade, or for its client.
class Reports : public AHandler {
  public:
    void onMessageReceived(const sp<AMessage>& msg) override {
        if (msg->what() == kWhatTrackAdded && muxer != nullptr) muxer->start();
        std::lock_guard<std::mutex> lock(mLock);
        mReports.push_back(msg);
    }

    // How many of the code there are, with that item if one is named.
    int count(uint32_t what, const char* key = nullptr, int32_t value = 0) const {
        std::lock_guard<std::mutex> lock(mLock);
        int count = 0;
        for (const sp<AMessage>& report : mReports) {
            int32_t found = 0;
            count += report->what() == what &&
                     (key == nullptr || (report->findInt32(key, &found) && found == value));
        }
        return count;
    }
    // The items of that name in the order of their reports.
    std::vector<int64_t> times(const char* key) const {
        std::lock_guard<std::mutex> lock(mLock);
        std::vector<int64_t> times;
        for (const sp<AMessage>& report : mReports) {
            int64_t timeUs;
            if (report->findInt64(key, &timeUs)) times.push_back(timeUs);
        }
        return times;
    }

    // Is started when a track is reported, as the facade does for a single track.
    sp<OxaMediaMuxer> muxer;

  private:
    mutable std::mutex mLock;
    std::vector<sp<AMessage>> mReports;  // guarded by mLock
};

}  // namespace android
