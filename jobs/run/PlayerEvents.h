// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <media/stagefright/foundation/AHandler.h>
#include <media/stagefright/foundation/ALooper.h>

#include <memory>

#include "run/EventQueue.h"

namespace oxa::jobs {

// Passes on what a player reports, for as long as it lives: end of stream, frame rates, the plug
// and failed encoders.
class PlayerEvents {
  public:
    explicit PlayerEvents(const std::shared_ptr<EventQueue>& queue);
    ~PlayerEvents();
    PlayerEvents(const PlayerEvents&) = delete;
    PlayerEvents& operator=(const PlayerEvents&) = delete;

    // For the player's mStatusHandler.
    const android::sp<android::AHandler>& handler() const { return mHandler; }

  private:
    android::sp<android::ALooper> mLooper;
    android::sp<android::AHandler> mHandler;
};

}  // namespace oxa::jobs
