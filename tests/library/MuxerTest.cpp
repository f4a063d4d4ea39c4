// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <datasource/FileSource.h>
#include <fcntl.h>
#include <media/stagefright/NuMediaExtractor.h>
#include <media/stagefright/foundation/MediaDefs.h>
#include <stdlib.h>
#include <unistd.h>

#include "OxaMediaMuxer.h"
#include "library/Stage.h"
#include "support/LogCapture.h"
#include "support/MediaProbe.h"
#include "support/MediaReader.h"

namespace android {
namespace {

using oxa::test::waitFor;

constexpr auto kMp4 = OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4;
constexpr auto kTs = OxaMediaMuxer::OUTPUT_FORMAT_MPEG2TS;

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

class MuxerTest : public testing::Test {
  protected:
    enum State { kNoWriter, kInitialized, kStarted, kStopped, kStateCount };

    sp<OxaMediaMuxer> make(OxaMediaMuxer::OutputFormat format = kMp4) {
        return new OxaMediaMuxer(mFd, format);
    }
    sp<OxaMediaMuxer> makeIn(int state) {
        if (state == kNoWriter) return make(static_cast<OxaMediaMuxer::OutputFormat>(7));
        sp<OxaMediaMuxer> muxer = make();
        if (state == kInitialized) return muxer;
        EXPECT_EQ(muxer->addTrack(aacFormat()), 0);
        EXPECT_EQ(muxer->start(), OK);
        if (state == kStopped) muxer->stop();
        return muxer;
    }

