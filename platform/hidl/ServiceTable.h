// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <android/hidl/base/1.0/IBase.h>

#include <string>

namespace android {

// The services of this process, by interface and name. Thread-safe.
void addService(const std::string& descriptor, const std::string& name,
                const sp<hidl::base::V1_0::IBase>& service);
// Only if it still is this one.
void removeService(const std::string& descriptor, const std::string& name,
                   const sp<hidl::base::V1_0::IBase>& service);
// Null when there is none.
sp<hidl::base::V1_0::IBase> findService(const std::string& descriptor, const std::string& name);

}  // namespace android
