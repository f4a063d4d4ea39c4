// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/hidl/base/1.0/IBase.h>
#include <hidl/HidlSupport.h>
#include <hidl/Status.h>

namespace vendor::oxa::audioutil::V1_0 {

// Written after IAudioUtilCallback.hal, which describes the calls.
struct IAudioUtilCallback : public ::android::hidl::base::V1_0::IBase {
    static const char* descriptor;

    virtual ::android::hardware::Return<void> handleEvent(int32_t event) = 0;

    ::android::hardware::Return<void> interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) override;

    // Null for null and for an object of another interface.
    static ::android::hardware::Return<::android::sp<IAudioUtilCallback>> castFrom(
            const ::android::sp<::android::hidl::base::V1_0::IBase>& parent,
            bool emitError = false);
};

}  // namespace vendor::oxa::audioutil::V1_0
