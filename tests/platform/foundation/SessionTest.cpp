// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <oxa/host/EncoderPreset.h>
#include <oxa/host/FaultListener.h>
#include <oxa/host/OutputEnd.h>
#include <oxa/host/Session.h>

#include "platform/foundation/LooperTestKit.h"

namespace oxa::host {
namespace {

using namespace android;

// What a thread that was started elsewhere sees.
void testify(const sp<AMessage>& message) {
    reportFault(Fault());
    sp<AReplyToken> token;
    message->senderAwaitsResponse(&token);
    sp<AMessage> reply = new AMessage;
    reply->setString("preset", encoderPreset().c_str());
    reply->postReply(token);
}

std::string presetOn(const sp<AHandler>& witness) {
    sp<AMessage> reply;
    AString preset;
    (new AMessage(0, witness))->postAndAwaitResponse(&reply);
    reply->findString("preset", &preset);
    return preset.c_str();
}

TEST(SessionTest, ownsWhatIsSetInItOnAllItsThreads) {
    const Session first;
    const Session second;
    uint64_t session = 0;
    const int listener = addFaultListener([&](const Fault& fault) { session = fault.session; });
    const sp<ALooper> looper = new ALooper;
    const sp<AHandler> witness = new test::FunctionHandler(testify);
    {
        const SessionScope scope(first);
        looper->start();
        setEncoderPreset("slow");
        reportOutputFigures({});
    }
    looper->registerHandler(witness);
    EXPECT_EQ(presetOn(witness), "slow");
    EXPECT_EQ(session, first.id());
    EXPECT_EQ(encoderPreset(), "veryfast");
    setEncoderPreset("faster");
    {
        const SessionScope scope(second);
        EXPECT_EQ(encoderPreset(), "faster");
        EXPECT_FALSE(takeOutputFigures());
        const SessionScope inner(first);
        EXPECT_TRUE(takeOutputFigures());
        EXPECT_FALSE(takeOutputFigures());
    }
    EXPECT_EQ(presetOn(witness), "slow");
    reportFault(Fault());
    EXPECT_EQ(session, 0u);
    setEncoderPreset("veryfast");
    removeFaultListener(listener);
    looper->stop();
}

}  // namespace
}  // namespace oxa::host
