// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Session.h>

#include <any>
#include <map>
#include <memory>
#include <utility>

#include "base/AnnotatedMutex.h"

namespace oxa::host {

// What was set in one session, or in none. Thread-safe.
class SessionState {
  public:
    explicit SessionState(uint64_t id) : mId(id) {}

    // That of the calling thread; null when it is in none.
    static std::shared_ptr<SessionState> current();
    // That of the threads that are in none.
    static SessionState& ofProcess();
    // The one in which the calling thread sets something.
    static std::shared_ptr<SessionState> orProcess();

    uint64_t id() const { return mId; }

    // Values by the address of what they are values of; empty where none was set.
    std::any get(const void* key) const;
    std::any exchange(const void* key, std::any value);

  private:
    const uint64_t mId;
    mutable android::AnnotatedMutex mLock;
    std::map<const void*, std::any> mValues GUARDED_BY(mLock);
};

// A setting that each session can have of its own.
template <typename Value>
class SessionValue {
  public:
    explicit SessionValue(Value initial = {}) : mInitial(std::move(initial)) {}

    void set(Value value) { SessionState::orProcess()->exchange(this, std::move(value)); }

    // The session's own, else the process's.
    Value get() const {
        std::any value = SessionState::orProcess()->get(this);
        if (!value.has_value()) value = SessionState::ofProcess().get(this);
        return value.has_value() ? std::any_cast<Value>(value) : mInitial;
    }

    // What was set here; it counts as not set afterwards.
    Value take() {
        const std::any value = SessionState::orProcess()->exchange(this, {});
        return value.has_value() ? std::any_cast<Value>(value) : mInitial;
    }

  private:
    const Value mInitial;
};

// For the thread that does `work`: in the session of the thread that makes it.
template <typename Work>
auto inSession(Work work) {
    return [state = SessionState::current(), work = std::move(work)]() mutable {
        const SessionScope scope(std::move(state));
        work();
    };
}

}  // namespace oxa::host
