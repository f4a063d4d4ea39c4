// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "FaultListener"

#include <log/log.h>
#include <oxa/host/FaultListener.h>

#include <map>

#include "base/AnnotatedMutex.h"
#include "base/Monotonic.h"
#include "base/SessionState.h"

namespace oxa::host {

namespace {

using android::AnnotatedLock;
using android::AnnotatedMutex;

// Held during calls, so that a removed listener is never called again.
AnnotatedMutex gListenerLock;
std::map<int, FaultListener> gListeners GUARDED_BY(gListenerLock);
int gNextListenerId GUARDED_BY(gListenerLock) = 1;

}  // namespace

int addFaultListener(FaultListener listener) {
    AnnotatedLock lock(gListenerLock);
    gListeners[gNextListenerId] = std::move(listener);
    return gNextListenerId++;
}

void removeFaultListener(int id) {
    AnnotatedLock lock(gListenerLock);
    gListeners.erase(id);
}

void reportFault(Fault fault) {
    fault.timeUs = android::monotonicUs();
    const auto session = SessionState::current();
    fault.session = session != nullptr ? session->id() : 0;
    ALOGW("%s: %s%s", fault.object.c_str(), fault.cause.c_str(), fault.ended ? " (ended)" : "");
    AnnotatedLock lock(gListenerLock);
    for (const auto& [id, listener] : gListeners)
        listener(fault);
}

}  // namespace oxa::host
