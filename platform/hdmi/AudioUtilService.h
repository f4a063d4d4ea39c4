// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>

#include <atomic>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "base/AnnotatedMutex.h"
#include "hdmi/EventThread.h"
#include "hdmi/HdmiSignal.h"
#include "hdmi/RxCapture.h"

namespace android {

// The HDMI audio service: captures while a client renders, keeps blocks for a client that records,
// and plays to one that monitors. Thread-safe.
class AudioUtilService : public vendor::oxa::audioutil::V1_0::IAudioUtil {
  public:
    using Callback = vendor::oxa::audioutil::V1_0::IAudioUtilCallback;

    // What readRxAudio() tells as state.
    enum State {
        kStateOff = -1,  // nothing is captured or recorded
        kStateBlock = 0,
        kStateBlockAfterLoss = 1,  // blocks before this one were dropped
        kStateNoBlock = 3,
    };

    explicit AudioUtilService(RxCapture::InputChoice input) : mCapture(std::move(input)) {}
    ~AudioUtilService() override;

    // The process of the service has died. Whoever is to hear of it has heard when this returns.
    // Not from a callback.
    void die();
    // How much longer each call takes from now on.
    void setDelay(int64_t delayUs);
    // The input has changed.
    void restartCapture() { mCapture.restart(); }

    uint64_t blocks() const { return mBlocks; }
    uint64_t droppedBlocks() const { return mCapture.droppedBlocks(); }
    double peak() const { return mCapture.peak(); }
    bool isCapturing() const { return mCapture.isRunning(); }

    hardware::Return<void> setRxRender(int32_t enable, int32_t sampleRate,
                                       int32_t channelCount) override;
    hardware::Return<void> setRxPlayback(bool enable) override;
    hardware::Return<void> setRxRecord(bool enable) override;
    hardware::Return<void> readRxAudio(const hardware::hidl_memory& region,
                                       readRxAudio_cb _hidl_cb) override;
    hardware::Return<void> registerRxCallback(int32_t pid, const sp<Callback>& callback) override;
    hardware::Return<void> removeRxCallback(int32_t pid) override;
    hardware::Return<void> ping() override;
    hardware::Return<bool> linkToDeath(const sp<hardware::hidl_death_recipient>& recipient,
                                       uint64_t cookie) override;
    hardware::Return<bool> unlinkToDeath(
            const sp<hardware::hidl_death_recipient>& recipient) override;
    bool isRemote() const override { return true; }

  private:
    struct Link {
        sp<hardware::hidl_death_recipient> recipient;
        uint64_t cookie;
    };

    // Takes the time that a call takes. False when the service is dead.
    bool serves();
    void listenToPlug();
    void ignorePlugLocked() REQUIRES(mLinkLock);
    void tellPlug();

    std::atomic<bool> mDead{false};
    AnnotatedMutex mDelayLock;
    AnnotatedCondition mDelayChanged;  // or the service is dead
    int64_t mDelayUs GUARDED_BY(mDelayLock) = 0;
    std::atomic<uint64_t> mBlocks{0};
    RxCapture mCapture;

    std::recursive_mutex mCallbackLock;  // held during callbacks: a removed one is not called again
    std::map<int32_t, sp<Callback>> mCallbacks;  // guarded by mCallbackLock

    AnnotatedMutex mLinkLock;
    std::vector<Link> mLinks GUARDED_BY(mLinkLock);
    wp<HdmiSignal> mSignal GUARDED_BY(mLinkLock);
    int mSignalListener GUARDED_BY(mLinkLock) = 0;
    EventThread mEvents;  // last: its thread uses the others
};

}  // namespace android
