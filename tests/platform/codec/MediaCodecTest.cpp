// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <gui/Surface.h>
#include <media/stagefright/MediaErrors.h>
#include <mediadrm/ICrypto.h>

#include <array>
#include <cerrno>

#include "support/CodecClient.h"
#include "support/ScriptedComponent.h"
#include "support/Test.h"

namespace oxa::test {
namespace {

using namespace android;

sp<AMessage> scriptedFormat() {
    const sp<AMessage> format = new AMessage;
    format->setString("mime", ScriptedComponent::kMime);
    format->setInt32("width", 64);
    format->setInt32("height", 48);
    return format;
}

// A codec over the scripted component, in the state that the test asks for.
class Scripted : public CodecClient {
  public:
    Scripted() : CodecClient(ScriptedComponent::kMime, false) {}

    ScriptedComponent& component() { return *ScriptedComponent::last(); }

    status_t configureScripted() { return (*this)->configure(scriptedFormat(), NULL, NULL, 0); }

    void startScripted() {
        ASSERT_EQ(setCallback(), OK);
        ASSERT_EQ(configureScripted(), OK);
        ASSERT_EQ((*this)->start(), OK);
        ASSERT_TRUE(waitForCount(MediaCodec::CB_INPUT_AVAILABLE, ScriptedComponent::kInputCount));
    }

