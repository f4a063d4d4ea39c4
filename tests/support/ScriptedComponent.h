// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "codec/CodecComponent.h"
#include "codec/ComponentTable.h"
#include "support/Test.h"

namespace oxa::test {

// A component that does what the test tells it, on the test's thread; last() is the one that was
// made last.
class ScriptedComponent : public android::CodecComponent {
  public:
    static constexpr const char* kMime = "video/x-scripted";
    static constexpr size_t kInputCount = 3;
    static constexpr size_t kInputCapacity = 100;

    // Stands in for the decoder of a type from now on, for the rest of the process.
    static void standInFor(const char* mime);
    static ScriptedComponent* last() { return sLast; }

    // What the next calls answer.
    static inline android::status_t sConfigureResult = android::OK;
    static inline android::status_t sStartResult = android::OK;

    void consume(size_t input) { mClient->onInputConsumed(input); }
    void offer(int64_t timeUs, size_t size, uint32_t flags = 0);
    void fail(android::status_t err, int32_t actionCode) { mClient->onError(err, actionCode); }
    // stop() makes reports of all kinds before it returns, as a worker in full swing may.
    void reportWhileStopping() { mReportsWhileStopping = true; }

    const std::vector<android::CodecInput>& inputs() const { return mInputs; }
    struct Released {
        int64_t timeUs;
        bool render;
        int64_t timestampNs;
    };
    const std::vector<Released>& released() const { return mReleased; }

    android::AString name() const override { return android::AString("c2.test.scripted"); }
    android::status_t configure(const android::sp<android::AMessage>& format,
                                const android::sp<android::Surface>& surface) override;
    size_t inputCount() const override { return kInputCount; }
    size_t inputCapacity() const override { return kInputCapacity; }
    android::status_t start(Client* client) override;
    void stop() override;
    void queueInput(const android::CodecInput& input) override { mInputs.push_back(input); }
    void releaseOutput(const android::CodecOutput& output, bool render,
                       int64_t timestampNs) override;

  private:
    static android::sp<android::CodecComponent> create(const android::AString&) {
        return new ScriptedComponent;
    }
    ScriptedComponent() { sLast = this; }
    ~ScriptedComponent() override {
        if (sLast == this) sLast = nullptr;
    }

    static inline ScriptedComponent* sLast = nullptr;

    Client* mClient = nullptr;
    bool mReportsWhileStopping = false;
    // Changed on the codec's looper; the codec's calls wait for it, so tests may read them.
    std::vector<android::CodecInput> mInputs;
    std::vector<Released> mReleased;
};

}  // namespace oxa::test
