// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#define LOG_TAG "FaultListener"

#include <log/log.h>
#include <oxa/host/FaultListener.h>

#include <map>
#include <mutex>

#include "base/Monotonic.h"
#include "base/SessionState.h"

namespace oxa::host {

namespace {

std::mutex gListenerLock;  // held during calls, so that a removed listener is never called again
std::map<int, FaultListener> gListeners;  // guarded by gListenerLock
int gNextListenerId = 1;                  // guarded by gListenerLock

}  // namespace

int addFaultListener(FaultListener listener) {
    std::lock_guard<std::mutex> lock(gListenerLock);
    gListeners[gNextListenerId] = std::move(listener);
    return gNextListenerId++;
}

void removeFaultListener(int id) {
    std::lock_guard<std::mutex> lock(gListenerLock);
    gListeners.erase(id);
}

void reportFault(Fault fault) {
    fault.timeUs = android::monotonicUs();
    const auto session = SessionState::current();
    fault.session = session != nullptr ? session->id() : 0;
    ALOGW("%s: %s%s", fault.object.c_str(), fault.cause.c_str(), fault.ended ? " (ended)" : "");
    std::lock_guard<std::mutex> lock(gListenerLock);
    for (const auto& [id, listener] : gListeners)
        listener(fault);
}

}  // namespace oxa::host
