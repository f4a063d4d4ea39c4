// Copyright 2026 The Oxa Authors
// SPDX-License-Identifier: Apache-2.0

#include <system/audio.h>

#include <type_traits>

#include "AudioDecoder.h"
#include "AudioRecordEncoder.h"
#include "AudioTranscoder.h"
#include "VideoDecoder.h"
#include "VideoTranscoder.h"
#include "library/Stage.h"
#include "support/CodecShim.h"
#include "support/LogCapture.h"
#include "support/RampSource.h"

namespace android {
namespace {

using oxa::test::mediaPath;
using oxa::test::waitFor;
using testing::HasSubstr;

constexpr char kBothTracks[] = "friday_480p_audio_first.mp4";

// ---- The kinds of pipelines ---------------------------------------------------------------------

// `kUnknown` is the site that ends the process for a request that is unknown, and such a code.

class VideoDecoderStage : public Stage<VideoDecoder> {
  public:
    static constexpr char kName[] = "VideoDecoder";
    static constexpr int kUnknown[] = {167, 99};
    static std::vector<Step> steps(VideoDecoderStage* stage) {
        return {{[=] { return stage->pipeline->setDataSource(mediaPath(stage->clip).c_str()); },
                 refusalOf("mState == UNINITIALIZED")},
                {[=] { return stage->pipeline->setSurface(stage->surface); },
                 refusalOf("mState == WAIT_SURFACE")},
                {[=] { return stage->pipeline->prepare(); }, refusalOf("mState == UNPREPARED")},
                {[=] { return stage->pipeline->start(); }, refusalOf("mState == PREPARED")},
                {[=] { return stage->pipeline->stop(); }, refusalOf("mState == STARTED")}};
    }
    const char* clip = kBothTracks;
};

class AudioDecoderStage : public Stage<AudioDecoder> {
  public:
    static constexpr char kName[] = "AudioDecoder";
    static constexpr int kUnknown[] = {144, 99};
    static std::vector<Step> steps(AudioDecoderStage* stage) {
        return {{[=] { return stage->pipeline->setDataSource(mediaPath(stage->clip).c_str()); },
                 refusalOf("mState == UNINITIALIZED")},
                {[=] { return stage->pipeline->prepare(); }, refusalOf("mState == UNPREPARED")},
                {[=] { return stage->pipeline->start(ALooper::GetNowUs() + stage->startInUs); },
                 refusalOf("mState == PREPARED")},
                {[=] { return stage->pipeline->stop(); }, refusalOf("mState == STARTED")}};
    }
    const char* clip = kBothTracks;
    int64_t startInUs = 0;
};

// `sites` are those of the steps.
template <typename Transcoder>
class TranscoderStage : public Stage<Transcoder> {
  public:
    static constexpr bool kIsLive = false;
    static std::vector<Step> stepsAt(TranscoderStage* stage, const std::vector<int>& sites) {
        const auto refusal = [&](size_t step, const char* condition) {
            return std::to_string(sites[step]) + " " + refusalOf(condition);
        };
        return {{[=] { return stage->pipeline->setDataSource(mediaPath(stage->clip).c_str()); },
                 refusal(0, "mState == UNINITIALIZED")},
                {[=] { return stage->pipeline->setMuxer(stage->muxer); },
                 refusal(1, "mState == WAIT_MUXER")},
                {[=] { return stage->pipeline->setTargetFormat(stage->format); },
                 refusal(2, "mState == WAIT_TARGET_FORMAT")},
                {[=] { return stage->pipeline->prepare(); }, refusal(3, "mState == UNPREPARED")},
                {[=] { return stage->pipeline->start(); }, refusal(4, "mState == PREPARED")},
                {[=] { return stage->pipeline->stop(); }, refusal(5, "mState == STARTED")}};
    }
    // It records from the start on.
    status_t switchOn() { return OK; }

