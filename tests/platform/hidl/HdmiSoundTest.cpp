// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gtest/gtest.h>
#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/SoundOutput.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utils/Timers.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <filesystem>
#include <thread>

#include "platform/audio/RampSource.h"
#include "platform/codec/FaultLog.h"
#include "platform/hidl/RxClient.h"
#include "support/Deadline.h"
#include "support/Sound.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace android {
namespace {

using namespace oxa::test;
using hardware::Return;
using hardware::Void;
using oxa::host::Fault;
using oxa::host::HdmiReceiverOptions;
using oxa::host::SimulatedHdmiReceiver;
using vendor::oxa::audioutil::V1_0::IAudioUtil;
using vendor::oxa::audioutil::V1_0::IAudioUtilCallback;

constexpr int kRate = 48000;
constexpr int32_t kStateOff = -1;
constexpr int32_t kStateAfterLoss = 1;
constexpr int32_t kStateNoBlock = 3;
constexpr int32_t kPid = 42;

int64_t nowUs() {
    return systemTime(SYSTEM_TIME_MONOTONIC) / 1000;
}

class HdmiSoundTest : public testing::Test {
  protected:
    HdmiSoundTest() { oxa::host::startHdmiSoundService(); }
    // The next test has a fresh service.
    ~HdmiSoundTest() override {
        oxa::host::useHdmiReceiverSound();
        oxa::host::endHdmiSoundService();
    }

    static void useSource(const std::string& source, int sampleRate = 0) {
        oxa::host::HdmiSoundOptions options;
        options.source = source;
        options.sampleRate = sampleRate;
        oxa::host::useHdmiSound(options);
    }

    int faults(int error) const {
        int count = 0;
        for (const Fault& fault : mFaults.faults())
            count += fault.source == oxa::host::FaultSource::kSound && fault.error == error ? 1 : 0;
        return count;
    }

    std::unique_ptr<SimulatedHdmiReceiver> plugReceiver(const std::string& source = "") {
        HdmiReceiverOptions options;
        options.deviceRoot = mRoot.path();
        options.source = source;
        options.width = 64;
        options.height = 64;
        std::string error;
        auto receiver = SimulatedHdmiReceiver::create(options, &error);
        EXPECT_NE(nullptr, receiver) << error;
        return receiver;
    }