    const int mFd = fileno(tmpfile());
};

TEST_F(MuxerTest, takesEachCallOnlyInItsState) {
    const struct {
        std::function<ssize_t(OxaMediaMuxer*)> call;
        State state;
        std::string refusal;
        bool tellsState;
    } kCalls[] = {{[](auto* muxer) { return muxer->addTrack(aacFormat()); }, kInitialized,
                   "addTrack() must be called after constructor and before start().", false},
                  {[](auto* muxer) { return muxer->setOrientationHint(0); }, kInitialized,
                   "setOrientationHint() must be called before start().", false},
                  {[](auto* muxer) { return muxer->setLocation(0, 0); }, kInitialized,
                   "setLocation() must be called before start().", false},
                  {[](auto* muxer) { return muxer->start(); }, kInitialized,
                   "start() is called in invalid state ", true},
                  {[](auto* muxer) {
                       return muxer->writeSampleData(bytes({1, 2, 3}), 0, 0, 1);
                   },
                   kStarted, "WriteSampleData() is called in invalid state ", true},
                  {[](auto* muxer) { return muxer->stop(); }, kStarted,
                   "stop() is called in invalid state ", true}};
    for (const auto& test : kCalls) {
        for (int state = kNoWriter; state < kStateCount; ++state) {
            SCOPED_TRACE(test.refusal + " in " + std::to_string(state));
            const sp<OxaMediaMuxer> muxer = makeIn(state);
            const LogCapture log;
            EXPECT_EQ(test.call(muxer.get()), state == test.state ? OK : INVALID_OPERATION);
            EXPECT_EQ(log.contains("OxaMediaMuxer",
                                   test.refusal + (test.tellsState ? std::to_string(state) : "")),
                      state != test.state);
        }
    }
}

TEST_F(MuxerTest, withoutAWriterNothingIsTaken) {
    const sp<OxaMediaMuxer> kMuxers[] = {
            make(static_cast<OxaMediaMuxer::OutputFormat>(1)),
            new OxaMediaMuxer(-1, kMp4),
            new OxaMediaMuxer(stdout, kTs),
            new OxaMediaMuxer(nullptr, nullptr, true, kTs),
            new OxaMediaMuxer(nullptr, nullptr, true, 7890, "239.0.0.1", kTs),
            new OxaMediaMuxer(7890, "239.0.0.1", true, kTs)};
    for (const sp<OxaMediaMuxer>& muxer : kMuxers) {
        EXPECT_EQ(muxer->addTrack(aacFormat()), INVALID_OPERATION);
        EXPECT_EQ(muxer->start(), INVALID_OPERATION);
    }
}

TEST_F(MuxerTest, refusesWhatIsNoTrackNoPlaceAndNoSample) {
    const LogCapture log;
    const sp<OxaMediaMuxer> muxer = make();
    for (int degrees : {90, 180, 270})
        EXPECT_EQ(muxer->setOrientationHint(degrees), OK);
    EXPECT_EQ(muxer->setOrientationHint(45), BAD_VALUE);
    EXPECT_TRUE(log.contains("OxaMediaMuxer", "setOrientationHint() get invalid degrees"));
    EXPECT_EQ(muxer->setLocation(900000, -1800000), OK);
    EXPECT_EQ(muxer->setLocation(900001, 0), BAD_VALUE);
    EXPECT_EQ(make(kTs)->setLocation(0, 0), INVALID_OPERATION);
    EXPECT_TRUE(log.contains("OxaMediaMuxer", "setLocation() is only supported for .mp4 output."));
    EXPECT_EQ(muxer->addTrack(nullptr), BAD_VALUE);
    EXPECT_TRUE(log.contains("OxaMediaMuxer", "addTrack() get a null format"));
    const sp<AMessage> unsupported = aacFormat();
    unsupported->setString("mime", "audio/x-unknown");
    EXPECT_EQ(muxer->addTrack(unsupported), -1);
    EXPECT_EQ(muxer->addTrack(aacFormat()), 0) << "a refused track must not take an index";
    EXPECT_EQ(muxer->start(), OK);
    EXPECT_EQ(muxer->writeSampleData(nullptr, 0, 0, 1), BAD_VALUE);
    EXPECT_TRUE(log.contains("OxaMediaMuxer", "WriteSampleData() get an NULL buffer."));
    EXPECT_EQ(muxer->writeSampleData(bytes({1, 2, 3}), 1, 0, 1), BAD_VALUE);
    EXPECT_TRUE(log.contains("OxaMediaMuxer", "WriteSampleData() get an invalid index 1"));
    EXPECT_EQ(muxer->stop(), OK);
}

// The samples' memory begins anywhere in its buffer; the file must hold just the range.
TEST_F(MuxerTest, writesTheRangeOfTheBuffer) {
    const sp<OxaMediaMuxer> muxer = makeIn(kStarted);
    sp<ABuffer> sample = bytes({0xEE, 0xEE, 0x21, 0x43, 0x65, 0x87, 0xEE});
    sample->setRange(2, 4);
    ASSERT_EQ(muxer->writeSampleData(sample, 0, 0, 1), OK);
    ASSERT_EQ(muxer->stop(), OK);
    std::string file(lseek(mFd, 0, SEEK_END), '\0');
    ASSERT_EQ(pread(mFd, file.data(), file.size(), 0), static_cast<ssize_t>(file.size()));
    EXPECT_NE(file.find("\x21\x43\x65\x87"), std::string::npos);
    EXPECT_EQ(file.find("\xEE\x21\x43\x65\x87"), std::string::npos);
}

// As a player turns it, clockwise; the index tells key frames as the flags did.
TEST_F(MuxerTest, writesTheRotationThePlaceAndTheKeyFramesThatItIsTold) {
    constexpr int kKeyFrameInterval = 10;
    for (const int degrees : {0, 90, 180, 270}) {
        SCOPED_TRACE(degrees);
        const oxa::test::TempDir folder;
        const std::string path = folder.file("out.mp4");
        const int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600);
        const sp<OxaMediaMuxer> muxer = new OxaMediaMuxer(fd, kMp4);
        close(fd);
        const sp<NuMediaExtractor> clip = new NuMediaExtractor(NuMediaExtractor::EntryPoint::OTHER);
        const std::string source = oxa::test::mediaPath("flower_540p_h264_aac.mp4");
        ASSERT_EQ(clip->setDataSource(new FileSource(source.c_str())), OK);
        sp<AMessage> format;
        ASSERT_EQ(clip->getTrackFormat(0, &format), OK);
        ASSERT_EQ(clip->selectTrack(0), OK);
        ASSERT_EQ(muxer->addTrack(format), 0);
        EXPECT_EQ(muxer->setOrientationHint(degrees), OK);
        EXPECT_EQ(muxer->setLocation(-337550, 1512100), OK);
        ASSERT_EQ(muxer->start(), OK);
        for (int i = 0; i < 3 * kKeyFrameInterval; ++i) {
            const sp<ABuffer> sample = new ABuffer(1 << 20);
            ASSERT_EQ(clip->readSampleData(sample), OK);
            ASSERT_EQ(muxer->writeSampleData(sample, 0, i * 40000, i % kKeyFrameInterval == 0), OK);
            ASSERT_EQ(clip->advance(), OK);
        }
        ASSERT_EQ(muxer->stop(), OK);
        const oxa::test::MediaProbe probe(path);
        ASSERT_NE(probe.video(), nullptr) << probe.error();
        EXPECT_EQ(probe.video()->rotation, degrees);
        const oxa::test::MediaReader reader(path);
        const AVDictionaryEntry* place =
                av_dict_get(reader.format()->metadata, "location", nullptr, 0);
        ASSERT_NE(place, nullptr);
        EXPECT_THAT(place->value, testing::HasSubstr("-33.7550+151.2100"));
        EXPECT_EQ(probe.video()->packetCount, 3 * kKeyFrameInterval);
        EXPECT_EQ(probe.video()->syncPacketCount, 3);
    }
}

// A writer that cannot start is not the caller's failure, but nobody may pass the gate as if it
// wrote.
TEST_F(MuxerTest, aFailingWriterLeavesTheMuxerStartedButNotWriting) {
    const sp<OxaMediaMuxer> muxer = make();  // a writer without a track does not start
    EXPECT_EQ(muxer->start(), OK);
    EXPECT_TRUE(muxer->isStarted());
    EXPECT_FALSE(muxer->isWriting());
    EXPECT_EQ(muxer->start(), INVALID_OPERATION);
}

// ---- The start gate -----------------------------------------------------------------------------

// The start comes as fast as it can: a waiter that missed it would hang here.
TEST_F(MuxerTest, anAnnouncementNeverMissesTheStartThatItCauses) {
    for (int i = 0; i < 5; ++i) {
        const sp<Reports> facade = new Reports;
        const OwnLooper looper(facade);
        facade->muxer = make();
        ASSERT_EQ(facade->muxer->addTrack(aacFormat()), 0);
        EXPECT_TRUE(facade->muxer->announceAndWaitForStart(new AMessage(kWhatTrackAdded, facade)));
        EXPECT_TRUE(facade->muxer->isWriting());
        EXPECT_EQ(facade->muxer->stop(), OK);
    }
}

bool isAsleep(pid_t tid) {
    const std::string text =
            oxa::test::readFile("/proc/self/task/" + std::to_string(tid) + "/stat");
    const size_t name = text.rfind(')');
    return name != std::string::npos && text.compare(name + 1, 2, " S") == 0;
}

// A thread that was waiting when the muxer starts comes out, in each form of waiting.
TEST_F(MuxerTest, startReleasesWhoeverWaits) {
    const std::function<void(OxaMediaMuxer*)> kWaits[] = {
            [](auto* muxer) { muxer->waitForStart(); },
            [](auto* muxer) { muxer->waitUntilStarted(); },
            [](auto* muxer) { muxer->announceAndWaitForStart(new AMessage); }};
    for (size_t form = 0; form < std::size(kWaits); ++form) {
        SCOPED_TRACE(form);
        const sp<OxaMediaMuxer> muxer = make();
        ASSERT_EQ(muxer->addTrack(aacFormat()), 0);
        std::atomic<bool> out{false};
        std::atomic<pid_t> tid{0};
        std::thread thread([&] {
            tid = gettid();
            kWaits[form](muxer.get());
            out = true;
        });
        // The start must find the thread inside its wait.
        EXPECT_TRUE(waitFor([&] { return tid != 0 && isAsleep(tid); }));
        EXPECT_FALSE(out);
        EXPECT_EQ(muxer->start(), OK);
        EXPECT_TRUE(waitFor([&] { return out.load(); }));
        muxer->openGate();  // so that a failure does not hang the join
        thread.join();
        EXPECT_EQ(muxer->stop(), OK);
    }
}

TEST_F(MuxerTest, openingTheGateReleasesWithoutAStart) {
    const sp<OxaMediaMuxer> muxer = make();
    std::atomic<int> result{-1};
    std::thread thread([&] { result = muxer->announceAndWaitForStart(new AMessage) ? 1 : 0; });
    muxer->openGate();
    thread.join();
    EXPECT_EQ(result, 0);
    EXPECT_FALSE(muxer->announceAndWaitForStart(new AMessage)) << "the gate stays open";
    EXPECT_FALSE(muxer->isStarted());
    EXPECT_EQ(muxer->addTrack(aacFormat()), 0) << "opening the gate must not change the state";
}

}  // namespace
}  // namespace android
