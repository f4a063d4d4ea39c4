// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "hidl/ServiceTable.h"

#include <map>
#include <utility>

#include "base/AnnotatedMutex.h"

namespace android {

using hidl::base::V1_0::IBase;

namespace {

using Key = std::pair<std::string, std::string>;

AnnotatedMutex gLock;
auto& gServices GUARDED_BY(gLock) = *new std::map<Key, sp<IBase>>;

}  // namespace

void addService(const std::string& descriptor, const std::string& name, const sp<IBase>& service) {
    sp<IBase> former;  // goes without the lock
    AnnotatedLock lock(gLock);
    former = std::exchange(gServices[{descriptor, name}], service);
}

void removeService(const std::string& descriptor, const std::string& name,
                   const sp<IBase>& service) {
    AnnotatedLock lock(gLock);
    const auto found = gServices.find({descriptor, name});
    if (found != gServices.end() && found->second == service) gServices.erase(found);
}

sp<IBase> findService(const std::string& descriptor, const std::string& name) {
    AnnotatedLock lock(gLock);
    const auto found = gServices.find({descriptor, name});
    return found == gServices.end() ? nullptr : found->second;
}

}  // namespace android
