// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gtest/gtest.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <stdlib.h>
#include <unistd.h>

#include <atomic>
#include <fstream>
#include <functional>
#include <iterator>
#include <string>
#include <thread>

#include "OxaMediaMuxer.h"
#include "library/LogCapture.h"
#include "library/OwnLooper.h"
#include "library/Reports.h"
#include "support/Deadline.h"

namespace android {
namespace {

using oxa::test::waitFor;

constexpr int kMp4 = OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4;
constexpr int kTs = OxaMediaMuxer::OUTPUT_FORMAT_MPEG2TS;

sp<ABuffer> bytes(std::initializer_list<uint8_t> values) {
    return ABuffer::CreateAsCopy(values.begin(), values.size());
}

sp<AMessage> aacFormat() {
    sp<AMessage> format = new AMessage;
    format->setString("mime", MEDIA_MIMETYPE_AUDIO_AAC);
    format->setInt32("channel-count", 2);
    format->setInt32("sample-rate", 48000);
    format->setBuffer("csd-0", bytes({0x11, 0x90}));
    return format;
}

sp<AMessage> unsupportedFormat() {
    sp<AMessage> format = aacFormat();
    format->setString("mime", "audio/x-unknown");
    return format;
}

class MuxerTest : public ::testing::Test {
  protected:
    void SetUp() override { mFd = fileno(tmpfile()); }

    sp<OxaMediaMuxer> make(int format) {
        return new OxaMediaMuxer(mFd, static_cast<OxaMediaMuxer::OutputFormat>(format));
    }
    sp<OxaMediaMuxer> started(int format = kMp4) {
        sp<OxaMediaMuxer> muxer = make(format);
        EXPECT_EQ(muxer->addTrack(aacFormat()), 0);
        EXPECT_EQ(muxer->start(), OK);
        return muxer;
    }

    int mFd = -1;
    LogCapture mLog;
};

// Everything is refused by a muxer without a writer, whatever made it so.
TEST_F(MuxerTest, WithoutAWriterEverythingIsRefused) {
    const sp<OxaMediaMuxer> kMuxers[] = {
            make(1),
            make(7),
            new OxaMediaMuxer(-1, OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4),
            new OxaMediaMuxer(stdout, OxaMediaMuxer::OUTPUT_FORMAT_MPEG2TS),
            new OxaMediaMuxer(nullptr, nullptr, true, OxaMediaMuxer::OUTPUT_FORMAT_MPEG2TS),
            new OxaMediaMuxer(nullptr, nullptr, true, 7890, "239.0.0.1",
                              OxaMediaMuxer::OUTPUT_FORMAT_MPEG2TS),
            new OxaMediaMuxer(7890, "239.0.0.1", true, OxaMediaMuxer::OUTPUT_FORMAT_MPEG2TS),
    };
    int count = 0;
    for (const sp<OxaMediaMuxer>& muxer : kMuxers) {
        ++count;
        EXPECT_EQ(muxer->addTrack(aacFormat()), INVALID_OPERATION);
        EXPECT_EQ(muxer->setOrientationHint(0), INVALID_OPERATION);
        EXPECT_EQ(muxer->setLocation(0, 0), INVALID_OPERATION);
        EXPECT_EQ(muxer->start(), INVALID_OPERATION);
        EXPECT_EQ(muxer->writeSampleData(bytes({1}), 0, 0, 0), INVALID_OPERATION);
        EXPECT_EQ(muxer->stop(), INVALID_OPERATION);
        EXPECT_EQ(mLog.count("OxaMediaMuxer",
                             "addTrack() must be called after constructor and before start()."),
                  count);
        EXPECT_EQ(mLog.count("OxaMediaMuxer", "start() is called in invalid state 0"), count);
        EXPECT_EQ(mLog.count("OxaMediaMuxer", "stop() is called in invalid state 0"), count);
        EXPECT_EQ(mLog.count("OxaMediaMuxer", "WriteSampleData() is called in invalid state 0"),
                  count);
    }
}

TEST_F(MuxerTest, InitializedTakesTracksOrientationAndLocation) {
    sp<OxaMediaMuxer> muxer = make(kMp4);
    for (int degrees : {0, 90, 180, 270})
        EXPECT_EQ(muxer->setOrientationHint(degrees), OK);
    EXPECT_EQ(muxer->setOrientationHint(45), BAD_VALUE);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "setOrientationHint() get invalid degrees"));
    EXPECT_EQ(muxer->setLocation(900000, -1800000), OK);
    EXPECT_EQ(muxer->setLocation(900001, 0), BAD_VALUE);
    EXPECT_EQ(muxer->addTrack(nullptr), BAD_VALUE);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "addTrack() get a null format"));
    EXPECT_EQ(muxer->addTrack(unsupportedFormat()), -1);
    EXPECT_EQ(muxer->addTrack(aacFormat()), 0) << "a refused track must not take an index";
    EXPECT_EQ(muxer->addTrack(aacFormat()), 1);
    EXPECT_EQ(muxer->writeSampleData(bytes({1}), 0, 0, 0), INVALID_OPERATION);
    EXPECT_EQ(muxer->stop(), INVALID_OPERATION);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "stop() is called in invalid state 1"));
    EXPECT_EQ(make(kTs)->setLocation(0, 0), INVALID_OPERATION);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "setLocation() is only supported for .mp4 output."));
}

