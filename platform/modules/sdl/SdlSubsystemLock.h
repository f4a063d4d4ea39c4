// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <mutex>

namespace android {

// SDL keeps its books about subsystems without a lock. Whoever initialises or quits one, on
// whatever thread, holds this.
inline std::mutex& sdlSubsystemLock() {
    static std::mutex lock;
    return lock;
}

}  // namespace android