    const char* clip = kBothTracks;
};

class VideoTranscoderStage : public TranscoderStage<VideoTranscoder> {
  public:
    static constexpr char kName[] = "VideoTranscoder";
    static constexpr int kUnknown[] = {171, 9};
    static constexpr char kFileWithoutTrack[] = "roar.mp3";
    static constexpr int32_t kNoTrack = NO_VIDEO_TRACK;
    static std::vector<Step> steps(VideoTranscoderStage* stage) {
        return stepsAt(stage, {60, 89, 100, 111, 133, 147});
    }
};

class AudioTranscoderStage : public TranscoderStage<AudioTranscoder> {
  public:
    static constexpr char kName[] = "AudioTranscoder";
    static constexpr int kUnknown[] = {155, 10};
    static constexpr char kFileWithoutTrack[] = "bunny_480p_hevc.mp4";
    static constexpr int32_t kNoTrack = NO_AUDIO_TRACK;
    static std::vector<Step> steps(AudioTranscoderStage* stage) {
        return stepsAt(stage, {56, 85, 96, 108, 121, 134});
    }
};

class CameraRecorderStage : public CameraStage {
  public:
    static constexpr bool kIsLive = true;
    static constexpr int kUnknown[] = {470, 6};
};

class RxStage : public ReceiverStage {
  public:
    static constexpr bool kIsLive = true;
    static constexpr int kUnknown[] = {207, 2};
};

class MicrophoneStage : public Stage<AudioRecordEncoder> {
  public:
    static constexpr bool kIsLive = true;
    static constexpr char kName[] = "AudioRecordEncoder";
    static constexpr int kUnknown[] = {132, 9};
    MicrophoneStage() {
        oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, "lavfi:sine=sample_rate=48000");
    }
    static std::vector<Step> steps(MicrophoneStage* stage) {
        return {{[=] { return stage->pipeline->setAudioSource(stage->source, String16("test")); },
                 refusalOf("mState == UNINITIALIZED")},
                {[=] { return stage->pipeline->configure(&stage->format); },
                 refusalOf("mState == INITIALIZED || mState == STARTED"), true},
                {[=] { return stage->pipeline->prepare(); }, refusalOf("mState == CONFIGURED")},
                {[=] { return stage->pipeline->start(); }, refusalOf("mState == PREPARED")},
                {[=] { return stage->pipeline->stop(); }, refusalOf("mState == STARTED")}};
    }
    status_t switchOn() { return pipeline->setRecord(true); }
    int source = AUDIO_SOURCE_DEFAULT;
};

template <typename Kind>
class PipelineDeathTest : public testing::Test {};
template <typename Kind>
class DecoderTest : public testing::Test {};
template <typename Kind>
class TranscoderTest : public testing::Test {};
template <typename Kind>
class TranscoderDeathTest : public testing::Test {};
template <typename Kind>
class RecorderTest : public testing::Test {};
template <typename Kind>
class LiveTest : public testing::Test {};
using Pipelines =
        testing::Types<VideoDecoderStage, AudioDecoderStage, VideoTranscoderStage,
                       AudioTranscoderStage, CameraRecorderStage, RxStage, MicrophoneStage>;
using Decoders = testing::Types<VideoDecoderStage, AudioDecoderStage>;
using Transcoders = testing::Types<VideoTranscoderStage, AudioTranscoderStage>;
using Recorders = testing::Types<VideoTranscoderStage, AudioTranscoderStage, CameraRecorderStage,
                                 RxStage, MicrophoneStage>;
using LiveKinds = testing::Types<CameraRecorderStage, RxStage, MicrophoneStage>;
TYPED_TEST_SUITE(PipelineDeathTest, Pipelines);
TYPED_TEST_SUITE(DecoderTest, Decoders);
TYPED_TEST_SUITE(TranscoderTest, Transcoders);
TYPED_TEST_SUITE(TranscoderDeathTest, Transcoders);
TYPED_TEST_SUITE(RecorderTest, Recorders);
TYPED_TEST_SUITE(LiveTest, LiveKinds);

// Taking so many steps starts a pipeline.
template <typename Kind>
size_t startedState() {
    return Kind::steps(nullptr).size() - 1;
}

TYPED_TEST(PipelineDeathTest, onlyTheNextStepIsAccepted) {
    expectOnlyTheNextStepIsAccepted<TypeParam>();
}

TYPED_TEST(PipelineDeathTest, unknownRequestsAreFatal) {
    const auto [site, unknown] = TypeParam::kUnknown;
    for (const int code : {unknown, 0x1002}) {
        EXPECT_DEATH(
                {
                    TypeParam stage;
                    sp<AMessage> reply;
                    sp<AMessage>(new AMessage(code, stage.pipeline))->postAndAwaitResponse(&reply);
                },
                HasSubstr(std::string(TypeParam::kName) + ".cpp:" + std::to_string(site) +
                          " Should not be here."))
                << code;
    }
}

// Whoever includes the header, and whatever its log tag.
TEST(ReplyDeathTest, whatNobodyWaitsForCannotBeAnswered) {
    using testing::AllOf;
    EXPECT_DEATH(reply(new AMessage, new AMessage),
                 AllOf(testing::AnyOf(HasSubstr("OxaBase F "), HasSubstr(" F OxaBase ")),
                       HasSubstr("MediaCodecDemo/OxaMediaCodecPlayer/OxaMediaCodecPlayerCommon.h:"),
                       HasSubstr(refusalOf("msg->senderAwaitsResponse(&replyID)"))));
}

template <typename Kind>
class MisuseDeathTest : public testing::Test {};
using Readers = testing::Types<VideoDecoderStage, AudioDecoderStage, VideoTranscoderStage>;
TYPED_TEST_SUITE(MisuseDeathTest, Readers);

// An index that the codec has not given out: not what a codec answers that has failed.
TYPED_TEST(MisuseDeathTest, aCallThatTheCodecRefusesIsFatal) {
    EXPECT_DEATH(
            {
                TypeParam stage;
                advance(&stage, startedState<TypeParam>());
                stage.pipeline->handleDecoderInputBuffer(9999);
                waitFor([] { return false; }, std::chrono::seconds(5));
            },
            HasSubstr(std::string(TypeParam::kName) + ".cpp:"));
}

// A reset begins a new life, to which the refusal of the old one means nothing.
TYPED_TEST(TranscoderDeathTest, afterAResetAStopIsRefusedThoughTheTrackWas) {
    EXPECT_DEATH(
            {
                TypeParam stage;
                stage.muxer = new OxaMediaMuxer(-1, OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
                advance(&stage, startedState<TypeParam>());
                waitFor([&] { return stage.reports->count(kWhatTranscodeDone) > 0; });
                stage.pipeline->reset();
                stage.pipeline->stop();
            },
            HasSubstr(refusalOf("mState == STARTED")));
}

// ---- Decoders -----------------------------------------------------------------------------------

// A reset before the start keeps the prepared codec; one after it ends the object's use.
TYPED_TEST(DecoderTest, resetBeforeTheStartChangesNothing) {
    const size_t started = startedState<TypeParam>();
    for (size_t state = 0; state <= started + 1; ++state) {
        SCOPED_TRACE(state);
        const LogCapture log;
        TypeParam stage;
        advance(&stage, state);
        EXPECT_EQ(stage.pipeline->reset(), OK);
        if (state < started) {
            EXPECT_EQ(take(&stage, state), OK);
        } else {
            EXPECT_EQ(stage.pipeline->reset(), OK) << "again";
            EXPECT_EQ(log.count(TypeParam::kName, "Decoder reset success"), 1);
        }
    }
}

TYPED_TEST(DecoderTest, aFileThatCannotBeReadFailsInPrepareAndMayBeTriedAgain) {
    const LogCapture log;
    TypeParam stage;
    stage.clip = "no-such-file.mp4";
    advance(&stage, startedState<TypeParam>() - 2);
    const status_t err = stage.pipeline->prepare();
    EXPECT_NE(err, OK);
    EXPECT_EQ(stage.pipeline->prepare(), err) << "still UNPREPARED";
    EXPECT_TRUE(log.contains(TypeParam::kName, "MediaExtractor set data source failed"));
}

// Sound waits for a start that lies in the future; what lies in the past is left out, but its end
// still comes. In free run it does not wait.
TEST(AudioDecoderTest, soundKeepsToTheStartThatItWasGiven) {
    AudioDecoderStage early;
    early.startInUs = 500000;
    const int64_t startUs = ALooper::GetNowUs() + early.startInUs;
    advance(&early, startedState<AudioDecoderStage>());
    ASSERT_TRUE(waitFor([&] { return early.pipeline->lastTimeUs() >= 0; }));
    EXPECT_GE(ALooper::GetNowUs(), startUs);
    AudioDecoderStage late;
    late.startInUs = -3600000000;
    advance(&late, startedState<AudioDecoderStage>());
    ASSERT_TRUE(waitFor([&] {
        return late.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached) == 1;
    }));
    EXPECT_EQ(late.pipeline->lastTimeUs(), -1);
    AudioDecoderStage free;
    free.startInUs = 3600000000;
    advance(&free, startedState<AudioDecoderStage>() - 1);
    EXPECT_EQ(free.pipeline->setFreeRun(true), OK);
    EXPECT_EQ(take(&free, startedState<AudioDecoderStage>() - 1), OK);
    EXPECT_TRUE(waitFor([&] { return free.pipeline->lastTimeUs() >= 0; })) << "waits";
}

// ---- Transcoders --------------------------------------------------------------------------------

TYPED_TEST(TranscoderTest, aFileThatCannotBeUsedFailsInPrepare) {
    const LogCapture log;
    TypeParam unreadable;
    unreadable.clip = "no-such-file.mp4";
    advance(&unreadable, startedState<TypeParam>() - 2);
    EXPECT_NE(unreadable.pipeline->prepare(), OK);
    EXPECT_TRUE(log.contains(TypeParam::kName, "MediaExtractor set data source failed"));
    TypeParam other;
    other.clip = TypeParam::kFileWithoutTrack;
    advance(&other, startedState<TypeParam>() - 2);
    EXPECT_EQ(other.pipeline->prepare(), UNKNOWN_ERROR);
    EXPECT_TRUE(waitFor([&] {
        return other.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, TypeParam::kNoTrack) == 1;
    }));
}

