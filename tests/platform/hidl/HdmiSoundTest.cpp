// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <android/hidl/allocator/1.0/IAllocator.h>
#include <fcntl.h>
#include <hidlmemory/mapping.h>
#include <oxa/host/HdmiReceiver.h>
#include <oxa/host/HdmiSound.h>
#include <oxa/host/SoundOutput.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>

#include <cerrno>
#include <filesystem>
#include <future>

#include "base/Monotonic.h"
#include "support/FaultLog.h"
#include "support/RampSource.h"
#include "support/Sound.h"
#include "support/Test.h"

namespace android {
namespace {

using namespace oxa::test;
using hardware::Return;
using oxa::host::Fault;
using vendor::oxa::audioutil::V1_0::IAudioUtil;

constexpr int kRate = 48000;
constexpr int32_t kStateOff = -1;
constexpr int32_t kStateAfterLoss = 1;
constexpr int32_t kStateNoBlock = 3;
constexpr int32_t kPid = 42;

// What the service has answered to one readRxAudio().
struct RxAnswer {
    int64_t timeUs = 0;
    int channels = 0;
    int sampleRate = 0;
    int32_t state = 0;
    std::vector<int16_t> samples;
};

// Looks at the answer of a service that may have died.
void tolerate(const Return<void>& answer) {
    (void)answer.isOk();
}

// A client of the HDMI audio service that fetches blocks as the recorder does: through shared
// memory of 16 KiB, one every 15 ms.
class RxClient {
  public:
    // The service must be there.
    RxClient() {
        hidl::allocator::V1_0::IAllocator::getService("ashmem")->allocate(
                kMemorySize, [this](bool /*success*/, const auto& memory) { mMemory = memory; });
        mMapping = hardware::mapMemory(mMemory);
        mBase = static_cast<const int16_t*>(static_cast<void*>(mMapping->getPointer()));
    }
    // Ends rendering and recording.
    ~RxClient() {
        tolerate(mService->setRxPlayback(false));
        stop();
    }

    const sp<IAudioUtil>& service() const { return mService; }

    void start(int channels = 2) {
        EXPECT_TRUE(mService->setRxRender(1, 48000, channels).isOk());
        EXPECT_TRUE(mService->setRxRecord(true).isOk());
    }
    void stop() {
        tolerate(mService->setRxRecord(false));
        tolerate(mService->setRxRender(0, 0, 0));
    }

    // One poll. False when the service is dead; `answer` is untouched then.
    bool poll(RxAnswer* answer) {
        int calls = 0;
        const bool reached =
                mService->readRxAudio(
                                mMemory,
                                [&](int64_t timeUs, int32_t size, int32_t channels,
                                    int32_t sampleRate, int32_t state) {
                                    ++calls;
                                    EXPECT_GE(size, 0);
                                    EXPECT_LE(static_cast<uint64_t>(size), kMemorySize);
                                    const int16_t* const end = mBase + size / sizeof(int16_t);
                                    *answer = {timeUs, channels, sampleRate, state, {mBase, end}};
                                })
                        .isOk();
        EXPECT_EQ(reached ? 1 : 0, calls);
        return reached;
    }

    // The state that one poll gives. The service must live.
    int32_t pollState() {
        RxAnswer answer;
        EXPECT_TRUE(poll(&answer));
        return answer.state;
    }

    // Polls until the condition holds or the service is dead; false when that takes too long.
    // Blocks are collected.
    bool pollUntil(const std::function<bool()>& condition) {
        const Deadline deadline;
        RxAnswer answer;
        while (!condition()) {
            if (deadline.passed()) return false;
            if (!poll(&answer)) return true;
            mLastState = answer.state;
            if (answer.state != -1 && answer.state != 3) mBlocks.push_back(answer);
            std::this_thread::sleep_for(std::chrono::milliseconds(15));
        }
        return true;
    }
    bool pollFrames(size_t frames) {
        return pollUntil([&] {
            size_t polled = 0;
            for (const RxAnswer& block : mBlocks)
                polled += block.samples.size() / block.channels;
            return polled >= frames;
        });
    }

