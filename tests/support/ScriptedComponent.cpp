// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/ScriptedComponent.h"

namespace oxa::test {

using namespace android;

void ScriptedComponent::standInFor(const char* mime) {
    addComponent({mime, CodecDirection::kDecoder, create});
}

void ScriptedComponent::offer(int64_t timeUs, size_t size, uint32_t flags) {
    CodecOutput output;
    output.data = new ABuffer(size);
    output.timeUs = timeUs;
    output.flags = flags;
    mClient->onOutput(output);
}

status_t ScriptedComponent::configure(const sp<AMessage>& /*format*/,
                                      const sp<Surface>& /*surface*/) {
    return sConfigureResult;
}

status_t ScriptedComponent::start(Client* client) {
    mClient = client;
    return sStartResult;
}

void ScriptedComponent::stop() {
    if (mReportsWhileStopping && mClient != nullptr) {
        mClient->onOutputFormat(new AMessage);
        offer(0, 1);
        consume(0);
        fail(UNKNOWN_ERROR, ACTION_CODE_FATAL);
    }
    mClient = nullptr;
    mInputs.clear();
}

void ScriptedComponent::releaseOutput(const CodecOutput& output, bool render, int64_t timestampNs) {
    mReleased.push_back({output.timeUs, render, timestampNs});
}

}  // namespace oxa::test
