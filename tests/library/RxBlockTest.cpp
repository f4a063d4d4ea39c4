// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <vendor/oxa/audioutil/1.0/IAudioUtil.h>

#include "library/Stage.h"
#include "support/LogCapture.h"
#include "support/MediaProbe.h"

namespace android {
namespace {

using hardware::Return;
using hardware::Void;
using ::vendor::oxa::audioutil::V1_0::IAudioUtil;
using ::vendor::oxa::audioutil::V1_0::IAudioUtilCallback;

constexpr int32_t kFull = 4096;  // 1,024 stereo frames
constexpr int64_t kBlockUs = 1024 * 1000000LL / 48000;
constexpr int64_t kFirstUs = 7000000;

struct Block {
    int64_t timeUs;
    int32_t size, channels, sampleRate, state;
};

// Gives the blocks of a list, and then none; takes the service's place while it lives.
class ScriptedService : public IAudioUtil {
  public:
    void setBlocks(std::vector<Block> blocks) {
        std::lock_guard<std::mutex> lock(mLock);
        mBlocks = std::move(blocks);
        mNext = 0;
    }
    bool isOver() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mNext == mBlocks.size();
    }

    // Whether no call comes through.
    void setDead(bool dead) { mDead = dead; }

    Return<void> setRxRender(int32_t, int32_t, int32_t) override { return done(); }
    Return<void> setRxPlayback(bool) override { return done(); }
    Return<void> setRxRecord(bool) override { return done(); }
    Return<void> readRxAudio(const hardware::hidl_memory&, readRxAudio_cb answer) override {
        if (mDead) return done();
        Block block = {-1, -1, -1, -1, 3};
        {
            std::lock_guard<std::mutex> lock(mLock);
            if (mNext < mBlocks.size()) block = mBlocks[mNext++];
        }
        answer(block.timeUs, block.size, block.channels, block.sampleRate, block.state);
        return Void();
    }
    Return<void> registerRxCallback(int32_t, const sp<IAudioUtilCallback>&) override {
        return done();
    }
    Return<void> removeRxCallback(int32_t) override { return done(); }

  private:
    Return<void> done() const {
        if (mDead) return hardware::Status::fromStatusT(DEAD_OBJECT);
        return Void();
    }

    std::atomic<bool> mDead{false};
    mutable std::mutex mLock;
    std::vector<Block> mBlocks;  // guarded by mLock
    size_t mNext = 0;            // guarded by mLock
};

class RxBlockTest : public ::testing::Test {
  protected:
    RxBlockTest() : mUsual(IAudioUtil::getService("default", false)) {
        EXPECT_EQ(mService->registerAsService("default"), OK);
    }
    ~RxBlockTest() override { EXPECT_EQ(mUsual->registerAsService("default"), OK); }

