// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "OxaMediaCodecPlayer.h"
#include "library/LogCapture.h"
#include "support/Deadline.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace android {
namespace {

using oxa::test::mediaPath;
using oxa::test::waitFor;

constexpr char kTag[] = "OxaMediaCodecPlayer";
constexpr char kClip[] = "flower_540p_h264_aac.mp4";

_AV_FORMAT_FORMAT smallTarget() {
    _AV_FORMAT_FORMAT format = {};
    format.width = 160;
    format.height = 90;
    format.bitRate = 200000;
    format.iFrameInterval = 2;
    format.deinterlace = -1;
    format.channelCount = 2;
    format.sampleRate = 48000;
    return format;
}

// A client's handler on a looper of its own that keeps what it is told.
class Client : public AHandler {
  public:
    static sp<Client> create() {
        sp<Client> client = new Client;
        client->mLooper->registerHandler(client);
        client->mLooper->start();
        return client;
    }
    void end() {
        mLooper->unregisterHandler(id());
        mLooper->stop();
    }
    void onMessageReceived(const sp<AMessage>& msg) override {
        std::lock_guard<std::mutex> lock(mLock);
        mReports.push_back(msg);
    }
    int count(uint32_t what) const {
        std::lock_guard<std::mutex> lock(mLock);
        int count = 0;
        for (const sp<AMessage>& report : mReports)
            count += report->what() == what;
        return count;
    }
    sp<AMessage> last() const {
        std::lock_guard<std::mutex> lock(mLock);
        return mReports.empty() ? nullptr : mReports.back();
    }

  private:
    Client() : mLooper(new ALooper) {}

    sp<ALooper> mLooper;
    mutable std::mutex mLock;
    std::vector<sp<AMessage>> mReports;
};

std::atomic<int> gCallbacks{0};
void countCallback(const sp<AMessage>& msg) {
    if (msg->what() == kWhatPlayerEOS) ++gCallbacks;
}

// A player and what it needs to be taken to any state of a file transcode.
class Job {
  public:
    explicit Job(int onlyTrack = 0) : player(new OxaMediaCodecPlayer(true, onlyTrack)) {
        fd = fileno(tmpfile());
        config.type = 7;
        config.fmt = 1;
        config.fileDesc = fd;
        format = smallTarget();
    }
    ~Job() {
        player->cleanup();
        close(fd);
    }

    // The steps in the order of the states; taking the first n leads to the n-th state.
    std::vector<std::function<status_t()>> steps() {
        return {[this] { return player->initiate(SourceTypeFile, false, true); },
                [this] { return player->setDataSource(mediaPath(kClip).c_str()); },
                [this] { return player->setMuxer(config); },
                [this] { return player->setTargetFormat(format); },
                [this] { return player->prepare(); },
                [this] { return player->start(); },
                [this] { return player->stop(); }};
    }
    void advance(size_t count) {
        auto all = steps();
        for (size_t i = 0; i < count; ++i)
            ASSERT_EQ(all[i](), OK) << "step " << i;
    }
    void post(uint32_t what, const char* key, int32_t item) {
        sp<AMessage> msg = new AMessage(what, player);
        msg->setInt32(key, item);
        msg->post();
        // setPlayback is answered in every state: a barrier behind the report.
        ASSERT_EQ(player->setPlayback(true, true), OK);
    }

