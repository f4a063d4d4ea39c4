// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/audio/ManualOutput.h"

#include <oxa/host/SoundOutput.h>

#include "audio/SoundOutputChoice.h"

namespace oxa::test {

using namespace android;

class ManualOutput::Sink : public SoundSink {
  public:
    explicit Sink(std::shared_ptr<State> state) : mState(std::move(state)) {}

    status_t open(const SoundFormat& format, SoundSource* source) override {
        mState->format = format;
        mState->source = source;
        return OK;
    }
    status_t start() override {
        const status_t result = mState->startResult;
        mState->running = result == OK;
        return result;
    }
    void stop() override { mState->running = false; }
    int64_t latencyUs() const override { return mState->latencyUs; }
    int64_t blockUs() const override { return kBlockUs; }

  private:
    const std::shared_ptr<State> mState;
};

ManualOutput::ManualOutput() {
    setSoundSinkFactory([state = mState](const SoundFormat& format, SoundSource* source) {
        std::unique_ptr<SoundSink> sink;
        if (state->refuses) return sink;
        sink = std::make_unique<Sink>(state);
        sink->open(format, source);
        return sink;
    });
}

ManualOutput::~ManualOutput() {
    oxa::host::useSoundDevice();
}

std::vector<int16_t> ManualOutput::pull(size_t frames, int64_t heardAtUs) {
    std::vector<int16_t> samples(frames * mState->format.channels, -1);
    mState->source.load()->fill(samples.data(), frames, heardAtUs);
    return samples;
}

std::vector<int16_t> ManualOutput::pullSound(size_t frames) {
    constexpr int64_t kLateUs = 10000000;
    pull(0, 0);  // the silence counts from the first pull on
    return pull(frames, monotonicUs() + kLateUs);
}

}  // namespace oxa::test