TYPED_TEST(TranscoderTest, anErrorOfTheEncoderIsToldOnceToTheFacadeAndToAClient) {
    for (const bool hasClient : {false, true}) {
        TypeParam stage;
        const sp<Reports> client = new Reports;
        const OwnLooper looper(client);
        if (hasClient) stage.pipeline->mStatusHandler = client;
        stage.pipeline->handleEncoderError(-5, 0, "");
        ASSERT_TRUE(waitFor([&] { return stage.reports->count(kWhatTranscodeDone) > 0; }));
        EXPECT_EQ(stage.reports->count(kWhatError, "err", -5), 1);
        EXPECT_EQ(stage.reports->codes(), (std::vector<uint32_t>{kWhatError, kWhatTranscodeDone}));
        EXPECT_TRUE(waitFor([&] { return client->count(kWhatError, "err", -5) == hasClient; }));
    }
}

// As a network wants it: what is read and encoded long before has to wait.
TYPED_TEST(TranscoderTest, aStreamLeavesNoSampleBeforeItsTime) {
    constexpr int64_t kLeadUs = 10000;
    TypeParam stage;
    stage.reports->muxer = stage.muxer;
    stage.pipeline->setStreamOutput(true);
    const int64_t beforeUs = ALooper::GetNowUs();
    advance(&stage, startedState<TypeParam>());
    ASSERT_TRUE(waitFor([&] {
        const int64_t lastUs = stage.pipeline->lastTimeUs();
        EXPECT_LE(lastUs - kLeadUs, ALooper::GetNowUs() - beforeUs);
        return lastUs >= 1000000;
    }));
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

// Notes when each sample comes to it.
class TimedDecoder : public oxa::test::CodecShim {
  public:
    using CodecShim::CodecShim;
    static inline std::vector<std::pair<int64_t, int64_t>> sSamples;  // its time and the clock's

    void queueInput(const CodecInput& input) override {
        sSamples.emplace_back(input.timeUs, ALooper::GetNowUs());
        CodecShim::queueInput(input);
    }
};

// The shortest pauses: no machine makes one shorter, and none is slow each time.
TEST(AudioTranscoderTest, pausesWithEachSampleThatIsASecondAheadOfThePicture) {
    constexpr int64_t kSecondUs = 1000000;
    constexpr int64_t kPauseUs = 100000;
    oxa::test::installShim<TimedDecoder>("audio/mp4a-latm", CodecDirection::kDecoder);
    AudioTranscoderStage stage;
    stage.reports->muxer = stage.muxer;
    stage.pipeline->setVideoTimeUs(1);
    advance(&stage, startedState<AudioTranscoderStage>());
    ASSERT_TRUE(waitFor([&] { return stage.pipeline->lastTimeUs() > kSecondUs + kPauseUs; }));
    EXPECT_EQ(stage.pipeline->stop(), OK);
    int64_t shortestUs[] = {INT64_MAX, INT64_MAX};
    const auto& samples = TimedDecoder::sSamples;
    for (size_t i = 0; i + 1 < samples.size(); ++i) {
        if (samples[i].first < kSecondUs / 2) continue;
        int64_t& shortest = shortestUs[samples[i].first > kSecondUs + 1];
        shortest = std::min(shortest, samples[i + 1].second - samples[i].second);
    }
    EXPECT_LT(shortestUs[0], kPauseUs);
    EXPECT_GE(shortestUs[1], kPauseUs);
}

// What prepare computes goes back into the client's record.
TEST(VideoTranscoderTest, writesTheComputedRatesBack) {
    VideoTranscoderStage stage;
    stage.format.width = 1920;
    stage.format.height = 1080;
    stage.format.bitRate = -1;
    stage.format.frameRate = 0;
    advance(&stage, startedState<VideoTranscoderStage>());
    EXPECT_EQ(stage.format.bitRate, 31104000);
    EXPECT_EQ(stage.format.frameRate, 30);
    VideoTranscoderStage slowest;
    slowest.format.frameRate = 1;
    slowest.format.bitRate = 0;
    advance(&slowest, startedState<VideoTranscoderStage>());
    EXPECT_EQ(slowest.format.frameRate, 1) << "is a rate";
    EXPECT_EQ(slowest.format.bitRate, 0) << "leaves it to the encoder";
}

// 92 pictures: reports with pictures 30, 60 and 90, and the frame rates only when asked for.
TEST(VideoTranscoderTest, reportsProgressEndAndFrameRates) {
    for (const double interval : {-1.0, 0.0, 0.001}) {
        VideoTranscoderStage stage;
        stage.reports->muxer = stage.muxer;
        stage.clip = "friday_audio_starts_1200ms.mp4";
        ASSERT_EQ(stage.pipeline->setCalculateFPS(interval), OK);
        const int64_t beginUs = ALooper::GetNowUs();
        advance(&stage, startedState<VideoTranscoderStage>());
        ASSERT_TRUE(
                waitFor([&] { return stage.reports->count(kWhatTranscodeDone, "err", OK) == 1; }));
        const double seconds = (stage.reports->firstUs(kWhatTranscodeDone) - beginUs) / 1e6;
        EXPECT_EQ(stage.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSVideoReached), 1);
        const std::vector<int64_t> times = stage.reports->items(&AMessage::findInt64, "video-pts");
        ASSERT_EQ(times.size(), 3u);
        EXPECT_NEAR(times[0], 29 * 1000000 / 30, 1000);
        EXPECT_NEAR(times[2], 89 * 1000000 / 30, 1000);
        const bool reporting = interval > 0;
        EXPECT_EQ(stage.reports->count(kWhatInstantFPS, "codec-type", 1) > 0, reporting);
        EXPECT_EQ(stage.reports->count(kWhatInstantFPS, "codec-type", 2) > 0, reporting);
        EXPECT_EQ(stage.reports->count(kWhatAverageFPS), reporting ? 2 : 0);
        const auto rates = stage.reports->items(&AMessage::findDouble, "instant-fps");
        EXPECT_THAT(rates, testing::Each(testing::Gt(0)));
        for (const double average : stage.reports->items(&AMessage::findDouble, "average-fps")) {
            EXPECT_GE(average, 92 / seconds);
            EXPECT_LE(average, *std::max_element(rates.begin(), rates.end()));
        }
        EXPECT_EQ(stage.pipeline->setCalculateFPS(0), OK);
        EXPECT_EQ(stage.pipeline->writtenSamples(), 92) << "only the rates are counted anew";
    }
}