    sp<OxaMediaCodecPlayer> player;
    int fd;
    _OxaTranscodeConfig config = {};
    _AV_FORMAT_FORMAT format;
};

enum Step { kInitiate, kSource, kMuxer, kTarget, kPrepare, kStart, kStop, kStepCount };

const char* const kStateNames[] = {"Uninitialized", "Initialized", "WaitMuxer", "WaitTargetFormat",
                                   "Unprepared",    "Prepared",    "Started",   "Stopped"};

// What a request says when it comes in a state where it is not allowed.
const std::map<int, const char*> kRefusals = {
        {kInitiate, "CHECK\\(mState == UNINITIALIZED\\) failed\\."},
        {kSource, "CHECK\\(mState == INITIALIZED && mTranscodeType == SourceTypeFile\\) failed\\."},
        {kMuxer, "CHECK\\(mState == WAIT_MUXER\\) failed\\."},
        {kTarget,
         "CHECK\\(mState == WAIT_TARGET_FORMAT \\|\\| mState == WAIT_PREVIEW_PARAMS "
         "\\|\\| mState == STARTED\\) failed\\."},
        {kPrepare, "CHECK\\(mState == UNPREPARED\\) failed\\."},
        {kStart, "CHECK\\(mState == PREPARED\\) failed\\."},
};

class FacadeStateTest : public ::testing::TestWithParam<int> {};

// In each state: the requests that are refused stop the process with their own condition, stop()
// and the switches are harmless, and the one request that leads on does so.
TEST_P(FacadeStateTest, OnlyItsOwnRequestsAreAccepted) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    const int state = GetParam();
    for (const auto& [step, refusal] : kRefusals) {
        bool allowed = step == state || (step == kTarget && state == kStop /* STARTED */);
        // A looper of its own does not exist before the first initiate: nothing is delivered.
        if (allowed || state == kInitiate) continue;
        EXPECT_DEATH(
                {
                    Job job;
                    job.advance(state);
                    job.steps()[step]();
                },
                std::string("OxaMediaCodecPlayer\\.cpp:[0-9]+ ") + refusal)
                << "step " << step;
    }
    Job job;
    job.advance(state);
    if (state != kInitiate) {
        EXPECT_EQ(job.player->setPlayback(true, false), OK);
        EXPECT_EQ(job.player->setFreeRun(true), OK);
        EXPECT_EQ(job.player->setCalculateFPS(-1), OK);
        if (state != kStop) {
            EXPECT_EQ(job.player->stop(), OK);
        }
    }
    EXPECT_EQ(job.player->setWritebackSource(3), OK);
    EXPECT_FALSE(job.player->EOSReached());
    if (state < kStepCount) {
        EXPECT_EQ(job.steps()[state](), OK);
    }
    if (state == kStop) {
        EXPECT_EQ(job.player->stop(), OK) << "a second stop is harmless";
    }
}

INSTANTIATE_TEST_SUITE_P(States, FacadeStateTest, ::testing::Range(0, kStepCount + 1),
                         [](const auto& info) { return kStateNames[info.param]; });

TEST(FacadeTest, SwitchesNeedAnInitiatedPlayer) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    auto afterCleanup = [](auto call) {
        Job job;
        job.advance(1);
        job.player->cleanup();
        call(job.player);
    };
    EXPECT_DEATH(afterCleanup([](auto player) { player->setFreeRun(true); }),
                 "CHECK\\(mState != UNINITIALIZED\\) failed\\.");
    EXPECT_DEATH(afterCleanup([](auto player) { player->setCalculateFPS(1); }),
                 "CHECK\\(mState != UNINITIALIZED\\) failed\\.");
}

TEST(FacadeTest, TargetFormatMayChangeWhileRunning) {
    // The file transcoders themselves take a format only once; a started player passes it on.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_DEATH(
            {
                Job job;
                job.advance(kStart + 1);
                job.player->setTargetFormat(job.format);
            },
            "AudioTranscoder\\.cpp:96 CHECK\\(mState == WAIT_TARGET_FORMAT\\) failed\\.");
}

// Accepted types without a name make no pipeline, so nothing can be given to them.
TEST(FacadeTest, SourceTypesAreBounded) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    for (int type : {3, 4}) {
        Job job;
        EXPECT_EQ(job.player->initiate(type, true, true), OK);
        EXPECT_DEATH(job.player->setDataSource("x.mp4"), "CHECK\\(mState == INITIALIZED &&");
    }
    for (int type : {5, 6, -1}) {
        EXPECT_DEATH(Job().player->initiate(type, false, true),
                     "CHECK\\(mTranscodeType >= 0 && mTranscodeType < SourceTypeMax\\) failed\\.");
    }
    EXPECT_DEATH(Job().player->initiate(SourceTypeFile, true, true),
                 "Both mPlayback and mTranscode are set!");
}

