// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <android/hidl/base/1.0/IBase.h>

namespace android::hidl::base::V1_0 {

using hardware::hidl_string;
using hardware::hidl_vec;
using hardware::Return;
using hardware::Void;

const char* IBase::descriptor = "android.hidl.base@1.0::IBase";

// As the interface has it. NOLINTNEXTLINE(performance-unnecessary-value-param)
Return<void> IBase::interfaceDescriptor(interfaceDescriptor_cb _hidl_cb) {
    _hidl_cb(IBase::descriptor);
    return Void();
}

// As the interface has it. NOLINTNEXTLINE(performance-unnecessary-value-param)
Return<void> IBase::interfaceChain(interfaceChain_cb _hidl_cb) {
    std::string own;
    const Return<void> named =
            interfaceDescriptor([&](const hidl_string& name) { own = std::string(name); });
    hidl_vec<hidl_string> chain{own};
    if (own != IBase::descriptor) chain = {own, IBase::descriptor};
    if (named.isOk()) _hidl_cb(chain);
    return Void();
}

Return<void> IBase::ping() {
    return Void();
}

Return<bool> IBase::linkToDeath(const sp<hardware::hidl_death_recipient>& /*recipient*/,
                                uint64_t /*cookie*/) {
    return false;
}

Return<bool> IBase::unlinkToDeath(const sp<hardware::hidl_death_recipient>& /*recipient*/) {
    return false;
}

}  // namespace android::hidl::base::V1_0