TEST_F(MuxerTest, StartedTakesSamplesOnlyAndStoppedNothing) {
    sp<OxaMediaMuxer> muxer = started();
    EXPECT_EQ(muxer->addTrack(aacFormat()), INVALID_OPERATION);
    EXPECT_EQ(muxer->setOrientationHint(0), INVALID_OPERATION);
    EXPECT_TRUE(
            mLog.contains("OxaMediaMuxer", "setOrientationHint() must be called before start()."));
    EXPECT_EQ(muxer->setLocation(0, 0), INVALID_OPERATION);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "setLocation() must be called before start()."));
    EXPECT_EQ(muxer->start(), INVALID_OPERATION);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "start() is called in invalid state 2"));
    EXPECT_EQ(muxer->writeSampleData(nullptr, 0, 0, 1), BAD_VALUE);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "WriteSampleData() get an NULL buffer."));
    EXPECT_EQ(muxer->writeSampleData(bytes({1, 2, 3}), 1, 0, 1), BAD_VALUE);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "WriteSampleData() get an invalid index 1"));
    EXPECT_EQ(muxer->writeSampleData(bytes({1, 2, 3}), 0, 0, 1), OK);
    EXPECT_EQ(muxer->stop(), OK);
    // Stopped, it takes nothing.
    EXPECT_EQ(muxer->stop(), INVALID_OPERATION);
    EXPECT_EQ(muxer->start(), INVALID_OPERATION);
    EXPECT_EQ(muxer->writeSampleData(bytes({1}), 0, 0, 1), INVALID_OPERATION);
    EXPECT_TRUE(mLog.contains("OxaMediaMuxer", "WriteSampleData() is called in invalid state 3"));
}

// The samples' memory begins anywhere in its buffer; the file must hold just the range.
TEST_F(MuxerTest, WritesTheRangeOfTheBuffer) {
    sp<OxaMediaMuxer> muxer = started();
    sp<ABuffer> sample = bytes({0xEE, 0xEE, 0x21, 0x43, 0x65, 0x87, 0xEE});
    sample->setRange(2, 4);
    ASSERT_EQ(muxer->writeSampleData(sample, 0, 0, 1), OK);
    ASSERT_EQ(muxer->stop(), OK);
    std::string file(lseek(mFd, 0, SEEK_END), '\0');
    ASSERT_EQ(pread(mFd, file.data(), file.size(), 0), static_cast<ssize_t>(file.size()));
    EXPECT_NE(file.find("\x21\x43\x65\x87"), std::string::npos);
    EXPECT_EQ(file.find("\xEE\x21\x43\x65\x87"), std::string::npos);
}

// A writer that cannot start is not the caller's failure, but nobody may pass the gate as if it
// wrote.
TEST_F(MuxerTest, AFailingWriterLeavesTheMuxerStartedButNotWriting) {
    sp<OxaMediaMuxer> muxer = make(kMp4);  // a writer without a track does not start
    EXPECT_EQ(muxer->start(), OK);
    EXPECT_TRUE(muxer->isStarted());
    EXPECT_FALSE(muxer->isWriting());
    EXPECT_EQ(muxer->start(), INVALID_OPERATION);
}

