// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <utility>
#include <vector>

#include "OxaMediaCodecPlayer.h"
#include "library/LogCapture.h"
#include "library/OwnLooper.h"
#include "library/Reports.h"
#include "library/Steps.h"
#include "support/Deadline.h"
#include "support/TempDir.h"
#include "support/TestClips.h"

namespace android {
namespace {

using oxa::test::mediaPath;
using oxa::test::waitFor;
using testing::HasSubstr;

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

std::atomic<int> gCallbacks{0};
void countCallback(const sp<AMessage>& msg) {
    if (msg->what() == kWhatPlayerEOS) ++gCallbacks;
}

// A player and what it needs to be taken to any state of a file transcode.
class Job {
  public:
    static constexpr char kCheckedIn[] = "OxaMediaCodecPlayer.cpp:";

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

    static std::vector<Step> steps(Job* job) {
        return {{[job] { return job->player->initiate(SourceTypeFile, false, true); },
                 refusalOf("mState == UNINITIALIZED")},
                {[job] { return job->player->setDataSource(mediaPath(kClip).c_str()); },
                 refusalOf("mState == INITIALIZED && mTranscodeType == SourceTypeFile")},
                {[job] { return job->player->setMuxer(job->config); },
                 refusalOf("mState == WAIT_MUXER")},
                {[job] { return job->player->setTargetFormat(job->format); },
                 refusalOf("mState == WAIT_TARGET_FORMAT || mState == WAIT_PREVIEW_PARAMS || "
                           "mState == STARTED"),
                 true},
                {[job] { return job->player->prepare(); }, refusalOf("mState == UNPREPARED")},
                {[job] { return job->player->start(); }, refusalOf("mState == PREPARED")},
                {[job] { return job->player->stop(); }, ""}};
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

enum State { kInitiate, kSource, kMuxer, kTarget, kPrepare, kStart, kStop, kStepCount };

// Before the first initiate there is no looper that would answer.
TEST(FacadeDeathTest, OnlyTheNextStepIsAccepted) {
    expectOnlyTheNextStepIsAccepted<Job>(kSource);
}

TEST(FacadeDeathTest, SwitchesNeedAnInitiatedPlayer) {
    auto afterCleanup = [](auto call) {
        Job job;
        advance(&job, kSource);
        job.player->cleanup();
        call(job.player);
    };
    EXPECT_DEATH(afterCleanup([](auto player) { player->setFreeRun(true); }),
                 HasSubstr(refusalOf("mState != UNINITIALIZED")));
    EXPECT_DEATH(afterCleanup([](auto player) { player->setCalculateFPS(1); }),
                 HasSubstr(refusalOf("mState != UNINITIALIZED")));
}

// The file transcoders themselves take a format only once; a started player passes it on.
TEST(FacadeDeathTest, TargetFormatOfARunningTranscodeReachesTheTranscoders) {
    EXPECT_DEATH(
            {
                Job job;
                advance(&job, kStop);
                job.player->setTargetFormat(job.format);
            },
            HasSubstr("AudioTranscoder.cpp:96 " + refusalOf("mState == WAIT_TARGET_FORMAT")));
}

// Accepted types without a name make no pipeline, so nothing can be given to them.
TEST(FacadeDeathTest, SourceTypesAreBounded) {
    EXPECT_DEATH(
            {
                Job job;
                ASSERT_EQ(job.player->initiate(4, true, true), OK);
                job.player->setDataSource("x.mp4");
            },
            HasSubstr("CHECK(mState == INITIALIZED &&"));
    for (int type : {5, -1}) {
        EXPECT_DEATH(Job().player->initiate(type, false, true),
                     HasSubstr(refusalOf("mTranscodeType >= 0 && mTranscodeType < SourceTypeMax")));
    }
    EXPECT_DEATH(Job().player->initiate(SourceTypeFile, true, true),
                 "Both mPlayback and mTranscode are set!");
}

TEST(FacadeDeathTest, MisuseOfTheOutputIsFatal) {
    auto setMuxer = [](int type, int format, int descriptor) {
        Job job;
        advance(&job, kMuxer);
        job.config.type = type;
        job.config.fmt = format;
        job.config.fileDesc = descriptor;
        job.player->setMuxer(job.config);
    };
    EXPECT_DEATH(setMuxer(7, 1, -1), HasSubstr("CHECK(mOutputFormat.fileDesc >= 0) failed"));
    EXPECT_DEATH(setMuxer(8, 0, 0), HasSubstr("CHECK(0) failed"));
}

TEST(FacadeTest, SwitchesAndStopAreHarmlessInEveryState) {
    for (size_t state = kInitiate; state <= kStepCount; ++state) {
        SCOPED_TRACE(state);
        Job job;
        advance(&job, state);
        if (state != kInitiate) {
            EXPECT_EQ(job.player->setPlayback(true, false), OK);
            EXPECT_EQ(job.player->setFreeRun(true), OK);
            EXPECT_EQ(job.player->setCalculateFPS(-1), OK);
        }
        if (state != kInitiate && state != kStop) {
            EXPECT_EQ(job.player->stop(), OK);
        }
        EXPECT_EQ(job.player->setWritebackSource(3), OK);
        EXPECT_FALSE(job.player->EOSReached());
        if (state < kStepCount) {
            EXPECT_EQ(take(&job, state), OK);
        }
    }
}

TEST(FacadeTest, AFileSourceWithoutARoleStaysInitialized) {
    Job job;
    ASSERT_EQ(job.player->initiate(SourceTypeFile, false, false), OK);
    EXPECT_EQ(job.player->setDataSource("x.mp4"), OK);
    EXPECT_EQ(job.player->setDataSource("y.mp4"), OK) << "still INITIALIZED";
}

TEST(FacadeTest, RunsOnALooperOfTheClient) {
    sp<OxaMediaCodecPlayer> player = new OxaMediaCodecPlayer(false, 0);
    EXPECT_EQ(player->initiate(SourceTypeFile, false, true), -ENOENT) << "not registered yet";
    const OwnLooper looper(player);
    EXPECT_EQ(player->initiate(SourceTypeFile, false, true), OK);
    EXPECT_EQ(player->cleanup(), OK);
}

TEST(FacadeTest, IsInitiatedAgainAfterCleanup) {
    Job job;
    for (int i = 0; i < 2; ++i) {
        advance(&job, kStop);
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
    const sp<Reports> client = new Reports;
    const OwnLooper clientLooper(client);
    job.player->mStatusHandler = client;
    job.player->mStatusCallback = countCallback;
    gCallbacks = 0;
    advance(&job, kSource);
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
    advance(&job, kSource);
    EXPECT_TRUE(log.contains(kTag, "Register myself as status handler"));
    EXPECT_EQ(job.player->mStatusHandler, job.player);
    job.post(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached);
    EXPECT_EQ(gCallbacks, 1);
    EXPECT_TRUE(log.contains(kTag, "\e[31mReceived kWhatDecodeGotEOS:EOSAudioReached\e[m"));
}

TEST(FacadeTest, ForwardsHotplugToTheClientsHandlerOnly) {
    Job job;
    const sp<Reports> client = new Reports;
    const OwnLooper clientLooper(client);
    job.player->mStatusHandler = client;
    job.player->mStatusCallback = countCallback;
    gCallbacks = 0;
    advance(&job, kSource);
    job.post(kWhatHDMIRxVideoHotplug, "other-key", 1);
    job.post(kWhatHDMIRxVideoHotplug, "rx-video", 1);
    ASSERT_TRUE(waitFor([&] { return client->count(kWhatHDMIRxVideoHotplug) > 0; }));
    EXPECT_EQ(client->count(kWhatHDMIRxVideoHotplug, "rx-video", 1), 1);
    EXPECT_EQ(client->count(kWhatHDMIRxVideoHotplug), 1);
    EXPECT_EQ(gCallbacks, 0);
}

TEST(FacadeTest, StopsTheMuxerWhenTheHandledStreamsHaveStopped) {
    LogCapture log;
    Job job;
    advance(&job, kSource);
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
    const std::pair<int, std::string> kTracks[] = {
            {0, "SourceTypeFile:"},
            {CODEC_AUDIO_ONLY, "SourceTypeFile:CODEC_AUDIO_ONLY:"},
            {CODEC_VIDEO_ONLY, "SourceTypeFile:CODEC_VIDEO_ONLY:"}};
    for (const auto& [track, line] : kTracks) {
        Job job(track);
        advance(&job, kStop);
        EXPECT_TRUE(waitFor(
                [&, line = line] { return log.contains(kTag, line + "muxer start success"); }));
    }
}

// ---- Output ------------------------------------------------------------------------------------

TEST(FacadeTest, OutputsThatCannotBeMadeAreRefused) {
    const std::string longName(4096, 'x');  // is not cut
    struct {
        int type;
        int format;
        const char* name;
        status_t expected;
    } const kOutputs[] = {
            {2, 1, NULL, UNKNOWN_ERROR},        {3, 1, NULL, UNKNOWN_ERROR},
            {4, 1, NULL, UNKNOWN_ERROR},        {5, 1, NULL, UNKNOWN_ERROR},
            {6, 1, NULL, UNKNOWN_ERROR},        {8, 1, NULL, UNKNOWN_ERROR},
            {7, 9, NULL, UNKNOWN_ERROR},        {0, 1, "/nowhere/at/all.mp4", UNKNOWN_ERROR},
            {0, 1, longName.c_str(), BAD_VALUE}};
    Job job;
    advance(&job, kMuxer);
    LogCapture log;
    for (const auto& output : kOutputs) {
        job.config.type = output.type;
        job.config.fmt = output.format;
        job.config.fileName = output.name;
        EXPECT_EQ(job.player->setMuxer(job.config), output.expected) << output.type;
        if (output.type == 0 || output.type == 7) continue;
        EXPECT_TRUE(log.contains(
                kTag, "\e[0;31m unsupported output type:" + std::to_string(output.type) + " \e[m"));
    }
    job.config = {};
    job.config.type = 7;
    job.config.fmt = 1;
    job.config.fileDesc = job.fd;
    EXPECT_EQ(job.player->setMuxer(job.config), OK) << "the request may be repeated";
    EXPECT_STREQ(job.config.fileName, "") << "null becomes empty in the client's record";
    EXPECT_STREQ(job.config.udpIp, "");
}

// Only a device whose transport stream writer can make them has them.
TEST(FacadeDeathTest, StreamsWithoutAWriterAreFatal) {
    for (const int type : {1, 2, 3, 4, 5, 6}) {
        SCOPED_TRACE(type);
        const auto ask = [type] {
            Job job;
            advance(&job, kMuxer);
            job.config.type = type;
            job.config.fmt = 0;
            job.player->setMuxer(job.config);
        };
        EXPECT_DEATH(ask(),
                     testing::HasSubstr(refusalOf("mMediaMuxer->setOrientationHint(0) == OK")));
    }
}

// Two recordings that begin in one second must not share a file.
TEST(FacadeTest, DefaultNamesLieUnderTheDeviceRootAndAreNeverReused) {
    oxa::test::TempDir root;
    std::string folder = root.path() + "/storage/emulated/0/Pictures";
    ASSERT_EQ(system(("mkdir -p " + folder).c_str()), 0);
    setDeviceRoot(root.path().c_str());
    for (int i = 0; i < 3; ++i) {
        Job job;
        advance(&job, kMuxer);
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
        auto steps = Job::steps(&job);
        steps[kSource].take = [&] { return job.player->setDataSource(input, 0, stat.st_size); };
        for (const auto& step : steps)
            ASSERT_EQ(step.take(), OK);
        ASSERT_EQ(job.player->cleanup(), OK);
        EXPECT_EQ(openDescriptors(), before);
        EXPECT_NE(fcntl(job.fd, F_GETFD), -1);
    }
    EXPECT_NE(fcntl(input, F_GETFD), -1);
    close(input);
}

TEST(FacadeTest, DrainEndsAtOnceWhenNothingWillCome) {
    Job job;
    EXPECT_EQ(job.player->drain(1000000), INVALID_OPERATION);
    advance(&job, kStop);
    EXPECT_EQ(job.player->drain(0), TIMED_OUT);
    EXPECT_EQ(job.player->stop(), OK);
    EXPECT_EQ(job.player->drain(60000000), INVALID_OPERATION);
}

}  // namespace
}  // namespace android
