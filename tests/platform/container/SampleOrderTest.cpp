// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include "support/Test.h"
#include "writer/SampleOrder.h"

namespace android {
namespace {

constexpr int kPicture = 0;
constexpr int kSound = 1;
constexpr int64_t kFrameUs = 20000;

// Samples of 20 ms in two tracks, on a clock that the test sets.
class SampleOrderTest : public testing::Test {
  protected:
    void add(int track, int64_t timeUs, int size = 100) {
        AvPacketOwner packet(av_packet_alloc());
        ASSERT_EQ(av_new_packet(packet, size), 0);
        packet->stream_index = track;
        packet->dts = packet->pts = timeUs;
        packet->duration = kFrameUs;
        mOrder.add(std::move(packet), mNowUs);
    }
    // Samples from `fromUs` up to `toUs`, as they come from a live source or all at once. What may
    // be written is written.
    void addSpan(int track, int64_t fromUs, int64_t toUs, bool live) {
        for (int64_t timeUs = fromUs; timeUs < toUs; timeUs += kFrameUs) {
            if (live) mNowUs += kFrameUs;
            add(track, timeUs);
            drain();
        }
    }
    void drain() {
        while (const AvPacketOwner packet = mOrder.next())
            take(*packet);
    }
    void take(const AVPacket& packet) {
        mWrittenUs[packet.stream_index] = packet.dts;
        mText += packet.stream_index == kPicture ? 'p' : 's';
    }
    // How far the sound is written.
    int64_t soundUs() const { return mWrittenUs[kSound]; }

    explicit SampleOrderTest(bool ofFiles = false)
        : mOrder({{1, 1000000}, {1, 1000000}}, ofFiles) {}

