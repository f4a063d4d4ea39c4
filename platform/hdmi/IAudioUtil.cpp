// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>

#include "hdmi/DefaultAudioUtil.h"
#include "hidl/ServiceTable.h"

using android::sp;
using android::hardware::hidl_string;
using android::hardware::Return;
using android::hardware::Void;
using android::hidl::base::V1_0::IBase;

namespace vendor::oxa::audioutil::V1_0 {

namespace {

// The object as `Interface`; null when it says that it is of another.
template <typename Interface>
Return<sp<Interface>> cast(const sp<IBase>& object) {
    bool matches = false;
    if (object != nullptr) {
        const Return<void> asked = object->interfaceDescriptor(
                [&](const hidl_string& name) { matches = name == Interface::descriptor; });
        matches = matches && asked.isOk();
    }
    return matches ? sp<Interface>(static_cast<Interface*>(object.get())) : nullptr;
}

}  // namespace

const char* IAudioUtilCallback::descriptor = "vendor.oxa.audioutil@1.0::IAudioUtilCallback";

Return<void> IAudioUtilCallback::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return Void();
}

Return<sp<IAudioUtilCallback>> IAudioUtilCallback::castFrom(const sp<IBase>& parent,
                                                            bool /*emitError*/) {
    return cast<IAudioUtilCallback>(parent);
}

const char* IAudioUtil::descriptor = "vendor.oxa.audioutil@1.0::IAudioUtil";

Return<void> IAudioUtil::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(descriptor);
    return Void();
}

Return<sp<IAudioUtil>> IAudioUtil::castFrom(const sp<IBase>& parent, bool /*emitError*/) {
    return cast<IAudioUtil>(parent);
}

sp<IAudioUtil> IAudioUtil::getService(const std::string& serviceName, bool getStub) {
    if (getStub) return nullptr;
    android::startDefaultAudioUtil();
    return castFrom(android::findService(descriptor, serviceName));
}

android::status_t IAudioUtil::registerAsService(const std::string& serviceName) {
    if (serviceName.empty()) return android::BAD_VALUE;
    android::addService(descriptor, serviceName, this);
    return android::OK;
}

}  // namespace vendor::oxa::audioutil::V1_0
