// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "hidl/ServiceTable.h"

#include <map>
#include <mutex>
#include <utility>

namespace android {

using hidl::base::V1_0::IBase;

namespace {

using Key = std::pair<std::string, std::string>;

std::mutex gLock;
auto& gServices = *new std::map<Key, sp<IBase>>;  // guarded by gLock

}  // namespace

void addService(const std::string& descriptor, const std::string& name, const sp<IBase>& service) {
    sp<IBase> former;  // goes without the lock
    std::lock_guard<std::mutex> lock(gLock);
    former = std::exchange(gServices[{descriptor, name}], service);
}

void removeService(const std::string& descriptor, const std::string& name,
                   const sp<IBase>& service) {
    std::lock_guard<std::mutex> lock(gLock);
    const auto found = gServices.find({descriptor, name});
    if (found != gServices.end() && found->second == service) gServices.erase(found);
}

sp<IBase> findService(const std::string& descriptor, const std::string& name) {
    std::lock_guard<std::mutex> lock(gLock);
    const auto found = gServices.find({descriptor, name});
    return found == gServices.end() ? nullptr : found->second;
}

}  // namespace android
