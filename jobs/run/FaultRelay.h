// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <oxa/host/Session.h>

#include <memory>

#include "run/EventQueue.h"

namespace oxa::jobs {

// Passes the faults of one session into a queue, for as long as it lives.
class FaultRelay {
  public:
    // With `hearsSoundService` also those of the HDMI sound service, which belongs to no session.
    FaultRelay(const host::Session& session, const std::shared_ptr<EventQueue>& queue,
               bool hearsSoundService = false);
    ~FaultRelay();
    FaultRelay(const FaultRelay&) = delete;
    FaultRelay& operator=(const FaultRelay&) = delete;

  private:
    const int mListener;
};

}  // namespace oxa::jobs
