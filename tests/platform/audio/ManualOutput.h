// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <utils/Errors.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "audio/SoundSink.h"

namespace oxa::test {

// While it lives, new tracks get a sink whose clock is the test: sound is pulled when pull() is
// called, and heard when the test says so. For one track at a time.
class ManualOutput {
  public:
    // What the sink says that it pulls at a time.
    static constexpr int64_t kBlockUs = 12000;

    ManualOutput();
    ~ManualOutput();
    ManualOutput(const ManualOutput&) = delete;
    ManualOutput& operator=(const ManualOutput&) = delete;

    // What the sink answers from now on.
    void setStartResult(android::status_t result) { mState->startResult = result; }
    void setLatencyUs(int64_t latencyUs) { mState->latencyUs = latencyUs; }
    // The next track finds no output.
    void refuseToOpen() { mState->refuses = true; }

    bool running() const { return mState->running; }
    // Interleaved samples, the first frame of which is heard at `heardAtUs`.
    std::vector<int16_t> pull(size_t frames, int64_t heardAtUs);
    // Heard so late that the silence at the start is over.
    std::vector<int16_t> pullSound(size_t frames);

  private:
    struct State {
        std::atomic<android::status_t> startResult{android::OK};
        std::atomic<int64_t> latencyUs{0};
        std::atomic<bool> refuses{false};
        std::atomic<bool> running{false};
        android::SoundFormat format;
        std::atomic<android::SoundSource*> source{nullptr};
    };
    class Sink;

    const std::shared_ptr<State> mState = std::make_shared<State>();
};

}  // namespace oxa::test