    const std::vector<RxAnswer>& blocks() const { return mBlocks; }
    int32_t lastState() const { return mLastState; }
    void forget() { mBlocks.clear(); }
    // Of all blocks from the `first`th on.
    std::vector<int16_t> samples(size_t first = 0) const {
        std::vector<int16_t> all;
        for (size_t i = first; i < mBlocks.size(); ++i)
            all.insert(all.end(), mBlocks[i].samples.begin(), mBlocks[i].samples.end());
        return all;
    }

  private:
    static constexpr uint64_t kMemorySize = 16384;

    const sp<IAudioUtil> mService = IAudioUtil::getService("default", false);
    hardware::hidl_memory mMemory;
    sp<hidl::memory::V1_0::IMemory> mMapping;
    const int16_t* mBase = nullptr;
    std::vector<RxAnswer> mBlocks;
    int32_t mLastState = 0;
};

class HdmiSoundTest : public testing::Test {
  protected:
    HdmiSoundTest() { oxa::host::startHdmiSoundService(); }
    // The next test has a fresh service.
    ~HdmiSoundTest() override {
        oxa::host::useHdmiReceiverSound();
        oxa::host::endHdmiSoundService();
    }

    static void useSource(const std::string& source) { oxa::host::useHdmiSound({source}); }

    int faults(int error) const {
        int count = 0;
        for (const Fault& fault : mFaults.faults())
            count += fault.source == oxa::host::FaultSource::kSound && fault.error == error;
        return count;
    }

