// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "AudioUtilService"

#include "hdmi/AudioUtilService.h"

#include <hidlmemory/mapping.h>
#include <log/log.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <utility>

namespace android {

using hardware::hidl_death_recipient;
using hardware::hidl_memory;
using hardware::Return;
using hardware::Status;
using hardware::Void;

namespace {

constexpr int32_t kMaxChannels = 8;
constexpr int32_t kEventPlug = 0;

Status deadObject() {
    return Status::fromStatusT(DEAD_OBJECT);
}

}  // namespace

AudioUtilService::~AudioUtilService() {
    AnnotatedLock lock(mLinkLock);
    ignorePlugLocked();
}

void AudioUtilService::die() {
    if (mDead.exchange(true)) return;
    setDelay(0);
    mCapture.stop();
    mCapture.setRecorded(false);
    {
        std::lock_guard<std::recursive_mutex> lock(mCallbackLock);
        mCallbacks.clear();
    }
    std::vector<Link> links;
    {
        AnnotatedLock lock(mLinkLock);
        links.swap(mLinks);
    }
    EventThread deaths;
    for (const Link& link : links) {
        deaths.post([this, link] { link.recipient->serviceDied(link.cookie, this); });
    }
    RxCapture::report("the service has died", EPIPE, true);
}

void AudioUtilService::setDelay(int64_t delayUs) {
    AnnotatedLock lock(mDelayLock);
    mDelayUs = delayUs;
    mDelayChanged.notify_all();
}

bool AudioUtilService::serves() {
    AnnotatedLock lock(mDelayLock);
    const auto begin = std::chrono::steady_clock::now();
    for (;;) {
        const auto end = begin + std::chrono::microseconds(mDelayUs);
        if (mDelayUs == 0 || std::chrono::steady_clock::now() >= end) return !mDead;
        mDelayChanged.wait_until(mDelayLock, end);
    }
}

Return<void> AudioUtilService::setRxRender(int32_t enable, int32_t /*sampleRate*/,
                                           int32_t channelCount) {
    if (!serves()) return deadObject();
    listenToPlug();
    if (enable == 0) {
        mCapture.stop();
    } else {
        mCapture.start(std::clamp(channelCount, 1, kMaxChannels));
        if (mDead) mCapture.stop();
    }
    return Void();
}

Return<void> AudioUtilService::setRxPlayback(bool enable) {
    if (!serves()) return deadObject();
    mCapture.setMonitored(enable);
    return Void();
}

Return<void> AudioUtilService::setRxRecord(bool enable) {
    if (!serves()) return deadObject();
    mCapture.setRecorded(enable);
    return Void();
}

Return<void> AudioUtilService::readRxAudio(const hidl_memory& region, readRxAudio_cb _hidl_cb) {
    if (!serves()) return deadObject();
    if (!mCapture.isRecorded() || !mCapture.isRunning()) {
        _hidl_cb(-1, 0, 0, 0, kStateOff);
        return Void();
    }
    const sp<hidl::memory::V1_0::IMemory> memory = hardware::mapMemory(region);
    RxBlock block;
    if (memory == nullptr || !mCapture.takeBlock(static_cast<size_t>(region.size()), &block)) {
        _hidl_cb(-1, 0, 0, 0, kStateNoBlock);
        return Void();
    }
    void* const base = memory->getPointer();
    const size_t size = block.samples.size() * sizeof(int16_t);
    memcpy(base, block.samples.data(), size);
    ++mBlocks;
    _hidl_cb(block.timeUs, static_cast<int32_t>(size), block.channels, block.sampleRate,
             block.afterLoss ? kStateBlockAfterLoss : kStateBlock);
    return Void();
}

Return<void> AudioUtilService::registerRxCallback(int32_t pid, const sp<Callback>& callback) {
    if (!serves()) return deadObject();
    listenToPlug();
    std::lock_guard<std::recursive_mutex> lock(mCallbackLock);
    if (callback != nullptr) mCallbacks[pid] = callback;
    return Void();
}

Return<void> AudioUtilService::removeRxCallback(int32_t pid) {
    if (!serves()) return deadObject();
    std::lock_guard<std::recursive_mutex> lock(mCallbackLock);
    mCallbacks.erase(pid);
    return Void();
}

Return<void> AudioUtilService::ping() {
    if (!serves()) return deadObject();
    return Void();
}

Return<bool> AudioUtilService::linkToDeath(const sp<hidl_death_recipient>& recipient,
                                           uint64_t cookie) {
    AnnotatedLock lock(mLinkLock);
    if (mDead || recipient == nullptr) return false;
    mLinks.push_back({recipient, cookie});
    return true;
}

Return<bool> AudioUtilService::unlinkToDeath(const sp<hidl_death_recipient>& recipient) {
    AnnotatedLock lock(mLinkLock);
    const auto found = std::find_if(mLinks.begin(), mLinks.end(),
                                    [&](const Link& link) { return link.recipient == recipient; });
    if (found == mLinks.end()) return false;
    mLinks.erase(found);
    return true;
}

void AudioUtilService::listenToPlug() {
    const sp<HdmiSignal> signal = HdmiSignal::current();
    AnnotatedLock lock(mLinkLock);
    if (signal == nullptr || mSignal == signal) return;
    ignorePlugLocked();
    mSignal = signal;
    mSignalListener = signal->addPlugListener(
            [this](bool /*plugged*/) { mEvents.post([this] { tellPlug(); }); });
}

void AudioUtilService::ignorePlugLocked() {
    const sp<HdmiSignal> signal = mSignal.promote();
    if (signal != nullptr) signal->removePlugListener(mSignalListener);
}

void AudioUtilService::tellPlug() {
    std::lock_guard<std::recursive_mutex> lock(mCallbackLock);
    const std::map<int32_t, sp<Callback>> callbacks = mCallbacks;
    for (const auto& [pid, callback] : callbacks) {
        if (mCallbacks.count(pid) == 0) continue;
        const Return<void> told = callback->handleEvent(kEventPlug);
        if (!told.isOk()) ALOGW("process %d cannot be told: %s", pid, told.description().c_str());
    }
}

}  // namespace android
