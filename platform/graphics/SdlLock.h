// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <mutex>

namespace android {

// SDL counts the users of its subsystems without a lock: whoever starts or quits one (picture,
// sound) holds this meanwhile.
inline std::mutex& sdlSubsystemLock() {
    static std::mutex lock;
    return lock;
}

}  // namespace android