    FaultLog mFaults;
    TempDir mRoot;
};

TEST_F(HdmiSoundTest, givesBlocksInTimeAndWithoutGaps) {
    useSource(rampSource(kRate, "stereo"));
    RxClient client;
    RxAnswer answer;
    ASSERT_TRUE(client.poll(&answer));
    EXPECT_EQ(answer.state, kStateOff);
    EXPECT_EQ(answer.timeUs, -1);
    client.service()->setRxRender(1, kRate, 2);
    EXPECT_EQ(client.pollState(), kStateOff);
    const int64_t recordUs = monotonicUs();
    client.service()->setRxRecord(true);
    EXPECT_EQ(client.pollState(), kStateNoBlock);

    ASSERT_TRUE(client.pollFrames(kRate));
    EXPECT_EQ(rampBreaks(client.samples(), 2), 0U);
    const int64_t firstUs = client.blocks().front().timeUs;
    EXPECT_GE(firstUs, recordUs);
    int64_t frames = 0;
    for (const RxAnswer& block : client.blocks()) {
        EXPECT_EQ(block.sampleRate, kRate);
        EXPECT_EQ(block.channels, 2);
        // The service's clock is the sound's, with a little jitter.
        EXPECT_NEAR(firstUs + frames * 1000000 / kRate, block.timeUs, 1100);
        frames += static_cast<int64_t>(block.samples.size()) / 2;
    }
    // Nothing is given before it was captured.
    EXPECT_LE(firstUs + frames * 1000000 / kRate, monotonicUs() + 1000);
    EXPECT_EQ(client.blocks().size(), oxa::host::hdmiSoundFigures().blocks);
    EXPECT_EQ(oxa::host::hdmiSoundFigures().dropped, 0U);

    client.stop();
    EXPECT_FALSE(oxa::host::hdmiSoundFigures().capturing);
    EXPECT_EQ(client.pollState(), kStateOff);
}

TEST_F(HdmiSoundTest, tellsTheClientThatItWasLate) {
    useSource(rampSource(kRate));
    RxClient client;
    client.start(1);
    ASSERT_TRUE(waitFor([] { return oxa::host::hdmiSoundFigures().dropped > 2; }));
    ASSERT_TRUE(client.pollFrames(40 * 1024));
    EXPECT_EQ(client.blocks().front().state, kStateAfterLoss);
    const auto later = [](const RxAnswer& block) { return block.state == 0; };
    EXPECT_TRUE(std::any_of(client.blocks().begin(), client.blocks().end(), later));
}

TEST_F(HdmiSoundTest, goesOnWithAnotherSampleRate) {
    const auto heard = oxa::host::useSoundRecording(SIZE_MAX);
    const auto hears = [&](int sampleRate) {
        const auto blocks = heard->blocks();
        return !blocks.empty() && blocks.back().sampleRate == sampleRate;
    };
    useSource("lavfi:sine=frequency=1000:sample_rate=48000");
    RxClient client;
    client.service()->setRxPlayback(true);
    client.start();
    ASSERT_TRUE(client.pollFrames(4096));
    ASSERT_TRUE(client.pollUntil([&] { return hears(48000); }));
    oxa::host::setHdmiSoundRate(32000);
    ASSERT_TRUE(client.pollUntil([&] { return client.blocks().back().sampleRate == 32000; }));
    const size_t change = client.blocks().size() - 1;
    ASSERT_TRUE(client.pollUntil([&] { return client.blocks().size() > change + 10; }));
    for (size_t i = change; i < client.blocks().size(); ++i) {
        const RxAnswer& block = client.blocks()[i];
        EXPECT_EQ(block.sampleRate, 32000);
        EXPECT_EQ(block.channels, 2) << "of a source with one";
        EXPECT_GT(block.timeUs, client.blocks()[i - 1].timeUs);
    }
    const Sound sound = soundFromPcm(client.samples(change), 2, 32000);
    EXPECT_NEAR(dominantFrequency(sound.channel(0), 32000), 1000, 2);
    EXPECT_TRUE(client.pollUntil([&] { return hears(32000); })) << "whoever monitors it";
    oxa::host::useNullSound();
    oxa::host::setHdmiSoundChannels(1);
    EXPECT_TRUE(client.pollUntil([&] { return client.blocks().back().channels == 1; }));
}

TEST_F(HdmiSoundTest, serviceThatIsSlowTakesItsTimeUntilItDies) {
    useSource(rampSource(kRate));
    RxClient client;
    RxAnswer answer;
    const auto pollUs = [&](bool alive) {
        const int64_t beginUs = monotonicUs();
        EXPECT_EQ(alive, client.poll(&answer));
        return monotonicUs() - beginUs;
    };
    oxa::host::delayHdmiSoundService(100'000);
    EXPECT_GE(pollUs(true), 100'000);
    oxa::host::delayHdmiSoundService(3'600'000'000);
    auto polling = std::async(std::launch::async, [&] { return pollUs(false); });
    EXPECT_EQ(std::future_status::timeout, polling.wait_for(std::chrono::milliseconds(50)));
    oxa::host::endHdmiSoundService();
    EXPECT_LT(polling.get(), 60'000'000);
}

TEST_F(HdmiSoundTest, tellsOnceThatNothingComesAndGoesOnInThePresent) {
    ClipOptions options;
    options.video = false;
    options.extension = "wav";
    options.audioCodec = "pcm_s16le";
    options.seconds = 20;
    const std::string path = mRoot.file("late.wav");
    useSource(path);
    EXPECT_NE(oxa::host::hdmiSoundError(path), "");
    RxClient client;
    client.start(1);
    ASSERT_TRUE(client.pollUntil([&] { return faults(ENODEV) == 1; }));
    std::filesystem::copy(sineClip({1000}, 0.5, options), path);
    EXPECT_EQ(oxa::host::hdmiSoundError(path), "");
    ASSERT_TRUE(client.pollFrames(4096));

    oxa::host::loseHdmiSound(true);
    ASSERT_TRUE(client.pollUntil([&] { return faults(ENODEV) == 2; }));
    oxa::host::loseHdmiSound(false);
    client.forget();
    ASSERT_TRUE(client.pollFrames(20000));
    EXPECT_EQ(faults(ENODEV), 2);

    for (int stalls = 1; stalls <= 2; ++stalls) {
        oxa::host::stallHdmiSound(true);
        ASSERT_TRUE(client.pollUntil([&] {
            return faults(ETIMEDOUT) == stalls && client.lastState() == kStateNoBlock;
        }));
        EXPECT_EQ(mFaults.faults().back().cause, "nothing came for 3000 ms");
        client.forget();
        const int64_t resumedUs = monotonicUs();
        oxa::host::stallHdmiSound(false);
        ASSERT_TRUE(client.pollFrames(4096));
        // The first one may have begun before.
        EXPECT_GE(client.blocks().at(1).timeUs, resumedUs - 50000);
        EXPECT_EQ(stalls, faults(ETIMEDOUT));
    }
}

// A pipe that nobody writes cannot be opened, and whoever opens it cannot be interrupted.
TEST_F(HdmiSoundTest, stopsWhileItsSourceIsStuckAndTellsTheEndOfAnother) {
    const std::string path = mRoot.file("pipe.wav");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    useSource(path);
    RxClient client;
    client.start(1);
    EXPECT_EQ(client.pollState(), kStateNoBlock);
    client.stop();
    EXPECT_FALSE(oxa::host::hdmiSoundFigures().capturing);
    // Lets the thread go on, and find that it is not wanted any more.
    int fd = -1;
    ASSERT_TRUE(waitFor([&] { return (fd = open(path.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; }));
    close(fd);
    useSource(rampSource(kRate, "mono", 0.5));
    client.start(1);
    EXPECT_TRUE(client.pollFrames(4096));
    EXPECT_EQ(faults(ENODEV), 0);
    // This one ends.
    ASSERT_TRUE(client.pollUntil([&] { return faults(0) == 1; }));
    EXPECT_TRUE(mFaults.faults().back().ended);
    ASSERT_TRUE(client.pollUntil([&] { return client.lastState() == kStateNoBlock; }));
}

class DeathWatch : public hardware::hidl_death_recipient {
  public:
    void serviceDied(uint64_t cookie, const wp<hidl::base::V1_0::IBase>& who) override {
        EXPECT_EQ(cookie, 7U);
        EXPECT_EQ(IAudioUtil::getService("default", false), nullptr) << "it can still be found";
        mWho = who.unsafe_get();
        ++mDeaths;
    }
    std::atomic<int> mDeaths{0};
    std::atomic<const void*> mWho{nullptr};
};

TEST_F(HdmiSoundTest, serviceThatDiesIsNoticed) {
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
    EXPECT_EQ(watch->mDeaths, 1);
    EXPECT_EQ(static_cast<hidl::base::V1_0::IBase*>(client.service().get()), watch->mWho);
    EXPECT_EQ(unlinked->mDeaths, 0);
    EXPECT_EQ(faults(EPIPE), 1);
    EXPECT_TRUE(mFaults.faults().back().ended);
    EXPECT_TRUE(client.service()->setRxRender(1, kRate, 2).isDeadObject());
    EXPECT_TRUE(client.service()->registerRxCallback(kPid, nullptr).isDeadObject());
    EXPECT_FALSE(client.service()->linkToDeath(watch, 9).withDefault(false));
    EXPECT_EQ(IAudioUtil::getService("default", false), nullptr);
}

struct PlugCallback : public vendor::oxa::audioutil::V1_0::IAudioUtilCallback {
    Return<void> handleEvent(int32_t event) override {
        EXPECT_EQ(event, 0);
        ++events;
        return hardware::Void();
    }
    std::atomic<int> events{0};
};

TEST_F(HdmiSoundTest, tellsOfThePlugUntilTheCallbackIsRemoved) {
    oxa::host::HdmiReceiverOptions options;
    options.deviceRoot = mRoot.path();
    std::string error;
    const auto receiver = oxa::host::SimulatedHdmiReceiver::create(options, &error);
    ASSERT_NE(receiver, nullptr) << error;
    const sp<IAudioUtil> service = IAudioUtil::getService("default", false);
    const sp<PlugCallback> callback = new PlugCallback;
    const sp<PlugCallback> other = new PlugCallback;
    service->registerRxCallback(kPid, callback);
    service->registerRxCallback(kPid + 1, other);
    receiver->unplug();
    EXPECT_TRUE(waitFor([&] { return callback->events == 1; }));
    service->removeRxCallback(kPid);
    receiver->plug();
    EXPECT_TRUE(waitFor([&] { return other->events == 2; }));
    EXPECT_EQ(callback->events, 1);
    EXPECT_EQ(callback->getStrongCount(), 1) << "nobody but the test holds it";
}

TEST_F(HdmiSoundTest, tellsThatThereIsNoReceiver) {
    RxClient client;
    client.start();
    EXPECT_EQ(faults(ENODEV), 1);
    EXPECT_FALSE(oxa::host::hdmiSoundFigures().capturing);
}

}  // namespace
}  // namespace android