// Of an interlaced picture the encoder gets two.
TEST(VideoTranscoderTest, countsThePicturesOfEachSide) {
    VideoTranscoderStage stage;
    stage.reports->muxer = stage.muxer;
    stage.clip = "bunny_480i_tff_mpeg2_mp2.ts";
    stage.format.deinterlace = 2;
    stage.format.frameRate = 60;
    ASSERT_EQ(stage.pipeline->setCalculateFPS(3600), OK);
    advance(&stage, startedState<VideoTranscoderStage>());
    ASSERT_TRUE(waitFor([&] { return stage.reports->count(kWhatAverageFPS) == 2; }));
    EXPECT_EQ(stage.reports->items(&AMessage::findInt32, "codec-type"),
              (std::vector<int32_t>{1, 2}));
    const auto rates = stage.reports->items(&AMessage::findDouble, "average-fps");
    EXPECT_NEAR(rates[1] / rates[0], 2, 0.1);
}

// ---- Whatever writes into a muxer ---------------------------------------------------------------

TYPED_TEST(RecorderTest, resetLeadsFromEveryStateToTheStart) {
    for (size_t state = 0; state <= startedState<TypeParam>() + 1; ++state) {
        TypeParam stage;
        advance(&stage, state);
        EXPECT_EQ(stage.pipeline->reset(), OK) << "state " << state;
        EXPECT_EQ(take(&stage, 0), OK) << "state " << state;
    }
}

