// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "BaseDecoder.h"
#include "BaseEncoder.h"
#include "CodecCallback.h"
#include "support/Test.h"

namespace android {
namespace {

// Counts the calls of each side. One class plays both kinds of pipeline.
class CountingPipeline : public BaseDecoder, public BaseEncoder {
  public:
    void onMessageReceived(const sp<AMessage>&) override {}

    void handleDecoderInputBuffer(uint32_t) override { ++decoderCalls; }
    void handleDecoderOutputBuffer(uint32_t, uint32_t, uint32_t, int64_t, int32_t) override {
        ++decoderCalls;
    }
    void handleDecoderOutputFormatChange(const sp<AMessage>&) override { ++decoderCalls; }
    void handleDecoderError(int32_t err, int32_t, const char*) override {
        decoderCalls += err == kError;
    }
    void handleEncoderInputBuffer(uint32_t) override { ++encoderCalls; }
    void handleEncoderOutputBuffer(uint32_t, uint32_t, uint32_t, int64_t, int32_t) override {
        ++encoderCalls;
    }
    void handleEncoderOutputFormatChange(const sp<AMessage>&) override { ++encoderCalls; }
    void handleEncoderError(int32_t err, int32_t, const char*) override {
        encoderCalls += err == kError;
    }

    static constexpr int32_t kError = -1010;
    int decoderCalls = 0;
    int encoderCalls = 0;
};

sp<AMessage> fullCallback(int32_t id) {
    sp<AMessage> msg = new AMessage(kWhatCodecCallback, nullptr);
    msg->setInt32("callbackID", id);
    msg->setInt32("index", 3);
    msg->setSize("offset", 8);
    msg->setSize("size", 1000);
    msg->setInt64("timeUs", -21333);
    msg->setInt32("flags", 5);
    msg->setInt32("err", CountingPipeline::kError);
    msg->setInt32("actionCode", 1);
    sp<AMessage> format = new AMessage;
    format->setInt32("width", 640);
    msg->setMessage("format", format);
    return msg;
}

class RelayTest : public ::testing::TestWithParam<const char*> {
  protected:
    RelayTest() {
        const sp<BaseDecoder::DecodeCBHandler> decoder =
                new BaseDecoder::DecodeCBHandler(mPipeline);
        const sp<BaseEncoder::EncodeCBHandler> encoder =
                new BaseEncoder::EncodeCBHandler(mPipeline);
        deliver = [=](const sp<AMessage>& msg) {
            mSide == "decoder" ? decoder->onMessageReceived(msg) : encoder->onMessageReceived(msg);
        };
    }

    const std::string mSide = GetParam();
    sp<CountingPipeline> mPipeline = new CountingPipeline;
    std::function<void(const sp<AMessage>&)> deliver;
};

// Not for foreign messages and unknown callbacks.
TEST_P(RelayTest, callsTheOperationsOfItsSideOnly) {
    for (int32_t id = -1; id <= 5; ++id)
        deliver(fullCallback(id));
    sp<AMessage> foreign = fullCallback(1);
    foreign->setWhat(kWhatCodecCallback + 1);
    deliver(foreign);
    EXPECT_EQ(mPipeline->decoderCalls, mSide == "decoder" ? 4 : 0);
    EXPECT_EQ(mPipeline->encoderCalls, mSide == "encoder" ? 4 : 0);
}

TEST_P(RelayTest, dropsCallbacksOfAPipelineThatIsGone) {
    wp<CountingPipeline> watched = mPipeline;
    mPipeline.clear();
    ASSERT_EQ(watched.promote(), nullptr) << "the relay must not keep its pipeline alive";
    deliver(fullCallback(1));
}

// Each mandatory item that is missing stops the process with its own site number.
TEST_P(RelayTest, aMissingItemIsFatal) {
    const std::string source = mSide == "decoder" ? "BaseDecoder.cpp" : "BaseEncoder.cpp";
    const struct {
        int32_t id;
        const char* item;
        int line;
        const char* condition;
    } kItems[] = {
            {1, "callbackID", 43, "findInt32\\(\"callbackID\", &callbackID\\)"},
            {1, "index", 51, "findInt32\\(\"index\", &index\\)"},
            {2, "index", 66, "findInt32\\(\"index\", &index\\)"},
            {2, "offset", 67, "findSize\\(\"offset\", &offset\\)"},
            {2, "size", 68, "findSize\\(\"size\", &size\\)"},
            {2, "timeUs", 69, "findInt64\\(\"timeUs\", &timeUs\\)"},
            {2, "flags", 70, "findInt32\\(\"flags\", &flags\\)"},
            {3, "err", 82, "findInt32\\(\"err\", &err\\)"},
            {3, "actionCode", 83, "findInt32\\(\"actionCode\", &actionCode\\)"},
            {3, "detail", 85, "findString\\(\"detail\", &detail\\)"},
            {4, "format", 97, "findMessage\\(\"format\", &format\\)"},
    };
    for (const auto& item : kItems) {
        sp<AMessage> msg = fullCallback(item.id);
        // An item of another type is as good as none ("detail" may be absent, but not a number).
        msg->setFloat(item.item, 1.0f);
        EXPECT_DEATH(deliver(msg), source + ":" + std::to_string(item.line) + " CHECK\\(msg->" +
                                           item.condition + "\\) failed\\.");
    }
}

INSTANTIATE_TEST_SUITE_P(Sides, RelayTest, ::testing::Values("decoder", "encoder"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace android
