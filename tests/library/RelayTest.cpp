// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "BaseDecoder.h"
#include "BaseEncoder.h"
#include "CodecCallback.h"

namespace android {
namespace {

// Writes down every call as one line. One class plays both kinds of pipeline.
class RecordingPipeline : public BaseDecoder, public BaseEncoder {
  public:
    void onMessageReceived(const sp<AMessage>& /* msg */) override {}

    void handleDecoderInputBuffer(uint32_t index) override { input("decoder", index); }
    void handleDecoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override {
        output("decoder", index, offset, size, timeUs, flags);
    }
    void handleDecoderOutputFormatChange(const sp<AMessage>& format) override {
        formatChange("decoder", format);
    }
    void handleDecoderError(int32_t err, int32_t action, const char* detail) override {
        error("decoder", err, action, detail);
    }
    void handleEncoderInputBuffer(uint32_t index) override { input("encoder", index); }
    void handleEncoderOutputBuffer(uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                                   int32_t flags) override {
        output("encoder", index, offset, size, timeUs, flags);
    }
    void handleEncoderOutputFormatChange(const sp<AMessage>& format) override {
        formatChange("encoder", format);
    }
    void handleEncoderError(int32_t err, int32_t action, const char* detail) override {
        error("encoder", err, action, detail);
    }

    std::vector<std::string> calls;

  private:
    void input(const char* side, uint32_t index) {
        calls.push_back(std::string(side) + " input " + std::to_string(index));
    }
    void output(const char* side, uint32_t index, uint32_t offset, uint32_t size, int64_t timeUs,
                int32_t flags) {
        calls.push_back(std::string(side) + " output " + std::to_string(index) + " " +
                        std::to_string(offset) + " " + std::to_string(size) + " " +
                        std::to_string(timeUs) + " " + std::to_string(flags));
    }
    void formatChange(const char* side, const sp<AMessage>& format) {
        int32_t width = 0;
        format->findInt32("width", &width);
        calls.push_back(std::string(side) + " format " + std::to_string(width));
    }
    void error(const char* side, int32_t err, int32_t action, const char* detail) {
        calls.push_back(std::string(side) + " error " + std::to_string(err) + " " +
                        std::to_string(action) + " [" + detail + "]");
    }
};

sp<AMessage> callbackMessage(int32_t id) {
    sp<AMessage> msg = new AMessage(kWhatCodecCallback, nullptr);
    msg->setInt32("callbackID", id);
    return msg;
}

sp<AMessage> fullCallback(int32_t id) {
    sp<AMessage> msg = callbackMessage(id);
    msg->setInt32("index", 3);
    msg->setSize("offset", 8);
    msg->setSize("size", 1000);
    msg->setInt64("timeUs", -21333);
    msg->setInt32("flags", 5);
    msg->setInt32("err", -1010);
    msg->setInt32("actionCode", 1);
    sp<AMessage> format = new AMessage;
    format->setInt32("width", 640);
    msg->setMessage("format", format);
    return msg;
}

class RelayTest : public ::testing::TestWithParam<const char*> {
  protected:
    void SetUp() override {
        mPipeline = new RecordingPipeline;
        if (std::string(GetParam()) == "decoder") {
            sp<BaseDecoder::DecodeCBHandler> relay = new BaseDecoder::DecodeCBHandler(mPipeline);
            mDeliver = [relay](const sp<AMessage>& msg) { relay->onMessageReceived(msg); };
            mSource = "BaseDecoder.cpp";
        } else {
            sp<BaseEncoder::EncodeCBHandler> relay = new BaseEncoder::EncodeCBHandler(mPipeline);
            mDeliver = [relay](const sp<AMessage>& msg) { relay->onMessageReceived(msg); };
            mSource = "BaseEncoder.cpp";
        }
    }

    void deliver(const sp<AMessage>& msg) { mDeliver(msg); }
    std::string expected(const char* call) { return std::string(GetParam()) + " " + call; }

    sp<RecordingPipeline> mPipeline;
    std::function<void(const sp<AMessage>&)> mDeliver;
    std::string mSource;
};

// Catches swapped fields, and calls that reach the other side of a transcoder.
TEST_P(RelayTest, CallsTheOperationOfItsSideWithTheValuesAsTheyCame) {
    for (int32_t id = 1; id <= 4; ++id)
        deliver(fullCallback(id));
    sp<AMessage> withDetail = fullCallback(3);
    withDetail->setString("detail", "no more memory");
    deliver(withDetail);
    EXPECT_EQ(mPipeline->calls,
              (std::vector<std::string>{expected("input 3"), expected("output 3 8 1000 -21333 5"),
                                        expected("error -1010 1 []"), expected("format 640"),
                                        expected("error -1010 1 [no more memory]")}));
}

TEST_P(RelayTest, IgnoresForeignMessagesAndUnknownCallbacks) {
    for (int32_t id : {0, 5, -1})
        deliver(fullCallback(id));
    sp<AMessage> foreign = fullCallback(1);
    foreign->setWhat(kWhatCodecCallback + 1);
    deliver(foreign);
    EXPECT_TRUE(mPipeline->calls.empty());
}

TEST_P(RelayTest, DropsCallbacksOfAPipelineThatIsGone) {
    wp<RecordingPipeline> watched = mPipeline;
    mPipeline.clear();
    ASSERT_EQ(watched.promote(), nullptr) << "the relay must not keep its pipeline alive";
    deliver(fullCallback(1));
}

struct MissingItem {
    int32_t id;
    const char* item;
    int line;
    const char* condition;
};

// Each mandatory item that is missing stops the process with its own site number.
TEST_P(RelayTest, AMissingItemIsFatal) {
    const MissingItem kItems[] = {
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
    for (const MissingItem& item : kItems) {
        sp<AMessage> msg = fullCallback(item.id);
        // An item of another type is as good as none ("detail" may be absent, but not a number).
        msg->setFloat(item.item, 1.0f);
        EXPECT_DEATH(deliver(msg), mSource + ":" + std::to_string(item.line) + " CHECK\\(msg->" +
                                           item.condition + "\\) failed\\.");
    }
}

INSTANTIATE_TEST_SUITE_P(Sides, RelayTest, ::testing::Values("decoder", "encoder"),
                         [](const auto& info) { return std::string(info.param); });

}  // namespace
}  // namespace android
