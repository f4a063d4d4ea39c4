// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>
#include <utils/Errors.h>
#include <vendor/oxa/audioutil/1.0/IAudioUtilCallback.h>

#include <cstdint>
#include <functional>
#include <string>

namespace vendor::oxa::audioutil::V1_0 {

// Written after IAudioUtil.hal, which describes the calls. The calls of a service that has ended
// answer that the object is dead, and call nothing back.
struct IAudioUtil : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    virtual ::android::hardware::Return<void> setRxRender(int32_t enable, int32_t sampleRate,
                                                          int32_t channelCount) = 0;

    virtual ::android::hardware::Return<void> setRxPlayback(bool enable) = 0;

    virtual ::android::hardware::Return<void> setRxRecord(bool enable) = 0;

    using readRxAudio_cb =
            std::function<void(int64_t timeStampUs, int32_t size, int32_t channelCount,
                               int32_t sampleRate, int32_t state)>;
    virtual ::android::hardware::Return<void> readRxAudio(
            const ::android::hardware::hidl_memory& region, readRxAudio_cb _hidl_cb) = 0;

    virtual ::android::hardware::Return<void> registerRxCallback(
            int32_t pid,
            const ::android::sp<::vendor::oxa::audioutil::V1_0::IAudioUtilCallback>& callback) = 0;

    virtual ::android::hardware::Return<void> removeRxCallback(int32_t pid) = 0;

    ::android::hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override;

    // Null for null and for an object of another interface.
    static ::android::hardware::Return<::android::sp<IAudioUtil>> castFrom(
            const ::android::sp<::android::hidl::base::V1_0::IBase>& parent,
            bool emitError = false);

    // The service of that name; null at once when there is none. Nobody starts one here: it is
    // there as soon as it was registered. `getStub` asks for an implementation that is loaded into
    // the process, of which there is none: null.
    static ::android::sp<IAudioUtil> getService(const std::string& serviceName = "default",
                                                bool getStub = false);
    static ::android::sp<IAudioUtil> getService(const char serviceName[], bool getStub = false) {
        return getService(std::string(serviceName != nullptr ? serviceName : ""), getStub);
    }
    static ::android::sp<IAudioUtil> getService(const ::android::hardware::hidl_string& serviceName,
                                                bool getStub = false) {
        return getService(std::string(serviceName), getStub);
    }
    static ::android::sp<IAudioUtil> getService(bool getStub) {
        return getService("default", getStub);
    }
    static ::android::sp<IAudioUtil> tryGetService(const std::string& serviceName = "default",
                                                   bool getStub = false) {
        return getService(serviceName, getStub);
    }

    // From now on getService() gives this object; it takes the place of another of that name.
    [[nodiscard]] ::android::status_t registerAsService(const std::string& serviceName = "default");
};

}  // namespace vendor::oxa::audioutil::V1_0