TEST(FacadeTest, AFileSourceWithoutARoleStaysInitialized) {
    Job job;
    ASSERT_EQ(job.player->initiate(SourceTypeFile, false, false), OK);
    EXPECT_EQ(job.player->setDataSource("x.mp4"), OK);
    EXPECT_EQ(job.player->setDataSource("y.mp4"), OK) << "still INITIALIZED";
}

TEST(FacadeTest, RunsOnALooperOfTheClient) {
    sp<ALooper> looper = new ALooper;
    looper->start();
    sp<OxaMediaCodecPlayer> player = new OxaMediaCodecPlayer(false, 0);
    EXPECT_EQ(player->initiate(SourceTypeFile, false, true), -ENOENT) << "not registered yet";
    looper->registerHandler(player);
    EXPECT_EQ(player->initiate(SourceTypeFile, false, true), OK);
    EXPECT_EQ(player->cleanup(), OK);
    looper->unregisterHandler(player->id());
    looper->stop();
}

TEST(FacadeTest, IsInitiatedAgainAfterCleanup) {
    Job job;
    for (int i = 0; i < 3; ++i) {
        job.advance(kStart + 1);
        EXPECT_EQ(job.player->cleanup(), OK);
    }
}

// ---- Reports of pipelines ----------------------------------------------------------------------

struct EndCase {
    const char* name;
    int onlyTrack;
    std::vector<int32_t> items;
    size_t endAt;  // how many reports it takes
};

class FacadeEndTest : public ::testing::TestWithParam<EndCase> {};

// The client is told when every stream that is handled has ended, and again at each later report.
TEST_P(FacadeEndTest, EndIsToldWhenTheHandledStreamsHaveEnded) {
    const EndCase& end = GetParam();
    Job job(end.onlyTrack);
    sp<Client> client = Client::create();
    job.player->mStatusHandler = client;
    job.player->mStatusCallback = countCallback;
    gCallbacks = 0;
    job.advance(1);
    for (size_t i = 0; i < end.items.size(); ++i) {
        job.post(kWhatDecodeGotEOS, AMSG_STOP_ITEM, end.items[i]);
        int expected = i + 1 < end.endAt ? 0 : static_cast<int>(i + 2 - end.endAt);
        EXPECT_EQ(job.player->EOSReached(), expected > 0);
        EXPECT_EQ(gCallbacks, expected);
        EXPECT_TRUE(waitFor([&] { return client->count(kWhatPlayerEOS) == expected; }));
    }
    job.player->cleanup();
    EXPECT_FALSE(job.player->EOSReached());
    EXPECT_EQ(job.player->mStatusHandler, nullptr);
    EXPECT_EQ(job.player->mStatusCallback, nullptr);
    client->end();
}

INSTANTIATE_TEST_SUITE_P(
        Tracks, FacadeEndTest,
        ::testing::Values(
                EndCase{"Both", 0, {EOSVideoReached, EOSAudioReached, EOSAudioReached}, 2},
                EndCase{"AudioFirst", 0, {EOSAudioReached, EOSVideoReached}, 2},
                EndCase{"NoAudioTrack", 0, {NO_AUDIO_TRACK, EOSVideoReached}, 2},
                EndCase{"NoVideoTrack", 0, {NO_VIDEO_TRACK, EOSAudioReached}, 2},
                EndCase{"VideoOnly", CODEC_VIDEO_ONLY, {EOSAudioReached, EOSVideoReached}, 2},
                EndCase{"AudioOnly", CODEC_AUDIO_ONLY, {EOSAudioReached}, 1}),
        [](const auto& info) { return info.param.name; });

TEST(FacadeTest, IsItsOwnStatusHandlerWithoutAClient) {
    LogCapture log;
    Job job(CODEC_AUDIO_ONLY);
    job.player->mStatusCallback = countCallback;
    gCallbacks = 0;
    job.advance(1);
    EXPECT_TRUE(log.contains(kTag, "Register myself as status handler"));
    EXPECT_EQ(job.player->mStatusHandler, job.player);
    job.post(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached);
    EXPECT_EQ(gCallbacks, 1);
    EXPECT_TRUE(log.contains(kTag, "\e[31mReceived kWhatDecodeGotEOS:EOSAudioReached\e[m"));
}

