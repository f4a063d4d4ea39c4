// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "run/PlayerEvents.h"

#include <OxaMediaCodecPlayerCommon.h>
#include <media/stagefright/foundation/AMessage.h>

#include <string>

namespace oxa::jobs {

using android::AHandler;
using android::ALooper;
using android::AMessage;
using android::sp;

namespace {

constexpr int32_t kEncoderSide = 2;  // "codec-type" of a frame rate

class Handler : public AHandler {
  public:
    explicit Handler(std::shared_ptr<EventQueue> queue) : mQueue(std::move(queue)) {}

    void onMessageReceived(const sp<AMessage>& message) override {
        switch (message->what()) {
            case android::kWhatPlayerEOS:
                mQueue->push(EndOfStream{});
                break;
            case android::kWhatInstantFPS: {
                double framesPerSecond = 0;
                int32_t side = 0;
                message->findDouble("instant-fps", &framesPerSecond);
                message->findInt32("codec-type", &side);
                mQueue->push(FrameRate{side == kEncoderSide, framesPerSecond});
                break;
            }
            case android::kWhatHDMIRxVideoHotplug: {
                int32_t state = 0;
                message->findInt32("rx-video", &state);
                mQueue->push(Hotplug{state != 0});
                break;
            }
            case android::kWhatError:
                mQueue->push(encoderFault(message));
                break;
            default:
                break;
        }
    }

  private:
    static host::Fault encoderFault(const sp<AMessage>& message) {
        int32_t stream = 0;
        int32_t status = 0;
        message->findInt32("what", &stream);
        message->findInt32("err", &status);
        host::Fault fault;
        fault.source = host::FaultSource::kEncoder;
        fault.ended = true;
        fault.object = stream == android::VIDEO_TRACK ? "picture" : "sound";
        fault.cause = "the encoder has failed (status " + std::to_string(status) + ")";
        return fault;
    }

    const std::shared_ptr<EventQueue> mQueue;
};

}  // namespace

PlayerEvents::PlayerEvents(const std::shared_ptr<EventQueue>& queue)
    : mLooper(new ALooper), mHandler(new Handler(queue)) {
    mLooper->setName("PlayerEvents");
    mLooper->start();
    mLooper->registerHandler(mHandler);
}

PlayerEvents::~PlayerEvents() {
    mLooper->unregisterHandler(mHandler->id());
    mLooper->stop();
}

}  // namespace oxa::jobs
