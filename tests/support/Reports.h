// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>

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
        mReports.push_back({msg, ALooper::GetNowUs()});
    }
    // How many of the code there are, with that item if one is named.
    int count(uint32_t what, const char* key = nullptr, int32_t value = 0) const {
        std::lock_guard<std::mutex> lock(mLock);
        int count = 0;
        for (const auto& [report, timeUs] : mReports) {
            int32_t found = 0;
            count += report->what() == what &&
                     (key == nullptr || (report->findInt32(key, &found) && found == value));
        }
        return count;
    }
    std::vector<uint32_t> codes() const {
        std::lock_guard<std::mutex> lock(mLock);
        std::vector<uint32_t> codes;
        for (const auto& [report, timeUs] : mReports)
            codes.push_back(report->what());
        return codes;
    }
    // When the first one of the code came; 0: none did.
    int64_t firstUs(uint32_t what) const {
        std::lock_guard<std::mutex> lock(mLock);
        for (const auto& [report, timeUs] : mReports) {
            if (report->what() == what) return timeUs;
        }
        return 0;
    }
    // The items of that name and type in the order of their reports.
    template <typename Item>
    std::vector<Item> items(bool (AMessage::*find)(const char*, Item*) const,
                            const char* key) const {
        std::lock_guard<std::mutex> lock(mLock);
        std::vector<Item> items;
        for (const auto& [report, timeUs] : mReports) {
            Item item;
            if ((report.get()->*find)(key, &item)) items.push_back(item);
        }
        return items;
    }
    // Is started when a track is reported, as the facade does for a single track.
    sp<OxaMediaMuxer> muxer;

  private:
    mutable std::mutex mLock;
    std::vector<std::pair<sp<AMessage>, int64_t>> mReports;  // guarded by mLock
};

// A looper for one handler, which runs while this object lives.
class OwnLooper {
  public:
    explicit OwnLooper(const sp<AHandler>& handler) : mHandler(handler) {
        mLooper->registerHandler(handler);
        mLooper->start();
    }
    ~OwnLooper() {
        mLooper->unregisterHandler(mHandler->id());
        mLooper->stop();
    }
    OwnLooper(const OwnLooper&) = delete;
    OwnLooper& operator=(const OwnLooper&) = delete;

  private:
    const sp<AHandler> mHandler;
    const sp<ALooper> mLooper = new ALooper;
};

}  // namespace android