TEST(FacadeTest, ForwardsHotplugToTheClientsHandlerOnly) {
    Job job;
    sp<Client> client = Client::create();
    job.player->mStatusHandler = client;
    job.player->mStatusCallback = countCallback;
    gCallbacks = 0;
    job.advance(1);
    job.post(kWhatHDMIRxVideoHotplug, "other-key", 1);
    job.post(kWhatHDMIRxVideoHotplug, "rx-video", 1);
    ASSERT_TRUE(waitFor([&] { return client->count(kWhatHDMIRxVideoHotplug) > 0; }));
    int32_t state = 0;
    EXPECT_TRUE(client->last()->findInt32("rx-video", &state));
    EXPECT_EQ(state, 1);
    EXPECT_EQ(client->count(kWhatHDMIRxVideoHotplug), 1);
    EXPECT_EQ(gCallbacks, 0);
    client->end();
}

TEST(FacadeTest, StopsTheMuxerWhenTheHandledStreamsHaveStopped) {
    LogCapture log;
    Job job;
    job.advance(1);
    job.post(kWhatStopTranscode, AMSG_STOP_ITEM, STOP_VIDEO);
    EXPECT_FALSE(log.contains(kTag, "Stop muxer success"));
    job.post(kWhatStopTranscode, AMSG_STOP_ITEM, STOP_AUDIO);
    EXPECT_TRUE(log.contains(kTag, "Stop muxer success"));
    // The bookkeeping begins anew.
    job.post(kWhatStopTranscode, AMSG_STOP_ITEM, STOP_VIDEO);
    EXPECT_EQ(log.count(kTag, "Stop muxer success"), 1);
}

TEST(FacadeTest, StartsTheMuxerWhenTheHandledTracksAreIn) {
    LogCapture log;
    Job job;
    job.advance(kStart + 1);
    EXPECT_TRUE(waitFor([&] { return log.contains(kTag, "SourceTypeFile:muxer start success"); }));
    EXPECT_EQ(job.player->stop(), OK);
    for (auto [track, line] : {std::pair(CODEC_AUDIO_ONLY, "SourceTypeFile:CODEC_AUDIO_ONLY:"),
                               std::pair(CODEC_VIDEO_ONLY, "SourceTypeFile:CODEC_VIDEO_ONLY:")}) {
        Job only(track);
        only.advance(kStart + 1);
        EXPECT_TRUE(waitFor([&, line = std::string(line)] {
            return log.contains(kTag, line + "muxer start success");
        }));
    }
}

// ---- Output ------------------------------------------------------------------------------------

TEST(FacadeTest, OutputsWithoutAWriterAreRefused) {
    Job job;
    job.advance(kMuxer);
    LogCapture log;
    for (int type : {2, 3, 4, 5, 6, 8}) {
        job.config.type = type;
        EXPECT_EQ(job.player->setMuxer(job.config), UNKNOWN_ERROR);
        EXPECT_TRUE(log.contains(
                kTag, "\e[0;31m unsupported output type:" + std::to_string(type) + " \e[m"));
    }
    job.config.type = 7;
    job.config.fmt = 9;
    EXPECT_EQ(job.player->setMuxer(job.config), UNKNOWN_ERROR);
    job.config.fmt = 1;
    EXPECT_EQ(job.player->setMuxer(job.config), OK) << "the request may be repeated";
}

TEST(FacadeTest, NullNamesBecomeEmptyInTheClientsRecord) {
    Job job;
    job.advance(kMuxer);
    ASSERT_EQ(job.player->setMuxer(job.config), OK);
    EXPECT_STREQ(job.config.fileName, "");
    EXPECT_STREQ(job.config.udpIp, "");
}

TEST(FacadeTest, ANameThatDoesNotFitIsRefusedNotCut) {
    Job job;
    job.advance(kMuxer);
    std::string name(4096, 'x');
    job.config.type = 0;
    job.config.fileName = name.c_str();
    EXPECT_EQ(job.player->setMuxer(job.config), BAD_VALUE);
}

TEST(FacadeTest, AFileThatCannotBeOpenedIsReported) {
    Job job;
    job.advance(kMuxer);
    job.config.type = 0;
    job.config.fileName = "/nowhere/at/all.mp4";
    EXPECT_EQ(job.player->setMuxer(job.config), UNKNOWN_ERROR);
}