    // Records the blocks until so much is with the muxer and all were fetched.
    void record(const std::vector<Block>& blocks, int64_t untilUs) {
        mService->setBlocks(blocks);
        FILE* file = fopen(mFolder.file("out.mp4").c_str(), "w+e");
        ASSERT_NE(file, nullptr);
        {
            ReceiverStage stage;
            stage.muxer = new OxaMediaMuxer(fileno(file), OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
            stage.reports->muxer = stage.muxer;
            stage.startRecording();
            EXPECT_TRUE(oxa::test::waitFor([&] {
                return mService->isOver() && stage.pipeline->lastTimeUs() >= untilUs;
            })) << stage.pipeline->lastTimeUs();
            EXPECT_EQ(stage.pipeline->stop(), OK);
            EXPECT_EQ(stage.muxer->stop(), OK);
        }
        fclose(file);
    }

    const oxa::test::TempDir mFolder;
    const sp<IAudioUtil> mUsual;
    const sp<ScriptedService> mService = new ScriptedService;
};

// `count` usable blocks, one after the other.
std::vector<Block> usableBlocks(int count) {
    std::vector<Block> blocks;
    for (int i = 0; i < count; ++i)
        blocks.push_back({kFirstUs + i * kBlockUs, kFull, 2, 48000, 0});
    return blocks;
}

TEST_F(RxBlockTest, unusableBlocksAreSkippedAndPollingGoesOn) {
    std::vector<Block> blocks = {
            {1000000, kFull, 2, 48000, -1},
            {1000000, kFull, 2, 48000, 3},
            {-1, kFull, 2, 48000, 0},
            // The first time that counts, though there is nothing to be heard.
            {kFirstUs, 0, 2, 48000, 0},
            {kFirstUs, kFull, 0, 48000, 0},
            {kFirstUs, kFull, 2, 0, 0},
    };
    // So slow that each would become a block of hours.
    blocks.insert(blocks.end(), 4, {kFirstUs, kFull, 2, 1, 0});
    const std::vector<Block> usable = usableBlocks(30);
    blocks.insert(blocks.end(), usable.begin(), usable.end());
    const LogCapture log;
    record(blocks, 400000);
    EXPECT_EQ(log.count("AudioRxEncoder", "mStartTimeUs = "), 1);
    EXPECT_TRUE(log.contains("AudioRxEncoder", "mStartTimeUs = 7000000"));
    const oxa::test::MediaProbe probe(mFolder.file("out.mp4"));
    ASSERT_NE(probe.audio(), nullptr);
    EXPECT_EQ(probe.audio()->firstUs(), 0);
    EXPECT_NEAR(probe.audio()->durationUs(), 500000, 150000);
}

// However slow: each is stretched. A signal may begin with the clock.
TEST_F(RxBlockTest, blocksOfAnyRateAreHeard) {
    const struct {
        int32_t channels, rate, frames;
    } kCases[] = {{2, 500, 256}, {1, 500, 256}, {2, 1, 1}};
    for (const auto& [channels, rate, frames] : kCases) {
        SCOPED_TRACE(std::to_string(channels) + " " + std::to_string(rate));
        std::vector<Block> blocks;
        for (int i = 0; i < 12; ++i)
            blocks.push_back({i * frames * 1000000LL / rate, frames * 4, channels, rate, 0});
        const LogCapture log;
        record(blocks, 1000000);
        EXPECT_EQ(log.count("AudioRxEncoder", "mStartTimeUs = "), 1);
        EXPECT_TRUE(log.contains("AudioRxEncoder", "mStartTimeUs = 0"));
    }
}

// A stage that records, with a muxer that nobody starts.
class RecordingStage : public ReceiverStage {
  public:
    RecordingStage() {
        startRecording();
        EXPECT_TRUE(oxa::test::waitFor([&] { return reports->count(kWhatTrackAdded) > 0; }));
    }
};

TEST_F(RxBlockTest, resetEndsARecordingWithoutSound) {
    RecordingStage stage;
    stage.muxer->start();
    EXPECT_EQ(stage.pipeline->reset(), OK);
    EXPECT_EQ(stage.pipeline->setAudioSource(0), OK);
}

// Each becomes six times as large.
TEST_F(RxBlockTest, soundThatNobodyTakesIsGivenUpFromTheOldestOn) {
    const LogCapture log;
    mService->setBlocks(std::vector<Block>(80, {kFirstUs, 16384, 2, 8000, 0}));
    RecordingStage stage;
    EXPECT_TRUE(oxa::test::waitFor(
            [&] { return log.contains("AudioRxEncoder", "the oldest is given up"); }));
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

TEST_F(RxBlockTest, aServiceThatDoesNotAnswerIsAskedAgain) {
    const LogCapture log;
    {
        RecordingStage stage;
        mService->setDead(true);
        EXPECT_TRUE(oxa::test::waitFor(
                [&] { return log.contains("AudioRxEncoder", "does not answer"); }));
        mService->setBlocks(usableBlocks(1));
        mService->setDead(false);
        EXPECT_TRUE(oxa::test::waitFor([&] { return mService->isOver(); }));
        mService->setDead(true);
        EXPECT_EQ(stage.pipeline->setPlayback(1), OK);
        EXPECT_EQ(stage.pipeline->setRecord(0, -1), OK);
        EXPECT_EQ(stage.pipeline->stop(), OK);
    }
    EXPECT_EQ(log.count("AudioRxEncoder", "does not answer"), 1);
}

// What the service tells of a block need not fit the memory, or the format of the blocks before.
TEST_F(RxBlockTest, blocksLargerThanTheirMemoryAndOfOtherFormatsDoNoHarm) {
    std::vector<Block> blocks = usableBlocks(30);
    blocks[3].size = 1 << 30;
    blocks[5] = {blocks[5].timeUs, 16384, 8, 44100, 0};
    blocks[7] = {blocks[7].timeUs, 1 << 30, 1, 96000, 0};
    blocks[9] = {blocks[9].timeUs, 1 << 30, 2, 44100, 0};
    blocks[11].size = 1;
    record(blocks, 400000);
    const oxa::test::MediaProbe probe(mFolder.file("out.mp4"));
    ASSERT_NE(probe.audio(), nullptr);
    EXPECT_EQ(probe.audio()->decodeErrors, 0);
}

}  // namespace
}  // namespace android
