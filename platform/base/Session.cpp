// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/Session.h>

#include <atomic>

#include "base/SessionState.h"

namespace oxa::host {

namespace {

std::atomic<uint64_t> gLastId{0};
thread_local std::shared_ptr<SessionState> tState;

// Threads may outlive static objects.
const std::shared_ptr<SessionState>& processState() {
    static const auto* state = new auto(std::make_shared<SessionState>(0));
    return *state;
}

}  // namespace

std::shared_ptr<SessionState> SessionState::current() {
    return tState;
}

SessionState& SessionState::ofProcess() {
    return *processState();
}

std::shared_ptr<SessionState> SessionState::orProcess() {
    return tState != nullptr ? tState : processState();
}

std::any SessionState::get(const void* key) const {
    android::AnnotatedLock lock(mLock);
    const auto entry = mValues.find(key);
    return entry == mValues.end() ? std::any() : entry->second;
}

std::any SessionState::exchange(const void* key, std::any value) {
    android::AnnotatedLock lock(mLock);
    return std::exchange(mValues[key], std::move(value));
}

Session::Session() : mState(std::make_shared<SessionState>(++gLastId)) {}

uint64_t Session::id() const {
    return mState->id();
}

SessionScope::SessionScope(const Session& session) : SessionScope(session.mState) {}

SessionScope::SessionScope(std::shared_ptr<SessionState> state)
    : mFormer(std::exchange(tState, std::move(state))) {}

SessionScope::~SessionScope() {
    tState = mFormer;
}

}  // namespace oxa::host
