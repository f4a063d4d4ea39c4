// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include <atomic>
#include <chrono>

#include "codec/CodecComponent.h"

namespace oxa::test {

// The platform's AVC decoder, which stands still for a while before one of its pictures. From
// install() on it is the decoder of all AVC in this process.
class StallingDecoder : public android::CodecComponent, android::CodecComponent::Client {
  public:
    static void install();
    // For decoders that are made afterwards: the stall comes before this picture, counted from 0.
    static void setStall(int picture, std::chrono::milliseconds length);

    android::AString name() const override { return mDecoder->name(); }
    android::status_t configure(const android::sp<android::AMessage>& format,
                                const android::sp<android::Surface>& surface) override {
        return mDecoder->configure(format, surface);
    }
    size_t inputCount() const override { return mDecoder->inputCount(); }
    size_t inputCapacity() const override { return mDecoder->inputCapacity(); }
    android::status_t start(android::CodecComponent::Client* client) override;
    void stop() override { mDecoder->stop(); }
    void queueInput(const android::CodecInput& input) override { mDecoder->queueInput(input); }
    void releaseOutput(const android::CodecOutput& output, bool render,
                       int64_t timestampNs) override {
        mDecoder->releaseOutput(output, render, timestampNs);
    }

  private:
    explicit StallingDecoder(const android::sp<android::CodecComponent>& decoder)
        : mDecoder(decoder) {}

    void onInputConsumed(size_t index) override { mClient->onInputConsumed(index); }
    void onOutputFormat(const android::sp<android::AMessage>& format) override {
        mClient->onOutputFormat(format);
    }
    void onOutput(const android::CodecOutput& output) override;
    void onError(android::status_t err, int32_t actionCode) override {
        mClient->onError(err, actionCode);
    }

    const android::sp<android::CodecComponent> mDecoder;
    android::CodecComponent::Client* mClient = nullptr;
    int mPictures = 0;
};

}  // namespace oxa::test
