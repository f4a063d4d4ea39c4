// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <cstdint>
#include <memory>

namespace oxa::host {

class SessionState;

// One piece of work of a process that does several: what is set in a session (the encoder's preset,
// how outputs end and how long they wait, where sound is heard) counts there alone, and the faults
// of its threads carry its number. A thread is in a session while it has a SessionScope; a thread
// that the platform starts stays for its whole life in the session of the one that started it. Who
// is in none sets what counts for all that have not set it themselves.
class Session {
  public:
    // Thread-safe, like all below.
    Session();

    // Of this process's sessions no other has it; never 0.
    uint64_t id() const;

  private:
    friend class SessionScope;
    std::shared_ptr<SessionState> mState;  // shared with the session's threads
};

// Puts the calling thread into a session and back into the one before. To be destroyed on the
// thread that made it, the last one first.
class SessionScope {
  public:
    explicit SessionScope(const Session& session);
    explicit SessionScope(std::shared_ptr<SessionState> state);  // null: none
    ~SessionScope();
    SessionScope(const SessionScope&) = delete;
    SessionScope& operator=(const SessionScope&) = delete;

  private:
    const std::shared_ptr<SessionState> mFormer;
};

}  // namespace oxa::host