TYPED_TEST(RecorderTest, keepsItsStateWhenConfiguredWhileStarted) {
    TypeParam stage;
    advance(&stage, startedState<TypeParam>());
    for (const Step& step : TypeParam::steps(&stage)) {
        if (step.alsoStarted) {
            EXPECT_EQ(step.take(), OK);
        }
    }
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

template <typename Kind>
status_t record(Kind* stage) {
    if constexpr (Kind::kIsLive) stage->pipeline->setMuxer(stage->muxer);
    return stage->switchOn();
}

template <typename Kind>
status_t switchOff(Kind* stage) {
    if constexpr (std::is_same_v<Kind, RxStage>)
        return stage->pipeline->setRecord(false, -1);
    else
        return stage->pipeline->setRecord(false);
}

// Nothing waits for a muxer that does not want the track. A stop is answered although a transcoder
// has stopped itself.
TYPED_TEST(RecorderTest, aRefusedTrackIsReportedAndStopReturns) {
    TypeParam stage;
    stage.muxer = new OxaMediaMuxer(-1, OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
    advance(&stage, startedState<TypeParam>());
    ASSERT_EQ(record(&stage), OK);
    const uint32_t report = TypeParam::kIsLive ? kWhatDecodeGotEOS : kWhatTranscodeDone;
    ASSERT_TRUE(waitFor([&] { return stage.reports->count(report) > 0; }));
    EXPECT_EQ(stage.reports->count(kWhatTrackAdded), 0);
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

// The muxer stays unstarted, as when the other track does not come.
TYPED_TEST(RecorderTest, stopComesOutOfAMuxerThatNeverStarts) {
    TypeParam stage;
    advance(&stage, startedState<TypeParam>());
    ASSERT_EQ(record(&stage), OK);
    EXPECT_EQ(stage.switchOn(), OK) << "a second switch-on changes nothing";
    ASSERT_TRUE(waitFor([&] { return stage.reports->count(kWhatTrackAdded) > 0; }));
    // As the player does before it stops its live pipelines.
    if (TypeParam::kIsLive) stage.muxer->openGate();
    EXPECT_EQ(stage.pipeline->stop(), OK);
    EXPECT_FALSE(stage.muxer->isStarted());
    EXPECT_EQ(stage.reports->count(kWhatTrackAdded), 1);
}

// Also while its encoder waits for input or for the muxer. What follows is a life of its own.
TYPED_TEST(RecorderTest, resetEndsARecordingThatRuns) {
    TypeParam stage;
    advance(&stage, startedState<TypeParam>());
    ASSERT_EQ(record(&stage), OK);
    ASSERT_TRUE(waitFor([&] { return stage.reports->count(kWhatTrackAdded) > 0; }));
    EXPECT_EQ(stage.pipeline->reset(), OK);
    EXPECT_EQ(stage.muxer->getStrongCount(), 1) << "is kept by the next life";
    EXPECT_EQ(take(&stage, 0), OK);
}

// ---- Live ---------------------------------------------------------------------------------------

// So many until now, whatever has come behind them.
template <typename Kind>
void expectStopReports(Kind* stage, int count) {
    constexpr uint32_t kMark = 1;
    const int marks = stage->reports->count(kMark);
    sp<AMessage>(new AMessage(kMark, stage->reports))->post();
    ASSERT_TRUE(waitFor([&] { return stage->reports->count(kMark) > marks; }));
    EXPECT_EQ(stage->reports->codes().back(), kMark);
    EXPECT_EQ(stage->reports->count(kWhatStopTranscode), count);
}

// Only the receiver's sound tells of an end then.
TYPED_TEST(LiveTest, isSwitchedOnAndOffBeforeTheStart) {
    TypeParam stage;
    advance(&stage, startedState<TypeParam>() - 1);
    for (int i = 1; i <= 2; ++i) {
        ASSERT_EQ(record(&stage), OK);
        ASSERT_EQ(switchOff(&stage), OK);
        expectStopReports(&stage, std::is_same_v<TypeParam, RxStage> ? i : 0);
    }
    ASSERT_EQ(take(&stage, startedState<TypeParam>() - 1), OK);
    ASSERT_EQ(record(&stage), OK);
    EXPECT_TRUE(waitFor([&] { return stage.reports->count(kWhatTrackAdded) == 1; }));
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

// Whoever waits for the stop comes behind its report.
TYPED_TEST(LiveTest, aStopHasReportedWhenItReturns) {
    for (int i = 0; i < 20; ++i) {
        TypeParam stage;
        stage.reports->muxer = stage.muxer;
        advance(&stage, startedState<TypeParam>());
        ASSERT_EQ(record(&stage), OK);
        ASSERT_TRUE(waitFor([&] { return stage.reports->count(kWhatTrackAdded) > 0; }));
        EXPECT_EQ(switchOff(&stage), OK);
        EXPECT_EQ(stage.pipeline->stop(), OK);
        expectStopReports(&stage, 1);
        EXPECT_EQ(stage.reports->count(kWhatDecodeGotEOS), 0) << "a track that was taken";
    }
}

// A whole life; the muxer refuses the track where there is a line for that alone.
template <typename Kind>
void expectLogged(const std::vector<std::string>& lines, bool isRefused = false) {
    const LogCapture log;
    {
        Kind stage;
        stage.reports->muxer = stage.muxer;
        if (isRefused) stage.muxer = new OxaMediaMuxer(-1, OxaMediaMuxer::OUTPUT_FORMAT_MPEG_4);
        advance(&stage, startedState<Kind>());
        EXPECT_EQ(stage.pipeline->setPlayback(true), OK);
        ASSERT_EQ(record(&stage), OK);
        const uint32_t report = isRefused ? kWhatDecodeGotEOS : kWhatTrackAdded;
        ASSERT_TRUE(waitFor([&] { return stage.reports->count(report) > 0; }));
        EXPECT_EQ(stage.pipeline->stop(), OK);
    }
    for (const std::string& line : lines)
        EXPECT_EQ(log.count(Kind::kName, line), 1) << line;
}

// Field tools match them by their sites.
TEST(LiveLogTest, linesHaveTheirSites) {
    expectLogged<CameraRecorderStage>(
            {"setDataSource[478]: cameraType=0, cameraId=0, clientName=test", "setSurface[503]",
             "setMuxer[513]", "prepare[538]", "setPlayback[547]: flag=1", "setRecord[557]: flag=1",
             "setRecord[557]: flag=0", "start[567]", "stop[576]", "reset[593]",
             "setupVideoEncoder[700]: ", "handleEncoderOutputFormatChange[1055]: output-format",
             "handleEncoderOutputFormatChange[1079]: Add video track #0 done"});
    expectLogged<CameraRecorderStage>({"handleEncoderOutputFormatChange[1060]: This video track"},
                                      true);
    expectLogged<RxStage>({"configure[274]: channel-count=2, sample-rate=48000",
                           "setPlayback[331]: enable audio render",
                           "setRecord[340]: enable audio encode", "reset[375]",
                           "configureEncoder:429 configure", "releaseEncoder[460]: Reset",
                           "handleEncoderOutputFormatChange[545]: Add audio track"});
    expectLogged<RxStage>({"handleEncoderOutputFormatChange:527 Unavailable audio track"}, true);
    expectLogged<MicrophoneStage>(
            {"channelCount=2 sampleRate=48000", "source:0 16bit 2ch 48000Hz bufcnt:6 frmcnt:512 ",
             "Create AudioTrack: 16bit 2ch 48000Hz", "Add audio track #0 done"});
}

TEST(SoundQueueTest, givesUpTheOldestBeyondItsBound) {
    SoundQueue queue(3);
    // Buffers of different sizes.
    const auto push = [&](std::initializer_list<size_t> sizes) {
        for (const size_t size : sizes)
            queue.push(new ABuffer(size));
    };
    const auto popAll = [&] {
        std::vector<size_t> sizes;
        while (const sp<ABuffer> buffer = queue.pop())
            sizes.push_back(buffer->size());
        return sizes;
    };
    push({1, 2, 3, 4});
    EXPECT_EQ(popAll(), (std::vector<size_t>{2, 3, 4}));
    push({5, 6});
    queue.unpop(new ABuffer(7));
    queue.unpop(new ABuffer(8));
    EXPECT_EQ(popAll(), (std::vector<size_t>{7, 5, 6}));
    push({9});
    queue.clear();
    EXPECT_EQ(popAll(), std::vector<size_t>());
}

// ---- Microphone ---------------------------------------------------------------------------------

TEST(MicrophoneDeathTest, badArgumentsAreFatal) {
    const auto take = [](int source, int channels) {
        MicrophoneStage stage;
        stage.source = source;
        stage.format.channelCount = channels;
        advance(&stage, 2);
    };
    for (const int channels : {0, 3}) {
        EXPECT_DEATH(take(AUDIO_SOURCE_DEFAULT, channels),
                     HasSubstr(refusalOf("mChannelCount == 1 || mChannelCount == 2")));
    }
    for (const int source : {AUDIO_SOURCE_DEFAULT - 1, AUDIO_SOURCE_MAX + 1}) {
        EXPECT_DEATH(take(source, 2), HasSubstr(refusalOf("mAudioSource >= AUDIO_SOURCE_DEFAULT && "
                                                          "mAudioSource <= AUDIO_SOURCE_MAX")));
    }
}

TEST(MicrophoneTest, theLastSourceIsOneLikeTheOthers) {
    MicrophoneStage stage;
    stage.source = AUDIO_SOURCE_MAX;
    advance(&stage, 1);
}

TEST(MicrophoneTest, withoutAMuxerItsTrackIsRefused) {
    MicrophoneStage stage;
    advance(&stage, startedState<MicrophoneStage>());
    EXPECT_EQ(stage.switchOn(), OK);
    EXPECT_TRUE(waitFor([&] {
        return stage.reports->count(kWhatDecodeGotEOS, AMSG_STOP_ITEM, EOSAudioReached) == 1;
    }));
    EXPECT_EQ(stage.pipeline->stop(), OK);
}

// The monitor asks for less at a time than the microphone gives.
TEST(MicrophoneTest, allThatComesIsHeardOnce) {
    using namespace oxa::test;
    constexpr size_t kRate = 8000;
    const auto monitor = []() -> std::string {
        MicrophoneStage stage;
        oxa::host::clearMicrophones();
        EXPECT_TRUE(oxa::host::registerMicrophone(AUDIO_SOURCE_DEFAULT, rampSource(kRate)));
        stage.format.channelCount = 1;
        stage.format.sampleRate = kRate;
        const auto heard = oxa::host::useSoundRecording(SIZE_MAX);
        advance(&stage, startedState<MicrophoneStage>());
        stage.pipeline->setPlayback(true);
        EXPECT_TRUE(waitFor([&] { return heard->frames() > 2 * kRate; }));
        EXPECT_EQ(stage.pipeline->stop(), OK);
        std::vector<int16_t> samples;
        for (const oxa::host::SoundBlock& block : heard->blocks())
            samples.insert(samples.end(), block.samples.begin(), block.samples.end());
        // Silence is no part of it.
        samples.erase(std::remove(samples.begin(), samples.end(), 0), samples.end());
        // Of what came, in each piece of 0.1 s: a machine that stands still leaves out some.
        constexpr size_t kPiece = kRate / 10;
        size_t whole = 0;
        for (size_t i = kPiece; i < samples.size(); i += kPiece)
            whole += (samples[i] - samples[i - kPiece] + kRampLength) % kRampLength <=
                     int{kPiece} + 1;
        return samples.size() > kRate && whole > samples.size() / kPiece / 2
                       ? ""
                       : std::to_string(whole) + " of " + std::to_string(samples.size() / kPiece);
    };
    EXPECT_EQ(missedEachTime(monitor), "");
}

}  // namespace
}  // namespace android