// ---- The start gate ----------------------------------------------------------------------------

// The start comes as fast as it can: a waiter that missed it would hang here.
TEST_F(MuxerTest, AnAnnouncementNeverMissesTheStartThatItCauses) {
    for (int i = 0; i < 5; ++i) {
        const sp<Reports> facade = new Reports;
        const OwnLooper looper(facade);
        facade->muxer = make(kMp4);
        ASSERT_EQ(facade->muxer->addTrack(aacFormat()), 0);
        EXPECT_TRUE(facade->muxer->announceAndWaitForStart(new AMessage(kWhatTrackAdded, facade)));
        EXPECT_TRUE(facade->muxer->isWriting());
        EXPECT_EQ(facade->muxer->stop(), OK);
    }
}

bool isAsleep(pid_t tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    size_t name = text.rfind(')');
    return name != std::string::npos && text.compare(name + 1, 2, " S") == 0;
}

struct Waiter {
    const char* name;
    std::function<void(OxaMediaMuxer*)> wait;
};

// A thread that was waiting when the muxer starts comes out, in each form of waiting.
TEST_F(MuxerTest, StartReleasesWhoeverWaits) {
    const Waiter kWaiters[] = {
            {"waitForStart", [](OxaMediaMuxer* muxer) { muxer->waitForStart(); }},
            {"waitUntilStarted", [](OxaMediaMuxer* muxer) { muxer->waitUntilStarted(); }},
            {"announceAndWaitForStart",
             [](OxaMediaMuxer* muxer) { muxer->announceAndWaitForStart(new AMessage); }},
    };
    for (const Waiter& waiter : kWaiters) {
        sp<OxaMediaMuxer> muxer = make(kMp4);
        ASSERT_EQ(muxer->addTrack(aacFormat()), 0);
        std::atomic<bool> out{false};
        std::atomic<pid_t> tid{0};
        std::thread thread([&] {
            tid = gettid();
            waiter.wait(muxer.get());
            out = true;
        });
        // The start must find the thread inside its wait.
        ASSERT_TRUE(waitFor([&] { return tid != 0 && isAsleep(tid); })) << waiter.name;
        EXPECT_FALSE(out) << waiter.name;
        EXPECT_EQ(muxer->start(), OK);
        EXPECT_TRUE(waitFor([&] { return out.load(); })) << waiter.name;
        muxer->openGate();  // so that a failure does not hang the join
        thread.join();
        EXPECT_EQ(muxer->stop(), OK);
    }
}

TEST_F(MuxerTest, OpeningTheGateReleasesWithoutAStart) {
    sp<OxaMediaMuxer> muxer = make(kMp4);
    std::atomic<int> result{-1};
    std::thread thread([&] { result = muxer->announceAndWaitForStart(new AMessage) ? 1 : 0; });
    muxer->openGate();
    thread.join();
    EXPECT_EQ(result, 0);
    EXPECT_FALSE(muxer->announceAndWaitForStart(new AMessage)) << "the gate stays open";
    EXPECT_FALSE(muxer->isStarted());
    EXPECT_EQ(muxer->addTrack(aacFormat()), 0) << "opening the gate must not change the state";
}

// Tracks are written one sample at a time under one lock: a writer that made one track wait for
// the other would never come back from the second push.
TEST_F(MuxerTest, OneTrackCanRunAheadOfTheOther) {
    for (int format : {kMp4, kTs}) {
        sp<OxaMediaMuxer> muxer = make(format);
        ASSERT_EQ(muxer->addTrack(aacFormat()), 0);
        ASSERT_EQ(muxer->addTrack(aacFormat()), 1);
        ASSERT_EQ(muxer->start(), OK);
        for (int i = 0; i < 100; ++i) {
            ASSERT_EQ(muxer->writeSampleData(bytes({1, 2, 3, 4}), 0, i * 21333, 1), OK);
        }
        ASSERT_EQ(muxer->writeSampleData(bytes({1, 2, 3, 4}), 1, 0, 1), OK);
        EXPECT_EQ(muxer->stop(), OK);
    }
}

}  // namespace
}  // namespace android