    // Where calls put their results.
    sp<AMessage> mFormat;
    AString mName;
    sp<IGraphicBufferProducer> mProducer;
    sp<MediaCodecBuffer> mBuffer;
};

class MediaCodecTest : public testing::Test {
  protected:
    static void SetUpTestSuite() { ScriptedComponent::standInFor(ScriptedComponent::kMime); }
};

constexpr status_t kRefused = INVALID_OPERATION;
constexpr size_t kNoIndex = 1000000;

struct Call {
    const char* name;
    status_t (*make)(Scripted& codec);
};

// Calls on indices use one that does not exist, so that -ERANGE means "allowed".
constexpr Call kCalls[] = {
        {"setCallback", [](Scripted& c) { return c.setCallback(); }},
        {"configure", [](Scripted& c) { return c.configureScripted(); }},
        {"start", [](Scripted& c) { return c->start(); }},
        {"flush", [](Scripted& c) { return c->flush(); }},
        {"queueInput", [](Scripted& c) { return c->queueInputBuffer(kNoIndex, 0, 0, 0, 0); }},
        {"releaseOutput", [](Scripted& c) { return c->releaseOutputBuffer(kNoIndex); }},
        {"render", [](Scripted& c) { return c->renderOutputBufferAndRelease(kNoIndex); }},
        {"getInputFormat", [](Scripted& c) { return c->getInputFormat(&c.mFormat); }},
        {"getOutputFormat", [](Scripted& c) { return c->getOutputFormat(&c.mFormat); }},
        {"getName", [](Scripted& c) { return c->getName(&c.mName); }},
        {"setParameters", [](Scripted& c) { return c->setParameters(new AMessage); }},
        {"stop", [](Scripted& c) { return c->stop(); }},
};
// These answer alike in all states. The component has no input surface; a codec that was reset is
// as new.
constexpr Call kRefusedCalls[] = {
        {"createInputSurface", [](Scripted& c) { return c->createInputSurface(&c.mProducer); }},
        {"signalEndOfInputStream", [](Scripted& c) { return c->signalEndOfInputStream(); }},
        {"getInputBuffer", [](Scripted& c) { return c->getInputBuffer(kNoIndex, &c.mBuffer); }},
};
constexpr Call kReset = {"reset and configure", [](Scripted& c) {
                             const status_t err = c->reset();
                             return err == OK ? c.configureScripted() : err;
                         }};

// To kCalls, in their order.
using Answers = std::array<status_t, std::size(kCalls)>;
constexpr Answers kInitialized = {OK,       OK,       kRefused, kRefused, kRefused, kRefused,
                                  kRefused, kRefused, kRefused, OK,       OK,       OK};
constexpr Answers kConfigured = {OK,       kRefused, OK, kRefused, kRefused, kRefused,
                                 kRefused, OK,       OK, OK,       OK,       OK};
constexpr Answers kStarted = {kRefused, kRefused, kRefused, OK, -ERANGE, -ERANGE,
                              -ERANGE,  OK,       OK,       OK, OK,      OK};
constexpr Answers kFlushed = {kRefused, kRefused, OK, OK, -ERANGE, -ERANGE,
                              -ERANGE,  OK,       OK, OK, OK,      OK};
constexpr Answers kUninitialized = {kRefused, kRefused, kRefused, kRefused, kRefused, kRefused,
                                    kRefused, kRefused, kRefused, kRefused, OK,       kRefused};
constexpr Answers kFailing = {kRefused, kRefused, kRefused, ERROR_IO, ERROR_IO, ERROR_IO,
                              ERROR_IO, OK,       OK,       OK,       OK,       ERROR_IO};

struct StateCase {
    const char* name;
    void (*enter)(Scripted& codec);
    const Answers& answers;
};

template <int actionCode>
void enterFailed(Scripted& codec) {
    codec.startScripted();
    codec.component().fail(ERROR_IO, actionCode);
    codec.waitForCount(MediaCodec::CB_ERROR, 1);
    codec.settle();
}

constexpr StateCase kStates[] = {
        {"Initialized", [](Scripted&) {}, kInitialized},
        {"Configured", [](Scripted& c) { c.setCallback(), c.configureScripted(); }, kConfigured},
        {"Started", [](Scripted& c) { c.startScripted(); }, kStarted},
        {"Flushed", [](Scripted& c) { c.startScripted(), c->flush(); }, kFlushed},
        {"Stopped", [](Scripted& c) { c.startScripted(), c->stop(); }, kInitialized},
        {"Released", [](Scripted& c) { c.startScripted(), c->release(); }, kUninitialized},
        {"AfterFatalError", enterFailed<ACTION_CODE_FATAL>, kUninitialized},
        {"AfterRecoverableError", enterFailed<ACTION_CODE_RECOVERABLE>, kInitialized},
        {"AfterTransientError", enterFailed<ACTION_CODE_TRANSIENT>, kFailing}};

// Each call meets a codec of its own, which can be released whatever happened.
void expectAnswer(const StateCase& state, const Call& call, status_t expected) {
    SCOPED_TRACE(std::string(call.name) + " when " + state.name);
    Scripted codec;
    state.enter(codec);
    EXPECT_EQ(call.make(codec), expected);
    EXPECT_EQ(codec->release(), OK);
    EXPECT_EQ(codec->release(), OK);
}

TEST_F(MediaCodecTest, statesAllowExactlyTheirCalls) {
    for (const StateCase& state : kStates) {
        for (size_t i = 0; i < std::size(kCalls); ++i)
            expectAnswer(state, kCalls[i], state.answers[i]);
        for (const Call& call : kRefusedCalls)
            expectAnswer(state, call, kRefused);
        expectAnswer(state, kReset, OK);
    }
}

TEST_F(MediaCodecTest, isMadeByTypeAndByName) {
    const sp<ALooper> looper = new ALooper;
    looper->start();
    constexpr const char* kNone = nullptr;
    for (const auto& [mime, encoder, wanted] :
         {std::tuple("video/avc", true, "c2.linux.avc.encoder"),
          {"VIDEO/hevc", false, "c2.linux.hevc.decoder"},
          {"video/hevc", true, kNone}}) {
        SCOPED_TRACE(mime);
        status_t err = UNKNOWN_ERROR;
        sp<MediaCodec> codec = MediaCodec::CreateByType(looper, mime, encoder, &err);
        EXPECT_EQ(err, wanted == kNone ? NAME_NOT_FOUND : OK);
        ASSERT_EQ(codec == nullptr, wanted == kNone);
        if (codec == nullptr) continue;
        AString name;
        EXPECT_EQ(codec->getName(&name), OK);
        EXPECT_STREQ(name.c_str(), wanted);
        EXPECT_EQ(codec->release(), OK);
    }
    sp<MediaCodec> codec = MediaCodec::CreateByComponentName(looper, "c2.linux.hevc.decoder");
    ASSERT_NE(codec.get(), nullptr);
    EXPECT_EQ(codec->release(), OK);
    status_t err = OK;
    EXPECT_EQ(MediaCodec::CreateByComponentName(looper, "c2.none", &err).get(), nullptr);
    EXPECT_EQ(err, NAME_NOT_FOUND);
    EXPECT_EQ(MediaCodec::CreateByType(new ALooper, "video/avc", false, &err).get(), nullptr);
    EXPECT_EQ(err, -ENOENT) << "the looper does not run";
}

TEST_F(MediaCodecTest, aFailedConfigureOrStartLeavesANewCodec) {
    constexpr uint32_t kEncode = MediaCodec::CONFIGURE_FLAG_ENCODE;
    for (const auto& [what, flags, isWhole, configureResult, startResult, expected] :
         {std::tuple("an empty format", 0U, false, OK, OK, BAD_VALUE),
          {"an encoder's flag", kEncode, true, OK, OK, UNKNOWN_ERROR},
          {"the component refuses", 0, true, BAD_VALUE, OK, BAD_VALUE},
          {"the component does not start", 0, true, OK, NO_INIT, NO_INIT}}) {
        SCOPED_TRACE(what);
        Scripted codec;
        ASSERT_EQ(codec.setCallback(), OK);
        const sp<AMessage> format = isWhole ? scriptedFormat() : new AMessage;
        ScriptedComponent::sConfigureResult = configureResult;
        ScriptedComponent::sStartResult = startResult;
        status_t err = codec->configure(format, NULL, NULL, flags);
        if (err == OK) err = codec->start();
        EXPECT_EQ(err, expected);
        ScriptedComponent::sConfigureResult = OK;
        ScriptedComponent::sStartResult = OK;
        // The callback is gone: this run is silent.
        EXPECT_EQ(codec.configureScripted(), OK);
        EXPECT_EQ(codec->start(), OK);
        codec.component().offer(0, 1);
        codec.settle();
        EXPECT_TRUE(codec.events().empty());
    }
}

TEST_F(MediaCodecTest, dyingUnreleasedIsFatal) {
    testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_DEATH(
            {
                const sp<ALooper> looper = new ALooper;
                looper->start();
                MediaCodec::CreateByType(looper, ScriptedComponent::kMime, false);
                // The looper may hold the codec a moment longer than its client.
                looper->stop();
            },
            "CHECK_EQ\\( mState,UNINITIALIZED\\) failed: 1 vs. 0");
}

// A consumed one is offered again until the end was queued.
TEST_F(MediaCodecTest, inputsBelongToOneSideAtATime) {
    Scripted codec;
    codec.startScripted();
    const CodecClient::Events events = codec.events();
    ASSERT_EQ(codec->getInputBuffer(events[1].index, &codec.mBuffer), OK);
    ASSERT_EQ(codec.mBuffer->capacity(), ScriptedComponent::kInputCapacity);
    ASSERT_EQ(codec->queueInputBuffer(events[1].index, 10, 20, 777, 0), OK);
    const CodecInput input = codec.component().inputs().at(0);
    EXPECT_EQ(input.buffer->offset(), 10u);
    EXPECT_EQ(input.buffer->size(), 20u);
    EXPECT_EQ(input.timeUs, 777);
    // What it refers to is let go when it was taken.
    const sp<AMessage> held = new AMessage;
    input.buffer->meta()->setObject("mediaBufferHolder", held);
    codec.component().consume(input.index);
    ASSERT_TRUE(codec.waitForCount(MediaCodec::CB_INPUT_AVAILABLE, 4));
    EXPECT_EQ(events[1].index, codec.events().back().index);
    EXPECT_EQ(held->getStrongCount(), 1);

    const size_t index = events[2].index;
    EXPECT_EQ(codec->queueInputBuffer(ScriptedComponent::kInputCount, 0, 0, 0, 0), -ERANGE);
    EXPECT_EQ(codec->queueInputBuffer(index, 0, 101, 0, 0), -EINVAL);
    EXPECT_EQ(codec->queueInputBuffer(index, 60, 41, 0, 0), -EINVAL);
    EXPECT_EQ(codec->queueInputBuffer(index, SIZE_MAX, 2, 0, 0), -EINVAL);
    EXPECT_EQ(codec->queueInputBuffer(index, 60, 40, 0, 0), OK);
    EXPECT_EQ(codec->queueInputBuffer(index, 0, 1, 0, 0), -EACCES);
    EXPECT_EQ(codec->getInputBuffer(index, &codec.mBuffer), INVALID_OPERATION);
    EXPECT_EQ(codec.mBuffer.get(), nullptr);

    ASSERT_EQ(codec->queueInputBuffer(events[0].index, 0, 0, 0, MediaCodec::BUFFER_FLAG_EOS), OK);
    codec.component().consume(codec.component().inputs().at(2).index);
    codec.settle();
    EXPECT_EQ(CodecClient::countOf(codec.events(), MediaCodec::CB_INPUT_AVAILABLE), 4u);
}

TEST_F(MediaCodecTest, outputsBelongToOneSideAtATime) {
    Scripted codec;
    codec.startScripted();
    codec.component().offer(1000, 5);
    codec.component().offer(2000, 5);
    codec.component().offer(3000, 5);
    ASSERT_TRUE(codec.waitForCount(MediaCodec::CB_OUTPUT_AVAILABLE, 3));
    CodecClient::Events events = codec.events();
    events.erase(events.begin(), events.begin() + ScriptedComponent::kInputCount);
    sp<MediaCodecBuffer> buffer;
    EXPECT_EQ(codec->getOutputBuffer(events[1].index, &buffer), OK);
    EXPECT_EQ(buffer->size(), 5u);
    EXPECT_EQ(codec->releaseOutputBuffer(events[1].index), OK);
    EXPECT_EQ(codec->releaseOutputBuffer(events[1].index), -EACCES);
    EXPECT_EQ(codec->getOutputBuffer(events[1].index, &buffer), INVALID_OPERATION);
    EXPECT_EQ(buffer.get(), nullptr);
    EXPECT_EQ(codec->renderOutputBufferAndRelease(events[0].index), OK);
    EXPECT_EQ(codec->renderOutputBufferAndRelease(events[2].index, 42), OK);
    EXPECT_EQ(codec->releaseOutputBuffer(99), -ERANGE);

    const auto& released = codec.component().released();
    ASSERT_EQ(released.size(), 3u);
    EXPECT_EQ(released[0].timeUs, 2000);
    EXPECT_FALSE(released[0].render);
    EXPECT_TRUE(released[1].render);
    EXPECT_EQ(released[1].timestampNs, 1000 * 1000) << "the media time";
    EXPECT_EQ(released[2].timestampNs, 42);
}

// Whatever the component still reports while it is being stopped belongs to nobody.
TEST_F(MediaCodecTest, nothingOfAnEndedRunIsDelivered) {
    constexpr Call kEnds[] = {
            {"stop", [](Scripted& c) { return c->stop(); }},
            {"reset", [](Scripted& c) { return c->reset(); }},
            {"release", [](Scripted& c) { return c->release(); }},
            {"flush", [](Scripted& c) { return c->flush(); }},
    };
    for (const Call& end : kEnds) {
        SCOPED_TRACE(end.name);
        Scripted codec;
        codec.startScripted();
        codec.component().offer(1, 1);
        ASSERT_TRUE(codec.waitForCount(MediaCodec::CB_OUTPUT_AVAILABLE, 1));
        ASSERT_EQ(codec->queueInputBuffer(codec.events()[1].index, 0, 1, 0, 0), OK);
        const size_t before = codec.events().size();
        const CodecEvent stale = codec.events().back();
        codec.component().reportWhileStopping();
        ASSERT_EQ(end.make(codec), OK);
        codec.settle();
        EXPECT_EQ(before, codec.events().size());
        EXPECT_EQ(codec->getInputBuffer(codec.events()[0].index, &codec.mBuffer),
                  INVALID_OPERATION);
        EXPECT_EQ(codec->getOutputBuffer(stale.index, &codec.mBuffer), INVALID_OPERATION);

        // The next run does not know the former one's indices, although it offers as many buffers.
        // A flushed codec goes on by itself.
        if (codec->start() != OK) {
            ASSERT_EQ(codec->reset(), OK);
            codec.startScripted();
        }
        EXPECT_TRUE(codec.component().inputs().empty());
        codec.component().offer(2, 1);
        ASSERT_TRUE(codec.waitForCount(MediaCodec::CB_OUTPUT_AVAILABLE, 2));
        EXPECT_EQ(codec->queueInputBuffer(codec.events()[0].index, 0, 1, 0, 0), -ERANGE);
        EXPECT_EQ(codec->releaseOutputBuffer(stale.index), -ERANGE);
        EXPECT_EQ(codec->releaseOutputBuffer(codec.events().back().index), OK);
    }
}

}  // namespace
}  // namespace oxa::test
