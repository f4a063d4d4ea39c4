// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#pragma once

#include "codec/CodecComponent.h"
#include "codec/ComponentTable.h"

namespace oxa::test {

// A codec of the platform with something in between: passes on all calls and all results. A test
// changes those that it is about.
class CodecShim : public android::CodecComponent, protected android::CodecComponent::Client {
  public:
    explicit CodecShim(const android::sp<android::CodecComponent>& codec) : mCodec(codec) {}

    android::AString name() const override { return mCodec->name(); }
    android::status_t configure(const android::sp<android::AMessage>& format,
                                const android::sp<android::Surface>& surface) override {
        return mCodec->configure(format, surface);
    }
    size_t inputCount() const override { return mCodec->inputCount(); }
    size_t inputCapacity() const override { return mCodec->inputCapacity(); }
    android::status_t createInputSurface(
            android::sp<android::IGraphicBufferProducer>* producer) override {
        return mCodec->createInputSurface(producer);
    }
    android::status_t start(android::CodecComponent::Client* client) override {
        mClient = client;
        return mCodec->start(this);
    }
    void stop() override { mCodec->stop(); }
    void queueInput(const android::CodecInput& input) override { mCodec->queueInput(input); }
    void releaseOutput(const android::CodecOutput& output, bool render,
                       int64_t timestampNs) override {
        mCodec->releaseOutput(output, render, timestampNs);
    }
    android::status_t signalEndOfInputStream() override { return mCodec->signalEndOfInputStream(); }
    android::status_t setParameters(const android::sp<android::AMessage>& params) override {
        return mCodec->setParameters(params);
    }

  protected:
    void onInputConsumed(size_t index) override { mClient->onInputConsumed(index); }
    void onOutputFormat(const android::sp<android::AMessage>& format) override {
        mClient->onOutputFormat(format);
    }
    void onOutput(const android::CodecOutput& output) override { mClient->onOutput(output); }
    void onError(android::status_t err, int32_t actionCode) override {
        mClient->onError(err, actionCode);
    }

    const android::sp<android::CodecComponent> mCodec;
    android::CodecComponent::Client* mClient = nullptr;
};

// From now on a Shim is before each codec of this kind in this process.
template <typename Shim>
void installShim(const char* mime, android::CodecDirection direction) {
    static const android::ComponentRow* platformRow = nullptr;
    if (platformRow != nullptr) return;
    platformRow = android::findComponent(mime, direction);
    android::addComponent(
            {mime, direction,
             [](const android::AString& type) -> android::sp<android::CodecComponent> {
                 return new Shim(platformRow->create(type));
             }});
}

}  // namespace oxa::test
