// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "hdmi/RxBlockQueue.h"

#include "camera/CameraRegistry.h"
#include "support/RampSource.h"
#include "support/Test.h"

namespace android {
namespace {

using oxa::test::kRampLength;
using oxa::test::rampBreaks;

constexpr size_t kAll = 16384;
constexpr int64_t kStartUs = 1000000;
constexpr int64_t kJitterUs = 1000;

// Sound that counts, in pieces of any length, at exact times.
class Feed {
  public:
    Feed(RxBlockQueue* queue, int sampleRate, int channels)
        : mQueue(queue), mRate(sampleRate), mChannels(channels) {}

    void add(size_t frames) {
        LiveBlock sound;
        sound.timeUs = kStartUs + mSkippedUs + mFrames * 1000000 / mRate;
        sound.channels = mChannels;
        sound.sampleRate = mRate;
        for (size_t i = 0; i < frames * mChannels; ++i) {
            const int64_t frame = mFrames + static_cast<int64_t>(i) / mChannels;
            sound.samples.push_back(static_cast<int16_t>(frame % kRampLength));
        }
        mFrames += static_cast<int64_t>(frames);
        mQueue->add(sound);
    }
    void skip(int64_t timeUs) { mSkippedUs += timeUs; }

  private:
    RxBlockQueue* const mQueue;
    const int mRate;
    const int mChannels;
    int64_t mFrames = 0;
    int64_t mSkippedUs = 0;
};

std::vector<RxBlock> takeAll(RxBlockQueue* queue, size_t maxBytes = kAll) {
    std::vector<RxBlock> blocks;
    RxBlock block;
    while (queue->take(maxBytes, &block))
        blocks.push_back(block);
    return blocks;
}

size_t bytes(const RxBlock& block) {
    return block.samples.size() * sizeof(int16_t);
}

TEST(RxBlockQueueTest, cutsSoundIntoBlocksThatKeepUpWithThePolls) {
    const struct {
        int sampleRate, channels;
        size_t blockBytes;
    } kShapes[] = {{48000, 2, 4096},   {44100, 2, 4096},  {48000, 1, 2048}, {96000, 2, 8192},
                   {192000, 2, 16384}, {48000, 8, 16384}, {49152, 1, 2048}};  // just as many
    for (const auto& shape : kShapes) {
        SCOPED_TRACE(shape.sampleRate * shape.channels);
        RxBlockQueue queue;
        queue.begin(kStartUs);
        Feed feed(&queue, shape.sampleRate, shape.channels);
        std::vector<int16_t> all;
        int64_t lastUs = 0;
        size_t frames = 0;
        for (const size_t piece : {100, 5000, 1, 1023, 4096, 9000, 333}) {
            feed.add(piece);
            for (const RxBlock& block : takeAll(&queue)) {
                EXPECT_EQ(bytes(block), shape.blockBytes);
                EXPECT_EQ(block.channels, shape.channels);
                EXPECT_EQ(block.sampleRate, shape.sampleRate);
                const int64_t dueUs =
                        kStartUs + static_cast<int64_t>(frames) * 1000000 / shape.sampleRate;
                EXPECT_GE(block.timeUs, dueUs);
                EXPECT_LE(block.timeUs, dueUs + kJitterUs);
                EXPECT_GT(block.timeUs, lastUs);
                lastUs = block.timeUs;
                frames += block.samples.size() / block.channels;
                all.insert(all.end(), block.samples.begin(), block.samples.end());
            }
        }
        EXPECT_GT(frames, 0U);
        EXPECT_EQ(rampBreaks(all, shape.channels), 0U);
        EXPECT_EQ(queue.dropped(), 0U);
    }
}

TEST(RxBlockQueueTest, beginsWithTheFirstSampleAfterItsTime) {
    RxBlockQueue queue;
    queue.begin(kStartUs + 50000);
    Feed feed(&queue, 48000, 1);
    for (int i = 0; i < 5; ++i)
        feed.add(1000);
    const std::vector<RxBlock> blocks = takeAll(&queue);
    ASSERT_FALSE(blocks.empty());
    EXPECT_EQ(blocks.front().samples.front(), 2400);
    EXPECT_NEAR(blocks.front().timeUs, kStartUs + 50000, kJitterUs);
}

// Sound from before is kept for a picture that began a little earlier.
TEST(RxBlockQueueTest, beginsWithThePictureThatIsRecorded) {
    for (const auto& [pictureUs, firstSample] : {std::pair(kStartUs + 20000, 960),
                                                 {kStartUs + 60000, 2880},
                                                 {RegisteredCamera::kNotRecorded, 2400}}) {
        SCOPED_TRACE(pictureUs);
        RxBlockQueue queue;
        Feed feed(&queue, 48000, 1);
        feed.add(3000);
        queue.begin(kStartUs + 50000, [pictureUs = pictureUs] { return pictureUs; });
        feed.add(3000);
        const std::vector<RxBlock> blocks = takeAll(&queue);
        ASSERT_FALSE(blocks.empty());
        EXPECT_EQ(blocks.front().samples.front(), firstSample);
    }
}

TEST(RxBlockQueueTest, givesWhatCameBeforeAGapAndTheTimesAfterIt) {
    RxBlockQueue queue;
    queue.begin(kStartUs);
    Feed feed(&queue, 48000, 1);
    feed.add(1500);
    feed.skip(3000);  // not a gap: a driver's stamps are not exact
    feed.add(100);
    feed.skip(300000);
    feed.add(1024);
    const std::vector<RxBlock> blocks = takeAll(&queue);
    ASSERT_EQ(blocks.size(), 3U);
    EXPECT_EQ(blocks[0].samples.size(), 1024U);
    EXPECT_EQ(blocks[1].samples.size(), 576U);
    EXPECT_EQ(blocks[2].samples.front(), 1600);
    EXPECT_NEAR(blocks[2].timeUs, kStartUs + 303000 + 1600 * 1000 / 48, kJitterUs);
}

TEST(RxBlockQueueTest, givesALargeBlockInParts) {
    RxBlockQueue queue;
    queue.begin(kStartUs);
    Feed feed(&queue, 48000, 2);
    feed.add(1024);
    RxBlock block;
    EXPECT_FALSE(queue.take(3, &block));
    const std::vector<RxBlock> parts = takeAll(&queue, 1602);
    ASSERT_EQ(parts.size(), 3U);
    EXPECT_EQ(bytes(parts[0]), 1600U);
    EXPECT_EQ(bytes(parts[0]) + bytes(parts[1]) + bytes(parts[2]), 4096U);
    EXPECT_EQ(parts[1].samples.front(), 400);
    EXPECT_EQ(parts[0].timeUs + 400 * 1000 / 48, parts[1].timeUs);
}

}  // namespace
}  // namespace android
