// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <fcntl.h>
#include <stdlib.h>
#include <unistd.h>

#include <filesystem>
#include <future>

#include "OxaMediaCodecPlayer.h"
#include "library/Stage.h"
#include "support/LogCapture.h"
#include "support/ScriptedComponent.h"

namespace android {
namespace {

using oxa::test::mediaPath;
using oxa::test::ScriptedComponent;
using oxa::test::waitFor;
using testing::HasSubstr;

constexpr char kTag[] = "OxaMediaCodecPlayer";
constexpr char kClip[] = "flower_540p_h264_aac.mp4";

// ---- Players in any state -----------------------------------------------------------------------

// A player and what it needs to be taken to any state of a file transcode.
class TranscodeJob {
  public:
    static constexpr const char* kName = kTag;
    enum State { kInitiate, kSource, kMuxer, kTarget, kPrepare, kStart, kStop };

    explicit TranscodeJob(int onlyTrack = 0) : player(new OxaMediaCodecPlayer(true, onlyTrack)) {
        config.type = 7;
        config.fmt = 1;
        config.fileDesc = fileno(mFile.get());
    }
    ~TranscodeJob() { player->cleanup(); }

    static std::vector<Step> steps(TranscodeJob* job) {
        return {{[=] { return job->player->initiate(SourceTypeFile, false, true); },
                 refusalOf("mState == UNINITIALIZED")},
                {[=] { return job->player->setDataSource(mediaPath(kClip).c_str()); },
                 refusalOf("mState == INITIALIZED && mTranscodeType == SourceTypeFile")},
                {[=] { return job->player->setMuxer(job->config); },
                 refusalOf("mState == WAIT_MUXER")},
                {[=] { return job->player->setTargetFormat(job->format); },
                 refusalOf("mState == WAIT_TARGET_FORMAT || mState == WAIT_PREVIEW_PARAMS || "
                           "mState == STARTED"),
                 true},
                {[=] { return job->player->prepare(); }, refusalOf("mState == UNPREPARED")},
                {[=] { return job->player->start(); }, refusalOf("mState == PREPARED")},
                {[=] { return job->player->stop(); }, ""}};
    }
    void post(uint32_t what, int32_t item) {
        sp<AMessage> msg = new AMessage(what, player);
        msg->setInt32(AMSG_STOP_ITEM, item);
        msg->post();
        // setPlayback is answered in every state: a barrier behind the report.
        ASSERT_EQ(player->setPlayback(true, true), OK);
    }

    const sp<OxaMediaCodecPlayer> player;
    _OxaTranscodeConfig config = {};
    _AV_FORMAT_FORMAT format = smallTarget();

  private:
    const std::unique_ptr<FILE, int (*)(FILE*)> mFile{tmpfile(), fclose};
};

// The same for a file playback.
class PlayJob {
  public:
    static constexpr const char* kName = kTag;

    PlayJob() { oxa::host::useNullSound(); }
    ~PlayJob() { player->cleanup(); }

    static std::vector<Step> steps(PlayJob* job) {
        return {{[=] { return job->player->initiate(SourceTypeFile, true, false); },
                 refusalOf("mState == UNINITIALIZED")},
                {[=] { return job->player->setDataSource(mediaPath(job->clip).c_str()); },
                 refusalOf("mState == INITIALIZED && mTranscodeType == SourceTypeFile")},
                {[=] { return job->player->setSurface(job->mDisplay->producer()); },
                 refusalOf("mState == WAIT_SURFACE")},
                {[=] { return job->player->prepare(); }, refusalOf("mState == UNPREPARED")},
                {[=] { return job->player->start(); }, refusalOf("mState == PREPARED")},
                {[=] { return job->player->stop(); }, ""}};
    }

    const sp<OxaMediaCodecPlayer> player = new OxaMediaCodecPlayer(true, 0);
    const char* clip = kClip;