TEST(FacadeTest, MisuseOfTheOutputIsFatal) {
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    Job job;
    job.advance(kMuxer);
    job.config.fileDesc = -1;
    EXPECT_DEATH(job.player->setMuxer(job.config), "CHECK\\(mOutputFormat.fileDesc >= 0\\) failed");
    job.config.type = 8;
    job.config.fmt = 0;
    EXPECT_DEATH(job.player->setMuxer(job.config), "CHECK\\(0\\) failed");
}

// Two recordings that begin in one second must not share a file.
TEST(FacadeTest, DefaultNamesLieUnderTheDeviceRootAndAreNeverReused) {
    oxa::test::TempDir root;
    std::string folder = root.path() + "/storage/emulated/0/Pictures";
    ASSERT_EQ(system(("mkdir -p " + folder).c_str()), 0);
    setDeviceRoot(root.path().c_str());
    for (int i = 0; i < 3; ++i) {
        Job job;
        job.advance(kMuxer);
        job.config.type = 0;
        job.config.fmt = i == 2 ? 0 : 1;
        EXPECT_EQ(job.player->setMuxer(job.config), OK);
    }
    setDeviceRoot("");
    EXPECT_EQ(system(("test $(ls " + folder + "/VID_*.mp4 | wc -l) -eq 2").c_str()), 0);
    EXPECT_EQ(system(("test $(ls " + folder + "/VID_*.ts | wc -l) -eq 1").c_str()), 0);
}

// The player duplicates descriptors and closes exactly its own.
TEST(FacadeTest, ClosesItsOwnDescriptorsOnly) {
    auto openDescriptors = [] {
        int count = 0;
        for (int fd = 0; fd < 256; ++fd)
            count += fcntl(fd, F_GETFD) != -1;
        return count;
    };
    int input = open(mediaPath(kClip).c_str(), O_RDONLY);
    struct stat stat;
    ASSERT_EQ(fstat(input, &stat), 0);
    {
        Job job;
        int before = openDescriptors();
        ASSERT_EQ(job.player->initiate(SourceTypeFile, false, true), OK);
        ASSERT_EQ(job.player->setDataSource(input, 0, stat.st_size), OK);
        ASSERT_EQ(job.player->setMuxer(job.config), OK);
        ASSERT_EQ(job.player->setTargetFormat(job.format), OK);
        ASSERT_EQ(job.player->prepare(), OK);
        ASSERT_EQ(job.player->start(), OK);
        ASSERT_EQ(job.player->stop(), OK);
        ASSERT_EQ(job.player->cleanup(), OK);
        EXPECT_EQ(openDescriptors(), before);
        EXPECT_NE(fcntl(job.fd, F_GETFD), -1);
    }
    EXPECT_NE(fcntl(input, F_GETFD), -1);
    close(input);
}

// ---- Draining ----------------------------------------------------------------------------------

TEST(FacadeTest, DrainEndsAtOnceWhenNothingWillCome) {
    Job job;
    EXPECT_EQ(job.player->drain(1000000), INVALID_OPERATION);
    job.advance(kStart + 1);
    EXPECT_EQ(job.player->drain(0), TIMED_OUT);
    EXPECT_EQ(job.player->stop(), OK);
    EXPECT_EQ(job.player->drain(60000000), INVALID_OPERATION);
}

TEST(FacadeTest, DrainWaitsForTheLastSampleOfBothStreams) {
    Job job;
    sp<Client> client = Client::create();
    job.player->mStatusHandler = client;
    job.advance(kStart + 1);
    EXPECT_EQ(job.player->drain(60000000), OK);
    _TRANSCODE_PROGRESS progress;
    EXPECT_EQ(job.player->getTranscodeProgress(&progress), OK);
    EXPECT_EQ(progress.videoFrames, 150);
    EXPECT_GT(progress.audioTimeUs, 4900000);
    EXPECT_EQ(job.player->stop(), OK);
    EXPECT_TRUE(waitFor([&] { return client->count(kWhatPlayerEOS) > 0; }));
    client->end();
}

}  // namespace
}  // namespace android
