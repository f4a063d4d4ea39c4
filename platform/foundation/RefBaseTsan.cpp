// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

// Only in builds with the thread sanitizer. Reference counts live in libutils, which is not
// instrumented: without help the sanitizer does not know that whatever was done under any
// reference happens before the destructor that the last one runs, and reports a race for every
// object that changes threads. These two definitions stand in front of those of libutils and
// say so.

#include <dlfcn.h>
#include <sanitizer/tsan_interface.h>
#include <utils/RefBase.h>

namespace android {

void RefBase::decStrong(const void* id) const {
    using DecStrong = void (*)(const RefBase*, const void*);
    static const auto original =
            reinterpret_cast<DecStrong>(dlsym(RTLD_NEXT, "_ZNK7android7RefBase9decStrongEPKv"));
    __tsan_release(const_cast<RefBase*>(this));
    original(this, id);
}

// Called by the original decStrong between counting down to zero and deleting the object.
void RefBase::onLastStrongRef(const void* /*id*/) {
    __tsan_acquire(this);
}

}  // namespace android