  private:
    const std::unique_ptr<oxa::host::Display> mDisplay = oxa::host::createNullDisplay();
};

template <typename Job>
class PlayerStateTest : public testing::Test {};
template <typename Job>
class PlayerStateDeathTest : public testing::Test {};
using Jobs = testing::Types<TranscodeJob, PlayJob>;
TYPED_TEST_SUITE(PlayerStateTest, Jobs);
TYPED_TEST_SUITE(PlayerStateDeathTest, Jobs);

TYPED_TEST(PlayerStateDeathTest, onlyTheNextStepIsAccepted) {
    // Before the first initiate there is no looper that would answer.
    expectOnlyTheNextStepIsAccepted<TypeParam>(1);
}

TYPED_TEST(PlayerStateTest, switchesAndStopAreHarmlessInEveryState) {
    const size_t steps = TypeParam::steps(nullptr).size();
    for (size_t state = 0; state <= steps; ++state) {
        SCOPED_TRACE(state);
        TypeParam job;
        advance(&job, state);
        if (state > 0) {
            EXPECT_EQ(job.player->setPlayback(true, false), OK);
            EXPECT_EQ(job.player->setTunneledPlayback(false), OK);
            EXPECT_EQ(job.player->setFreeRun(true), OK);
            EXPECT_EQ(job.player->setCalculateFPS(-1), OK);
        }
        const bool isStarted = state + 1 == steps;
        if (state > 0 && !isStarted) {
            EXPECT_EQ(job.player->stop(), OK);
        }
        EXPECT_EQ(job.player->setWritebackSource(3), OK);
        EXPECT_EQ(job.player->getPlaybackProgress(nullptr), BAD_VALUE);
        EXPECT_FALSE(job.player->EOSReached());
        if (state < steps) {
            EXPECT_EQ(take(&job, state), OK);
        }
    }
}

TYPED_TEST(PlayerStateTest, isInitiatedAgainAfterCleanupInEveryState) {
    TypeParam job;
    for (size_t state = 1; state <= TypeParam::steps(nullptr).size(); ++state) {
        advance(&job, state);
        EXPECT_EQ(job.player->cleanup(), OK) << "state " << state;
    }
}

// ---- Misuse -------------------------------------------------------------------------------------

TEST(FacadeDeathTest, switchesNeedAnInitiatedPlayer) {
    const auto afterCleanup = [](auto call) {
        TranscodeJob job;
        advance(&job, TranscodeJob::kSource);
        job.player->cleanup();
        call(job.player);
    };
    EXPECT_DEATH(afterCleanup([](auto player) { player->setFreeRun(true); }),
                 HasSubstr(refusalOf("mState != UNINITIALIZED")));
    EXPECT_DEATH(afterCleanup([](auto player) { player->setCalculateFPS(1); }),
                 HasSubstr(refusalOf("mState != UNINITIALIZED")));
}

// The file transcoders themselves take a format only once; a started player passes it on.
TEST(FacadeDeathTest, targetFormatOfARunningTranscodeReachesTheTranscoders) {
    EXPECT_DEATH(
            {
                TranscodeJob job;
                advance(&job, TranscodeJob::kStop);
                job.player->setTargetFormat(job.format);
            },
            HasSubstr("AudioTranscoder.cpp:96 " + refusalOf("mState == WAIT_TARGET_FORMAT")));
}

// Accepted types without a name make no pipeline, so nothing can be given to them.
TEST(FacadeDeathTest, sourceTypesAreBounded) {
    EXPECT_DEATH(
            {
                TranscodeJob job;
                ASSERT_EQ(job.player->initiate(4, true, true), OK);
                job.player->setDataSource("x.mp4");
            },
            HasSubstr("CHECK(mState == INITIALIZED &&"));
    for (int type : {5, -1}) {
        EXPECT_DEATH(TranscodeJob().player->initiate(type, false, true),
                     HasSubstr(refusalOf("mTranscodeType >= 0 && mTranscodeType < SourceTypeMax")));
    }
    EXPECT_DEATH(TranscodeJob().player->initiate(SourceTypeFile, true, true),
                 "Both mPlayback and mTranscode are set!");
}

TEST(FacadeDeathTest, misuseOfTheOutputIsFatal) {
    const auto setMuxer = [](int type, int format, int descriptor) {
        TranscodeJob job;
        advance(&job, TranscodeJob::kMuxer);
        job.config.type = type;
        job.config.fmt = format;
        job.config.fileDesc = descriptor;
        job.player->setMuxer(job.config);
    };
    EXPECT_DEATH(setMuxer(7, 1, -1), HasSubstr("CHECK(mOutputFormat.fileDesc >= 0) failed"));
    EXPECT_DEATH(setMuxer(8, 0, 0), HasSubstr("CHECK(0) failed"));
    // Only a device whose transport stream writer can make these streams has them.
    for (const int type : {1, 2, 3, 4, 5, 6}) {
        EXPECT_DEATH(setMuxer(type, 0, 0),
                     HasSubstr(refusalOf("mMediaMuxer->setOrientationHint(0) == OK")))
                << type;
    }
}

// ---- A client's player --------------------------------------------------------------------------

TEST(FacadeTest, aFileSourceWithoutARoleStaysInitialized) {
    TranscodeJob job;
    ASSERT_EQ(job.player->initiate(SourceTypeFile, false, false), OK);
    EXPECT_EQ(job.player->setDataSource("x.mp4"), OK);
    EXPECT_EQ(job.player->setDataSource("y.mp4"), OK) << "still INITIALIZED";
}

TEST(FacadeTest, runsOnALooperOfTheClient) {
    sp<OxaMediaCodecPlayer> player = new OxaMediaCodecPlayer(false, 0);
    EXPECT_EQ(player->initiate(SourceTypeFile, false, true), -ENOENT) << "not registered yet";
    const OwnLooper looper(player);
    EXPECT_EQ(player->initiate(SourceTypeFile, false, true), OK);
    EXPECT_EQ(player->cleanup(), OK);
}

std::atomic<int> gCallbacks{0};
void countCallback(const sp<AMessage>& msg) {
    if (msg->what() == kWhatPlayerEOS) ++gCallbacks;
}

TEST(FacadeTest, tellsTheEndToItsCallbackAndForgetsItInCleanup) {
    TranscodeJob job(CODEC_AUDIO_ONLY);
    job.player->mStatusCallback = countCallback;
    gCallbacks = 0;
    advance(&job, TranscodeJob::kSource);
    EXPECT_EQ(job.player->mStatusHandler, job.player) << "its own without a client";
    for (const int reports : {1, 2}) {
        job.post(kWhatDecodeGotEOS, EOSAudioReached);
        EXPECT_TRUE(job.player->EOSReached());
        EXPECT_EQ(gCallbacks, reports);
    }
    job.player->cleanup();
    EXPECT_FALSE(job.player->EOSReached());
    EXPECT_EQ(job.player->mStatusHandler, nullptr);
    EXPECT_EQ(job.player->mStatusCallback, nullptr);
}

TEST(FacadeTest, stopsTheMuxerWhenTheHandledStreamsHaveStopped) {
    const LogCapture log;
    TranscodeJob job;
    advance(&job, TranscodeJob::kStart);
    // Nothing records yet: these are reports of something that is over.
    job.post(kWhatStopTranscode, STOP_VIDEO);
    job.post(kWhatStopTranscode, STOP_AUDIO);
    ASSERT_EQ(take(&job, TranscodeJob::kStart), OK);
    EXPECT_FALSE(log.contains(kTag, "Stop muxer success"));
    job.post(kWhatStopTranscode, STOP_VIDEO);
    EXPECT_FALSE(log.contains(kTag, "Stop muxer success"));
    job.post(kWhatStopTranscode, STOP_AUDIO);
    EXPECT_EQ(log.count(kTag, "Stop muxer success"), 1);
    // There is no muxer any more.
    job.post(kWhatStopTranscode, STOP_AUDIO);
    EXPECT_EQ(log.count(kTag, "Stop muxer success"), 1);
    // What the pipelines report of a stop, which has stopped the muxer itself.
    EXPECT_EQ(job.player->stop(), OK);
    job.post(kWhatStopTranscode, STOP_VIDEO);
    job.post(kWhatStopTranscode, STOP_AUDIO);
    EXPECT_EQ(log.count(kTag, "Stop muxer success"), 2);
}

TEST(FacadeTest, drainEndsAtOnceWhenNothingWillCome) {
    TranscodeJob job;
    EXPECT_EQ(job.player->drain(1000000), INVALID_OPERATION);
    advance(&job, TranscodeJob::kStop);
    EXPECT_EQ(job.player->drain(0), TIMED_OUT);
    const int64_t beginUs = ALooper::GetNowUs();
    EXPECT_EQ(job.player->drain(10'000), TIMED_OUT) << "not by the end of the file";
    EXPECT_LT(ALooper::GetNowUs() - beginUs, 5'000'000);
    auto drained = std::async(std::launch::async, [&] { return job.player->drain(INT64_MAX); });
    EXPECT_EQ(drained.wait_for(std::chrono::milliseconds(20)), std::future_status::timeout);
    EXPECT_EQ(job.player->stop(), OK);
    EXPECT_EQ(drained.get(), INVALID_OPERATION);
    EXPECT_EQ(job.player->drain(60000000), INVALID_OPERATION);
}

TEST(FacadeTest, theLongestWaitIsLong) {
    const sp<OxaMediaCodecPlayer> player = new OxaMediaCodecPlayer(true, 0);
    const auto returned = std::make_shared<std::atomic<bool>>(false);
    // Lasts as long as the process, by design.
    std::thread([=] {
        player->waitTime(INT64_MAX);
        *returned = true;
    }).detach();
    const sp<OxaMediaCodecPlayer> other = new OxaMediaCodecPlayer(true, 0);
    const int64_t beginUs = ALooper::GetNowUs();
    other->waitTime(50000);
    EXPECT_LT(ALooper::GetNowUs() - beginUs, 20'000'000);
    EXPECT_FALSE(*returned);
    constexpr int64_t kYearUs = 365 * 24 * 3600 * INT64_C(1000000);
    EXPECT_GT(kLongestWaitUs, kYearUs) << "a drain of a long file would end too early";
}

// ---- Output -------------------------------------------------------------------------------------

TEST(FacadeTest, outputsThatCannotBeMadeAreRefused) {
    const std::string longName(4096, 'x');  // is not cut
    struct {
        int type, format;
        const char* name;
        status_t expected;
        const char* address = "";
    } const kOutputs[] = {
            {2, 1, NULL, UNKNOWN_ERROR},         {3, 1, NULL, UNKNOWN_ERROR},
            {4, 1, NULL, UNKNOWN_ERROR},         {5, 1, NULL, UNKNOWN_ERROR},
            {6, 1, NULL, UNKNOWN_ERROR},         {8, 1, NULL, UNKNOWN_ERROR},
            {7, 9, NULL, UNKNOWN_ERROR},         {0, 1, "/nowhere/at/all.mp4", UNKNOWN_ERROR},
            {0, 1, longName.c_str(), BAD_VALUE}, {7, 1, NULL, BAD_VALUE, longName.c_str()}};
    TranscodeJob job;
    advance(&job, TranscodeJob::kMuxer);
    const _OxaTranscodeConfig usable = job.config;
    for (const auto& output : kOutputs) {
        job.config.type = output.type;
        job.config.fmt = output.format;
        job.config.fileName = output.name;
        job.config.udpIp = output.address;
        const LogCapture log;
        EXPECT_EQ(job.player->setMuxer(job.config), output.expected) << output.type;
        if (output.type == 0 || output.type == 7) continue;
        EXPECT_TRUE(log.contains(
                kTag, "\e[0;31m unsupported output type:" + std::to_string(output.type) + " \e[m"));
    }
    job.config = usable;
    EXPECT_EQ(job.player->setMuxer(job.config), OK) << "the request may be repeated";
    EXPECT_STREQ(job.config.fileName, "") << "null becomes empty in the client's record";
    EXPECT_STREQ(job.config.udpIp, "");
}

// Two recordings that begin in one second must not share a file.
TEST(FacadeTest, defaultNamesLieUnderTheDeviceRootAndAreNeverReused) {
    const oxa::test::TempDir root;
    const std::string folder = root.path() + "/storage/emulated/0/Pictures";
    std::filesystem::create_directories(folder);
    setDeviceRoot(root.path().c_str());
    for (const int format : {1, 1, 0}) {
        TranscodeJob job;
        advance(&job, TranscodeJob::kMuxer);
        job.config.type = 0;
        job.config.fmt = format;
        EXPECT_EQ(job.player->setMuxer(job.config), OK);
    }
    // A live recording that is switched off before it begins leaves none behind.
    TranscodeJob live;
    EXPECT_EQ(live.player->initiate(SourceTypeUsbCamera, true, true), OK);
    live.config.type = 0;
    EXPECT_EQ(live.player->setMuxer(live.config), OK);
    EXPECT_EQ(oxa::test::entriesOf(folder.c_str()), 4);
    EXPECT_EQ(live.player->setTranscode(false), OK);
    setDeviceRoot("");
    EXPECT_EQ(system(("test $(ls " + folder + "/VID_*.mp4 | wc -l) -eq 2").c_str()), 0);
    EXPECT_EQ(system(("test $(ls " + folder + "/VID_*.ts | wc -l) -eq 1").c_str()), 0);
}

// The player duplicates descriptors and closes exactly its own.
TEST(FacadeTest, closesItsOwnDescriptorsOnly) {
    const auto openDescriptors = [] { return oxa::test::entriesOf("/proc/self/fd"); };
    const std::string path = mediaPath(kClip);
    const int input = open(path.c_str(), O_RDONLY);
    TranscodeJob job;
    const auto before = openDescriptors();
    // Without a role it may be given again and again.
    ASSERT_EQ(job.player->initiate(SourceTypeFile, false, false), OK);
    for (int i = 0; i < 3; ++i)
        ASSERT_EQ(job.player->setDataSource(input, 0, 1), OK);
    ASSERT_EQ(job.player->cleanup(), OK);
    EXPECT_EQ(openDescriptors(), before);
    // As a daemon has none.
    const int standardInput = dup(STDIN_FILENO);
    close(STDIN_FILENO);
    ASSERT_EQ(take(&job, TranscodeJob::kInitiate), OK);
    ASSERT_EQ(job.player->setDataSource(input, 0, oxa::test::fileSize(path)), OK);
    for (size_t step = TranscodeJob::kMuxer; step <= TranscodeJob::kStop; ++step)
        ASSERT_EQ(take(&job, step), OK);
    ASSERT_EQ(job.player->cleanup(), OK);
    EXPECT_EQ(openDescriptors(), before);
    dup2(standardInput, STDIN_FILENO);
    close(standardInput);
    EXPECT_NE(fcntl(job.config.fileDesc, F_GETFD), -1);
    EXPECT_EQ(close(input), 0);
}

// As a daemon has that has closed its standard input.
TEST(FacadeTest, descriptorZeroIsOneLikeTheOthers) {
    const oxa::test::TempDir folder;
    const struct {
        int type, only;
        const char* begin;  // of the line that tells that the muxer runs
    } kOutputs[] = {{0, CODEC_AUDIO_ONLY, "CODEC_AUDIO_ONLY:muxer"},
                    {7, CODEC_VIDEO_ONLY, "CODEC_VIDEO_ONLY:muxer"}};
    for (const auto& [type, only, begin] : kOutputs) {
        const LogCapture log;
        const std::string output = folder.file(std::to_string(type));
        TranscodeJob job(only);
        advance(&job, TranscodeJob::kMuxer);
        job.config.type = type;
        job.config.fileName = output.c_str();
        const int input = dup(STDIN_FILENO);
        close(STDIN_FILENO);
        if (type == 7) job.config.fileDesc = open(output.c_str(), O_RDWR | O_CREAT, 0600);
        for (size_t step = TranscodeJob::kMuxer; step <= TranscodeJob::kStart; ++step)
            EXPECT_EQ(take(&job, step), OK) << type;
        EXPECT_EQ(job.player->drain(60000000), OK);
        EXPECT_EQ(job.player->cleanup(), OK);
        dup2(input, STDIN_FILENO);
        close(input);
        EXPECT_GT(oxa::test::fileSize(output), 4000) << type;
        EXPECT_TRUE(log.contains(kTag, std::string("SourceTypeFile:") + begin + " start success"));
    }
}

// ---- Sound that waits for a first picture -------------------------------------------------------

// It ends by itself after 3 s.
constexpr int64_t kWithoutWaitUs = 2500000;

class FirstPictureTest : public testing::Test {
  protected:
    FirstPictureTest() {
        // The only clip of its type, whose decoder can therefore be replaced.
        static const bool installed = [] {
            ScriptedComponent::standInFor("video/mp4v-es");
            return true;
        }();
        (void)installed;
        ScriptedComponent::sStartResult = OK;
        mJob.clip = "bird_mpeg4asp_mp3.avi";
        mJob.player->cleanup();  // of nothing: no stop of what comes later
        advance(&mJob, 4);
    }
    ~FirstPictureTest() override {
        if (mStarted.valid()) {
            EXPECT_EQ(mStarted.get(), OK);
        }
    }
    // Starts without a picture; the start waits then.
    void startAndWait() {
        mStarted = std::async(std::launch::async, [this] { return mJob.player->start(); });
        ASSERT_TRUE(waitFor([&] { return mLog.contains(kTag, "start video playback"); }));
        EXPECT_FALSE(mLog.contains(kTag, "start audio playback"));
    }
    bool soundStarts() {
        _PLAYBACK_PROGRESS progress = {};
        return waitFor([&] {
            return mJob.player->getPlaybackProgress(&progress) == OK && progress.audioTimeUs >= 0;
        });
    }

    LogCapture mLog;
    PlayJob mJob;
    std::future<status_t> mStarted;
};

TEST_F(FirstPictureTest, endsTheWaitByItself) {
    startAndWait();
    EXPECT_TRUE(soundStarts());
}

TEST_F(FirstPictureTest, isNotWaitedForAfterAnError) {
    startAndWait();
    const int64_t beginUs = ALooper::GetNowUs();
    ScriptedComponent::last()->fail(UNKNOWN_ERROR, ACTION_CODE_FATAL);
    EXPECT_TRUE(soundStarts());
    EXPECT_LT(ALooper::GetNowUs() - beginUs, kWithoutWaitUs);
}

TEST_F(FirstPictureTest, isNotWaitedForWhenTheClientStops) {
    startAndWait();
    const int64_t beginUs = ALooper::GetNowUs();
    EXPECT_EQ(mJob.player->stop(), OK);
    EXPECT_LT(ALooper::GetNowUs() - beginUs, kWithoutWaitUs);
}

// The decoder's inputs are far too small for its samples.
TEST_F(FirstPictureTest, isNotMadeOfInputsThatASampleDidNotFit) {
    startAndWait();
    EXPECT_TRUE(waitFor([&] {
        return mLog.count("VideoDecoder", "Not enough memory") ==
               int{ScriptedComponent::kInputCount};
    }));
    EXPECT_TRUE(ScriptedComponent::last()->inputs().empty());
    EXPECT_EQ(mJob.player->stop(), OK);
}

// The other stream is played alone, and its end is the end.
TEST_F(FirstPictureTest, doesNotMatterWhenTheDecoderDoesNotStart) {
    ScriptedComponent::sStartResult = NO_MEMORY;
    EXPECT_EQ(mJob.player->setFreeRun(true), OK);
    EXPECT_EQ(mJob.player->start(), OK);
    EXPECT_TRUE(waitFor([&] { return mJob.player->EOSReached(); }));
    EXPECT_EQ(mJob.player->stop(), OK);
}

}  // namespace
}  // namespace android
