// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <vector>

#include "codec/CodecComponent.h"

namespace android {

// Stands in MediaCodec's place: owns the input buffers of one audio component, feeds it, and keeps
// what comes out. Outputs are given back at once unless held. All waits have a deadline.
class AudioComponentDriver : public CodecComponent::Client {
  public:
    struct Output {
        std::vector<uint8_t> bytes;
        int64_t timeUs = 0;
        uint32_t flags = 0;
    };

    explicit AudioComponentDriver(const sp<CodecComponent>& component);
    ~AudioComponentDriver() override;

    // configure() and start(), with new input buffers.
    status_t start(const sp<AMessage>& format);
    void stop();

    // Waits for a free input buffer and queues it; false when none became free.
    bool queue(const void* data, size_t size, int64_t timeUs, uint32_t flags = 0);
    bool queueEnd(int64_t timeUs = 0);
    // True once the end came out; false after an error or when nothing comes.
    bool waitForEnd();
    // As a client that is slow: outputs stay with it until stop().
    void holdOutputs() { mHolding = true; }

    // To be read after waitForEnd() or stop(). The empty output of the end is not among them.
    const std::vector<Output>& outputs() const { return mOutputs; }
    // Of a decoder: the samples of all outputs.
    std::vector<int16_t> pcm() const;
    const std::vector<sp<AMessage>>& formats() const { return mFormats; }
    // Of the first format; -1 if it is not in it.
    int32_t formatInt32(const char* key) const;
    // False if an output came before a format, after the end, or an input was given back twice.
    bool inOrder() const { return mInOrder; }

    void onInputConsumed(size_t index) override;
    void onOutputFormat(const sp<AMessage>& format) override;
    void onOutput(const CodecOutput& output) override;
    void onError(status_t err, int32_t actionCode) override;

  private:
    const sp<CodecComponent> mComponent;
    bool mHolding = false;

    std::mutex mLock;
    std::condition_variable mChanged;
    // All guarded by mLock while the component runs.
    std::vector<sp<MediaCodecBuffer>> mInputs;
    std::deque<size_t> mFreeInputs;
    std::vector<Output> mOutputs;
    std::vector<sp<AMessage>> mFormats;
    int mErrors = 0;
    bool mEnded = false;
    bool mInOrder = true;
};

}  // namespace android
