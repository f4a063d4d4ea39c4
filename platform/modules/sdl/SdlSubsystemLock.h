// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "base/AnnotatedMutex.h"

namespace android {

// SDL keeps its books about subsystems without a lock. Whoever initialises or quits one, on
// whatever thread, holds this.
inline AnnotatedMutex& sdlSubsystemLock() {
    static AnnotatedMutex lock;
    return lock;
}

}  // namespace android