    SampleOrder mOrder;
    int64_t mNowUs = 77000000;
    int64_t mWrittenUs[2] = {-1, -1};
    std::string mText;
};

class FileOrderTest : public SampleOrderTest {
  protected:
    FileOrderTest() : SampleOrderTest(true) {}
};

// However slow the machine is.
TEST_F(FileOrderTest, waitsForALateTrackAsLongAsThereIsRoom) {
    addSpan(kPicture, 0, kFrameUs, true);
    addSpan(kSound, 0, 120 * 1000000, true);
    EXPECT_EQ(soundUs(), 0);
    addSpan(kPicture, 1000000, 1000001, true);
    EXPECT_EQ(soundUs(), 1000000);
    add(kSound, 120 * 1000000, SampleOrder::kMaxHeldBytes);
    drain();
    EXPECT_GT(soundUs(), 1000000);
}

TEST_F(SampleOrderTest, writesByTimeAndTheFirstTrackFirst) {
    for (const int64_t timeUs : {0, 20000, 40000, 60000})
        add(kSound, timeUs);
    drain();
    EXPECT_EQ(mText, "");
    add(kPicture, 0);
    drain();
    EXPECT_EQ(mText, "ps");
    add(kPicture, 50000);
    drain();
    EXPECT_EQ(mText, "psssp");
    mOrder.end(kPicture);
    drain();
    EXPECT_EQ(mText, "psssps");
}

TEST_F(SampleOrderTest, givesUpWhatItHoldsFromATimeOn) {
    for (const int64_t timeUs : {0, 20000, 40000})
        add(kSound, timeUs);
    int64_t firstUs = -1;
    EXPECT_TRUE(mOrder.dropFrom(kSound, 20000, &firstUs));
    EXPECT_EQ(firstUs, 20000);
    EXPECT_FALSE(mOrder.dropFrom(kSound, 20000, &firstUs));
    mOrder.end(kPicture);
    mOrder.end(kSound);
    drain();
    EXPECT_EQ(mText, "s");
}

class SampleOrderPaceTest : public SampleOrderTest, public testing::WithParamInterface<int64_t> {};

// What a killed recording of a camera that stalls has lost is what is not written yet.
TEST_P(SampleOrderPaceTest, aLiveTrackThatStallsHoldsTheOtherForItsOwnPace) {
    constexpr int64_t kStallUs = 5000000;
    constexpr int64_t kEndUs = 20000000;
    constexpr int64_t kReadyUs = 400000;  // of sound, when it begins
    const int64_t gapUs = GetParam();
    addSpan(kSound, 0, kReadyUs, false);
    for (int64_t timeUs = 0; timeUs < kStallUs; timeUs += gapUs) {
        add(kPicture, timeUs);
        drain();
        addSpan(kSound, kReadyUs + timeUs, kReadyUs + timeUs + gapUs, true);
        EXPECT_LE(soundUs(), timeUs);
    }
    addSpan(kSound, kReadyUs + kStallUs, kReadyUs + kEndUs, true);
    const int64_t patienceUs = std::max<int64_t>(500000, 2 * gapUs);
    EXPECT_NEAR(kEndUs - soundUs(), patienceUs, gapUs + 2 * kFrameUs);
}

INSTANTIATE_TEST_SUITE_P(Gaps, SampleOrderPaceTest, testing::Values(40000, 200000, 500000));

// A slow picture encoder must not let the sound of a film run ahead; half a minute is the end.
TEST_F(SampleOrderTest, whatIsFasterThanLiveIsWaitedForLong) {
    add(kPicture, 0);
    addSpan(kSound, 0, 60000000, false);
    EXPECT_EQ(soundUs(), 0);
    for (int64_t at = 60000000; at < 89000000; at += 200000) {
        mNowUs += 200000;
        add(kSound, at);
        drain();
    }
    EXPECT_EQ(soundUs(), 0);
    for (int64_t at = 89000000; at < 91000000; at += 200000) {
        mNowUs += 200000;
        add(kSound, at);
        drain();
    }
    EXPECT_GE(soundUs(), 90000000);
}

// On a machine that is too slow for anything a film is no live source either.
TEST_F(SampleOrderTest, whatComesEverLaterIsWaitedForLong) {
    add(kPicture, 0);
    for (int i = 0; i < 100; ++i) {
        mNowUs += 200000;
        add(kSound, i * kFrameUs);
        drain();
    }
    EXPECT_LE(soundUs(), 500000) << "more than it takes to see that";
}

TEST_F(SampleOrderTest, neitherAStillProcessNorASlowOutputIsADelay) {
    add(kPicture, 0);
    add(kSound, 0);
    for (int i = 1; i < 10; ++i) {
        mNowUs += 60000000;
        if (i % 2 == 0) mOrder.skipTime(mNowUs);
        add(kPicture, i * kFrameUs);
        add(kSound, i * kFrameUs);
        drain();
    }
    add(kSound, 10 * kFrameUs);
    add(kSound, 11 * kFrameUs);
    mNowUs += 60000000;
    mOrder.skipTime(mNowUs);
    add(kSound, 12 * kFrameUs);
    drain();
    EXPECT_EQ(soundUs(), 9 * kFrameUs);
}

// Memory has a bound, the order has none then.
TEST_F(SampleOrderTest, atMostTheBoundIsHeld) {
    constexpr int kSize = 1 << 20;
    constexpr int kHeld = SampleOrder::kMaxHeldBytes / kSize;
    for (int i = 0; i < 2 * kHeld; ++i) {
        add(kSound, i * kFrameUs, kSize);
        drain();
    }
    EXPECT_EQ(mText, std::string(kHeld, 's'));
}

TEST_F(SampleOrderTest, aCutEndsAllWhereTheShortestEnds) {
    add(kPicture, 0);
    add(kPicture, 30000);
    addSpan(kSound, 0, 1000000, false);
    mOrder.cut();
    int64_t endUs = 0;
    while (const AvPacketOwner packet = mOrder.nextOfRest())
        endUs = packet->dts + packet->duration;
    EXPECT_EQ(endUs, 50000);

    SampleOrder onlySound({{1, 1000000}, {1, 1000000}}, false);
    AvPacketOwner packet(av_packet_alloc());
    packet->stream_index = kSound;
    packet->dts = packet->pts = 0;
    onlySound.add(std::move(packet), 0);
    onlySound.cut();
    EXPECT_EQ(onlySound.nextOfRest(), nullptr) << "a track that never came";
}

}  // namespace
}  // namespace android