    FaultLog mFaults;
    TempDir mRoot;
};

TEST_F(HdmiSoundTest, GivesBlocksInTimeAndWithoutGaps) {
    useSource(rampSource(kRate, "stereo"));
    RxClient client;
    RxAnswer answer;
    ASSERT_TRUE(client.poll(&answer));
    EXPECT_EQ(kStateOff, answer.state);
    EXPECT_EQ(-1, answer.timeUs);
    client.service()->setRxRender(1, kRate, 2);
    ASSERT_TRUE(client.poll(&answer));
    EXPECT_EQ(kStateOff, answer.state);
    const int64_t recordUs = nowUs();
    client.service()->setRxRecord(true);
    ASSERT_TRUE(client.poll(&answer));
    EXPECT_EQ(kStateNoBlock, answer.state);

    ASSERT_TRUE(client.pollFrames(kRate));
    EXPECT_EQ(0U, rampBreaks(client.samples(), 2));
    const int64_t firstUs = client.blocks().front().timeUs;
    EXPECT_GE(firstUs, recordUs);
    int64_t frames = 0;
    for (const RxAnswer& block : client.blocks()) {
        EXPECT_EQ(kRate, block.sampleRate);
        EXPECT_EQ(2, block.channels);
        // The service's clock is the sound's, with a little jitter.
        EXPECT_NEAR(firstUs + frames * 1000000 / kRate, block.timeUs, 1100);
        frames += static_cast<int64_t>(block.samples.size()) / 2;
    }
    // Nothing is given before it was captured.
    EXPECT_LE(firstUs + frames * 1000000 / kRate, nowUs() + 1000);
    EXPECT_EQ(client.blocks().size(), oxa::host::hdmiSoundFigures().blocks);
    EXPECT_EQ(0U, oxa::host::hdmiSoundFigures().dropped);

    client.stop();
    EXPECT_FALSE(oxa::host::hdmiSoundFigures().capturing);
    ASSERT_TRUE(client.poll(&answer));
    EXPECT_EQ(kStateOff, answer.state);
}

// What the recorder makes of a source at another rate than its encoder's.
TEST_F(HdmiSoundTest, ConvertsToTheChannelsOfTheClient) {
    useSource("lavfi:aevalsrc=0.1|0.2|0.3|0|0.5|0.5:c=5.1:s=48000");
    for (const int channels : {1, 2}) {
        RxClient client;
        client.start(channels);
        ASSERT_TRUE(client.pollFrames(kRate / 10));
        EXPECT_EQ(channels, client.blocks().front().channels);
    }
}

TEST_F(HdmiSoundTest, TellsTheClientThatItWasLate) {
    useSource(rampSource(kRate));
    RxClient client;
    client.start(1);
    ASSERT_TRUE(waitFor([] { return oxa::host::hdmiSoundFigures().dropped > 2; }));
    ASSERT_TRUE(client.pollFrames(40 * 1024));
    EXPECT_EQ(kStateAfterLoss, client.blocks().front().state);
    const auto later = [](const RxAnswer& block) { return block.state == 0; };
    EXPECT_TRUE(std::any_of(client.blocks().begin(), client.blocks().end(), later));
}

TEST_F(HdmiSoundTest, GoesOnWithAnotherSampleRate) {
    useSource("lavfi:sine=frequency=1000:sample_rate=48000");
    RxClient client;
    client.start(1);
    ASSERT_TRUE(client.pollFrames(4096));
    oxa::host::setHdmiSoundRate(32000);
    ASSERT_TRUE(client.pollUntil([&] { return client.blocks().back().sampleRate == 32000; }));
    const size_t change = client.blocks().size() - 1;
    ASSERT_TRUE(client.pollUntil([&] { return client.blocks().size() > change + 10; }));
    std::vector<int16_t> samples;
    for (size_t i = change; i < client.blocks().size(); ++i) {
        const RxAnswer& block = client.blocks()[i];
        EXPECT_EQ(32000, block.sampleRate);
        EXPECT_GT(block.timeUs, client.blocks()[i - 1].timeUs);
        samples.insert(samples.end(), block.samples.begin(), block.samples.end());
    }
    EXPECT_NEAR(1000, dominantFrequency(soundFromPcm(samples, 1, 32000).channel(0), 32000), 2);
}

TEST_F(HdmiSoundTest, TellsOfAStallOnceAndGoesOnInThePresent) {
    useSource("lavfi:sine=frequency=1000:sample_rate=48000");
    RxClient client;
    client.start(1);
    ASSERT_TRUE(client.pollFrames(4096));
    oxa::host::stallHdmiSound(true);
    ASSERT_TRUE(client.pollUntil([&] { return faults(ETIMEDOUT) > 0; }));
    EXPECT_EQ(kStateNoBlock, client.lastState());
    client.forget();
    const int64_t resumedUs = nowUs();
    oxa::host::stallHdmiSound(false);
    ASSERT_TRUE(client.pollFrames(4096));
    EXPECT_GE(client.blocks().front().timeUs, resumedUs - 50000);
    EXPECT_EQ(1, faults(ETIMEDOUT));
}

TEST_F(HdmiSoundTest, ComesBackWithItsSource) {
    ClipOptions options;
    options.video = false;
    options.extension = "wav";
    options.audioCodec = "pcm_s16le";
    options.seconds = 20;
    const std::string path = mRoot.file("late.wav");
    useSource(path);
    EXPECT_NE("", oxa::host::hdmiSoundError(path));
    RxClient client;
    client.start(1);
    ASSERT_TRUE(client.pollUntil([&] { return faults(ENODEV) == 1; }));
    std::filesystem::copy(sineClip({1000}, 0.5, options), path);
    EXPECT_EQ("", oxa::host::hdmiSoundError(path));
    ASSERT_TRUE(client.pollFrames(4096));

    oxa::host::loseHdmiSound(true);
    ASSERT_TRUE(client.pollUntil([&] { return faults(ENODEV) == 2; }));
    oxa::host::loseHdmiSound(false);
    client.forget();
    ASSERT_TRUE(client.pollFrames(20000));
    EXPECT_EQ(2, faults(ENODEV));
}

// A pipe that nobody writes cannot be opened, and whoever opens it cannot be interrupted.
TEST_F(HdmiSoundTest, StopsWhileItsSourceIsStuck) {
    const std::string path = mRoot.file("pipe.wav");
    ASSERT_EQ(0, mkfifo(path.c_str(), 0600));
    useSource(path);
    RxClient client;
    client.start(1);
    RxAnswer answer;
    ASSERT_TRUE(client.poll(&answer));
    EXPECT_EQ(kStateNoBlock, answer.state);
    client.stop();
    EXPECT_FALSE(oxa::host::hdmiSoundFigures().capturing);
    // Lets the thread go on, and find that it is not wanted any more.
    int fd = -1;
    ASSERT_TRUE(waitFor([&] { return (fd = open(path.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; }));
    close(fd);
    useSource(rampSource(kRate));
    client.start(1);
    EXPECT_TRUE(client.pollFrames(4096));
    EXPECT_EQ(0, faults(ENODEV));
}

TEST_F(HdmiSoundTest, TellsTheEndOfAFile) {
    useSource(rampSource(kRate, "mono", 0.5));
    RxClient client;
    client.start(1);
    ASSERT_TRUE(client.pollUntil([&] { return faults(0) == 1; }));
    EXPECT_TRUE(mFaults.faults().back().ended);
    ASSERT_TRUE(client.pollUntil([&] { return client.lastState() == kStateNoBlock; }));
}

class DeathWatch : public hardware::hidl_death_recipient {
  public:
    void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) override {
        mWho = who.unsafe_get();
        mCookie = cookie;
        ++mDeaths;
    }
    std::atomic<int> mDeaths{0};
    std::atomic<uint64_t> mCookie{0};
    std::atomic<const void*> mWho{nullptr};
};

TEST_F(HdmiSoundTest, ServiceThatDiesIsNoticedAndFoundAgain) {
    useSource(rampSource(kRate));
    RxClient client;
    client.start(1);
    ASSERT_TRUE(client.pollFrames(4096));
    const sp<DeathWatch> watch = new DeathWatch;
    const sp<DeathWatch> unlinked = new DeathWatch;
    EXPECT_TRUE(client.service()->linkToDeath(watch, 7));
    EXPECT_TRUE(client.service()->linkToDeath(unlinked, 8));
    EXPECT_TRUE(client.service()->unlinkToDeath(unlinked));
    EXPECT_FALSE(client.service()->unlinkToDeath(unlinked));

    std::thread killer([] { oxa::host::endHdmiSoundService(); });
    // Comes back when the service is dead.
    EXPECT_TRUE(client.pollUntil([] { return false; }));
    killer.join();
    EXPECT_EQ(1, watch->mDeaths);
    EXPECT_EQ(7U, watch->mCookie);
    EXPECT_EQ(static_cast<hidl::base::V1_0::IBase*>(client.service().get()), watch->mWho);
    EXPECT_EQ(0, unlinked->mDeaths);
    EXPECT_EQ(1, faults(EPIPE));
    EXPECT_TRUE(client.service()->setRxRender(1, kRate, 2).isDeadObject());
    EXPECT_TRUE(client.service()->registerRxCallback(kPid, nullptr).isDeadObject());
    EXPECT_FALSE(client.service()->linkToDeath(watch, 9).withDefault(false));
    EXPECT_EQ(nullptr, IAudioUtil::getService("default", false));

    oxa::host::startHdmiSoundService();
    RxClient again;
    EXPECT_NE(client.service(), again.service());
    RxAnswer answer;
    ASSERT_TRUE(again.poll(&answer));
    EXPECT_EQ(kStateOff, answer.state);
    again.start(1);
    EXPECT_TRUE(again.pollFrames(4096));
    EXPECT_EQ(1, watch->mDeaths);
}

TEST_F(HdmiSoundTest, IsHeardWhileItIsMonitored) {
    const auto recording = oxa::host::useSoundRecording(100 * kRate);
    useSource("lavfi:sine=frequency=1000:sample_rate=44100");
    {
        RxClient client;
        client.service()->setRxPlayback(true);
        client.start();
        ASSERT_TRUE(client.pollUntil([&] { return recording->frames() > 44100; }));
        client.service()->setRxPlayback(false);
        client.forget();
        ASSERT_TRUE(client.pollFrames(4096));
        // The output was given up with the first of these blocks.
        const size_t frames = recording->frames();
        client.forget();
        ASSERT_TRUE(client.pollFrames(4096));
        EXPECT_EQ(frames, recording->frames());
        client.service()->setRxPlayback(true);
        ASSERT_TRUE(client.pollUntil([&] { return recording->blocks().back().track == 2; }));
    }
    std::vector<int16_t> heard;
    for (const oxa::host::SoundBlock& block : recording->blocks()) {
        EXPECT_EQ(44100, block.sampleRate);
        EXPECT_EQ(2, block.channels);
        if (block.track == 1) heard.insert(heard.end(), block.samples.begin(), block.samples.end());
    }
    const Sound sound = soundFromPcm(heard, 2, 44100);
    EXPECT_NEAR(1000, dominantFrequency(window(sound.channel(0), 44100, 0.2, 0.7), 44100), 2);
    oxa::host::useNullSound();
}

class PlugCallback : public IAudioUtilCallback {
  public:
    Return<void> handleEvent(int32_t event) override {
        EXPECT_EQ(0, event);
        EXPECT_NE(mMaker, std::this_thread::get_id());
        ++mEvents;
        return Void();
    }
    const std::thread::id mMaker = std::this_thread::get_id();
    std::atomic<int> mEvents{0};
};

TEST_F(HdmiSoundTest, TellsOfThePlugUntilTheCallbackIsRemoved) {
    const auto receiver = plugReceiver();
    const sp<IAudioUtil> service = IAudioUtil::getService("default", false);
    const sp<PlugCallback> callback = new PlugCallback;
    const sp<PlugCallback> other = new PlugCallback;
    service->registerRxCallback(kPid, callback);
    service->registerRxCallback(kPid + 1, other);
    receiver->unplug();
    EXPECT_TRUE(waitFor([&] { return callback->mEvents == 1; }));
    receiver->plug();
    EXPECT_TRUE(waitFor([&] { return callback->mEvents == 2; }));
    service->removeRxCallback(kPid);
    receiver->unplug();
    EXPECT_TRUE(waitFor([&] { return other->mEvents == 3; }));
    EXPECT_EQ(2, callback->mEvents);
    service->removeRxCallback(kPid + 1);
    // Nobody but the test holds them any more.
    EXPECT_EQ(1, callback->getStrongCount());
    EXPECT_EQ(1, other->getStrongCount());
}

TEST_F(HdmiSoundTest, IsTheReceiversSound) {
    RxClient client;
    client.start();
    // Without a receiver nothing is captured, and that is told.
    ASSERT_TRUE(client.pollUntil([&] { return faults(ENODEV) == 1; }));
    client.stop();

    auto receiver = plugReceiver();
    client.start();
    ASSERT_TRUE(client.pollFrames(kRate / 2));
    const Sound sound = soundFromPcm(client.samples(), 2, kRate);
    EXPECT_NEAR(440, dominantFrequency(sound.channel(0), kRate), 2);

    receiver->loseAudio();
    ASSERT_TRUE(client.pollUntil([&] { return client.lastState() == kStateNoBlock; }));
    client.forget();
    receiver->restoreAudio();
    ASSERT_TRUE(client.pollFrames(4096));
    receiver.reset();
    client.forget();
    receiver = plugReceiver();
    client.stop();
    client.start();
    EXPECT_TRUE(client.pollFrames(4096));
}

}  // namespace
}  // namespace android
